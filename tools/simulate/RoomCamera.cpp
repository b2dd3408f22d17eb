#include "RoomCamera.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <stdexcept>

namespace nubrix::simulate {

namespace {

// The numbers of the GenICam standard: Coord3D_C16, RGB8, Mono8.
constexpr std::array<RoomComponent, 3> kComponents = {
    {{"depth", NUBRIX_STREAM_DEPTH, NUBRIX_PIXEL_DEPTH_12_4, 0x011000b8},
     {"color", NUBRIX_STREAM_COLOR, NUBRIX_PIXEL_RGB888, 0x02180014},
     {"ir", NUBRIX_STREAM_IR, NUBRIX_PIXEL_GREY8, 0x01080001}}};

constexpr float kDepthUnitMm = 1.0F / 16;  // of NUBRIX_PIXEL_DEPTH_12_4
constexpr int kDefaultRate = 30;           // frames per second, the default of the room

client::Mode clientMode(const typedefNubrixFrameMode &record)
{
    return {static_cast<NubrixPixelFormat>(record.pixelFormat), record.width, record.height,
            record.frameRate};
}

}  // namespace

RoomCamera::RoomCamera(const std::vector<std::string> &components, const tool::ModeRequest &mode)
    : m_source(kDefaultRate)
{
    for (const RoomComponent &component : kComponents) {
        if (std::find(components.begin(), components.end(), component.name) != components.end())
            m_components.push_back(component);
    }
    const std::vector<typedefNubrixFrameMode> &records =
        m_source.modes(m_components.front().streamType).records;
    std::vector<client::Mode> offered;
    std::transform(records.begin(), records.end(), std::back_inserter(offered), clientMode);
    const auto found = tool::findMode(offered, mode, offered.front().format);
    if (!found)
        throw std::runtime_error(explainMissingMode(offered, mode));
    m_mode = *std::find_if(records.begin(), records.end(),
                           [&](const auto &record) { return clientMode(record) == *found; });
    // Here, because it would delay the first frame.
    for (const RoomComponent &component : m_components)
        m_source.prepare(component.streamType, modeOf(component));
}

simulator::SimulatedCameraSettings RoomCamera::settings() const
{
    simulator::SimulatedCameraSettings settings;
    settings.formats.clear();
    for (const RoomComponent &component : m_components)
        settings.formats.push_back(component.format);
    settings.width = m_mode.width;
    settings.height = m_mode.height;
    settings.smallestWidth = m_mode.width;
    settings.smallestHeight = m_mode.height;
    settings.frameRate = m_mode.frameRate;
    const auto lens = m_source.intrinsics(m_components.front().streamType, m_mode);
    settings.focalLength = lens->fx;
    settings.principalU = lens->cx;
    settings.principalV = lens->cy;
    settings.baseline = 0;  // all components share one lens
    settings.coordinateScale = kDepthUnitMm;
    return settings;
}

std::string RoomCamera::summary() const
{
    std::string names;
    for (const RoomComponent &component : m_components)
        names += std::string(names.empty() ? "" : ", ") + component.name;
    return names + " at " + tool::modeText(clientMode(m_mode));
}

void RoomCamera::fill(std::uint32_t format, std::uint32_t frame, void *data)
{
    for (const RoomComponent &component : m_components) {
        if (component.format == format)
            m_source.fill(component.streamType, modeOf(component), frame,
                          static_cast<std::uint8_t *>(data));
    }
}

typedefNubrixFrameMode RoomCamera::modeOf(const RoomComponent &component) const
{
    typedefNubrixFrameMode mode = m_mode;
    mode.pixelFormat = component.pixelFormat;
    return mode;
}

}  // namespace nubrix::simulate
