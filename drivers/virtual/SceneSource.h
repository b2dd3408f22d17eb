// The scene as a source of pictures.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <tuple>

#include "virtual/FrameSource.h"
#include "virtual/SceneRenderer.h"

namespace nubrix {

/// All four streams in 320x240, 640x400, 640x480 and 1280x800 at 5, 15, 30 and 60 frames/s, and at
/// the scenario's rate if it is another. Default: 640x480 at the scenario's rate.
class SceneSource final : public FrameSource {
public:
    explicit SceneSource(int frameRate);

    const std::vector<typedefNubrixFrameMode> &modes(unsigned int streamType) const override;
    std::size_t defaultMode(unsigned int streamType) const override;
    void prepare(unsigned int streamType, const typedefNubrixFrameMode &mode) override;
    Result fill(unsigned int streamType, const typedefNubrixFrameMode &mode,
                std::uint32_t frameIndex, std::uint8_t *data) override;
    std::optional<Intrinsics> intrinsics(unsigned int streamType,
                                         const typedefNubrixFrameMode &mode) const override;
    std::optional<double> trueDepth(const typedefNubrixFrameMode &mode, std::uint32_t frameIndex,
                                    unsigned int x, unsigned int y) const override;

private:
    using Key = std::tuple<unsigned int, unsigned int, unsigned int>;  // stream type, size

    const SceneRenderer &renderer(unsigned int streamType, const typedefNubrixFrameMode &mode);

    std::vector<typedefNubrixFrameMode> m_color;  // fixed after construction
    std::vector<typedefNubrixFrameMode> m_depth;
    std::vector<typedefNubrixFrameMode> m_grey;
    std::size_t m_default = 0;
    std::mutex m_lock;
    std::map<Key, std::unique_ptr<SceneRenderer>> m_renderers;  // under m_lock; never removed
};

}  // namespace nubrix
