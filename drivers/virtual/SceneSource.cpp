#include "virtual/SceneSource.h"

#include <set>

namespace nubrix {

namespace {

struct Size {
    unsigned short width;
    unsigned short height;
};

constexpr Size kSizes[] = {{320, 240}, {640, 400}, {640, 480}, {1280, 800}};
constexpr Size kDefaultSize = {640, 480};

const std::vector<typedefNubrixFrameMode> kNoModes;

}  // namespace

SceneSource::SceneSource(int frameRate)
{
    const std::set<int> rates = {5, 15, 30, 60, frameRate};
    for (const Size &size : kSizes) {
        for (const int rate : rates) {
            if (size.width == kDefaultSize.width && size.height == kDefaultSize.height &&
                rate == frameRate)
                m_default = m_color.size();
            const auto rate8 = static_cast<signed char>(rate);
            m_color.push_back({NUBRIX_PIXEL_RGB888, size.width, size.height, rate8});
            m_depth.push_back({NUBRIX_PIXEL_DEPTH_12_4, size.width, size.height, rate8});
            m_grey.push_back({NUBRIX_PIXEL_GREY8, size.width, size.height, rate8});
        }
    }
}

const std::vector<typedefNubrixFrameMode> &SceneSource::modes(unsigned int streamType) const
{
    switch (streamType) {
        case NUBRIX_STREAM_COLOR:
            return m_color;
        case NUBRIX_STREAM_DEPTH:
            return m_depth;
        case NUBRIX_STREAM_IR:
        case NUBRIX_STREAM_LIGHT_IR:
            return m_grey;
        default:
            return kNoModes;
    }
}

std::size_t SceneSource::defaultMode(unsigned int /*streamType*/) const
{
    return m_default;
}

void SceneSource::prepare(unsigned int streamType, const typedefNubrixFrameMode &mode)
{
    renderer(streamType, mode);
}

FrameSource::Result SceneSource::fill(unsigned int streamType, const typedefNubrixFrameMode &mode,
                                      std::uint32_t frameIndex, std::uint8_t *data)
{
    renderer(streamType, mode).render(frameIndex, data);
    return Result::kFilled;
}

std::optional<Intrinsics> SceneSource::intrinsics(unsigned int /*streamType*/,
                                                  const typedefNubrixFrameMode &mode) const
{
    return PinholeCamera(mode.width, mode.height).intrinsics();
}

std::optional<double> SceneSource::trueDepth(const typedefNubrixFrameMode &mode,
                                             std::uint32_t frameIndex, unsigned int x,
                                             unsigned int y) const
{
    return sceneDepthMm(mode.width, mode.height, frameIndex, static_cast<int>(x),
                        static_cast<int>(y));
}

const SceneRenderer &SceneSource::renderer(unsigned int streamType,
                                           const typedefNubrixFrameMode &mode)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    auto &entry = m_renderers[Key(streamType, mode.width, mode.height)];
    if (!entry)
        entry = std::make_unique<SceneRenderer>(streamType, mode.width, mode.height);
    return *entry;
}

}  // namespace nubrix
