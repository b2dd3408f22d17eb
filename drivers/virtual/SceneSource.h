// The scene as a source of frames.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <tuple>
#include <vector>

#include "virtual/FrameSource.h"
#include "virtual/Scene.h"

namespace nubrix::virtual_camera {

/// Renders the scene for one stream and one size. It caches the image of the empty room, and
/// computes only what the ball, the box and their shadows change. The result is the same as tracing
/// every pixel.
class SceneRenderer {
public:
    SceneRenderer(unsigned int streamType, int width, int height);

    /// Bytes of an image.
    std::size_t size() const { return m_room.size(); }

    /// Writes size() bytes. Thread-safe.
    void render(std::uint32_t frameIndex, std::uint8_t *image) const;

    /// The same by tracing every pixel. Thread-safe.
    void renderInFull(std::uint32_t frameIndex, std::uint8_t *image) const;

private:
    /// Pixels from left, top (inclusive) to right, bottom (exclusive).
    struct Area {
        int left;
        int top;
        int right;
        int bottom;
    };

    std::size_t at(int x, int y) const;
    Area areaOf(const Vec3 *points, std::size_t count) const;
    void paintShadow(const Scene &scene, const Vec3 *corners, std::uint8_t *image) const;
    void paintThings(const Scene &scene, const Area &ball, const Area &box,
                     std::uint8_t *image) const;

    const unsigned int m_streamType;
    const int m_width;
    const int m_height;
    const std::size_t m_pixelSize;
    const PinholeCamera m_camera;
    std::vector<std::uint8_t> m_room;
};

/// All four streams in 320x240, 640x400, 640x480 and 1280x800 at 5, 15, 30 and 60 frames/s, and at
/// the scenario's rate if it differs. Default: 640x480 at the scenario's rate.
class SceneSource final : public FrameSource {
public:
    explicit SceneSource(int frameRate);

    const ModeTable &modes(unsigned int streamType) const override;
    std::size_t defaultMode(unsigned int streamType) const override;
    void prepare(unsigned int streamType, const typedefNubrixFrameMode &mode) override;
    Result fill(unsigned int streamType, const typedefNubrixFrameMode &mode,
                std::uint32_t frameIndex, std::uint8_t *data) override;
    std::optional<CameraIntrinsics> intrinsics(unsigned int streamType,
                                               const typedefNubrixFrameMode &mode) const override;
    std::optional<double> trueDepth(const typedefNubrixFrameMode &mode, std::uint32_t frameIndex,
                                    unsigned int x, unsigned int y) const override;

private:
    using Key = std::tuple<unsigned int, unsigned int, unsigned int>;  // stream type, size

    const SceneRenderer &renderer(unsigned int streamType, const typedefNubrixFrameMode &mode);

    ModeTable m_color{NUBRIX_STREAM_COLOR};  // fixed after construction
    ModeTable m_depth{NUBRIX_STREAM_DEPTH};
    ModeTable m_ir{NUBRIX_STREAM_IR};
    ModeTable m_lightIr{NUBRIX_STREAM_LIGHT_IR};
    std::size_t m_default = 0;
    std::mutex m_lock;
    std::map<Key, std::unique_ptr<SceneRenderer>> m_renderers;  // under m_lock; never removed
};

}  // namespace nubrix::virtual_camera
