// Renders the scene for one stream and one picture size.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "virtual/PinholeCamera.h"
#include "virtual/Scene.h"

namespace nubrix {

/// Keeps the empty room as a finished picture, with and without the lamp, and computes only what
/// the ball, the box and their shadows change. The result is that of tracing every pixel.
class SceneRenderer {
public:
    SceneRenderer(unsigned int streamType, int width, int height);

    /// Bytes of a picture.
    std::size_t size() const { return m_room.size(); }

    /// Writes size() bytes. Thread-safe.
    void render(std::uint32_t frameIndex, std::uint8_t *picture) const;

    /// The same by tracing every pixel. Thread-safe.
    void renderInFull(std::uint32_t frameIndex, std::uint8_t *picture) const;

private:
    /// Pixels from left, top up to but without right, bottom.
    struct Area {
        int left;
        int top;
        int right;
        int bottom;
    };

    std::size_t at(int x, int y) const;
    Area areaOf(const Vec3 *points, std::size_t count) const;
    void paintShadow(const Scene &scene, const Vec3 *corners, std::uint8_t *picture) const;
    void paintThings(const Scene &scene, const Area &ball, const Area &box,
                     std::uint8_t *picture) const;

    const unsigned int m_streamType;
    const int m_width;
    const int m_height;
    const std::size_t m_pixelSize;
    const PinholeCamera m_camera;
    std::vector<std::uint8_t> m_room;      // as the lamp shows it
    std::vector<std::uint8_t> m_darkRoom;  // where the lamp does not reach; empty: no shadows
};

}  // namespace nubrix
