#include "Names.h"

namespace nubrix::tool {

namespace {

constexpr std::array<const char *, 12> kPixelFormats = {
    "RGB888",  "depth 12.4", "depth 13.3", "depth 14.2", "depth mm", "grey 8",
    "grey 16", "YUYV",       "UYVY",       "NV21",       "I420",     "JPEG"};

}  // namespace

std::optional<client::StreamType> streamType(const std::string &name)
{
    for (const client::StreamType type : kStreamTypes) {
        if (name == client::name(type))
            return type;
    }
    return std::nullopt;
}

std::string streamName(unsigned int type)
{
    for (const client::StreamType each : kStreamTypes) {
        if (static_cast<unsigned int>(each) == type)
            return client::name(each);
    }
    return "type " + std::to_string(type);
}

std::string pixelFormatName(unsigned int pixelFormat)
{
    if (pixelFormat < kPixelFormats.size())
        return kPixelFormats[pixelFormat];
    return "format " + std::to_string(pixelFormat);
}

std::string transportName(int transport)
{
    switch (transport) {
        case 1:
            return "usb";
        case 2:
        case 3:
            return "network";
        case 4:
            return "mini";
        default:
            return "transport " + std::to_string(transport);
    }
}

std::string deviceStateName(unsigned int state)
{
    switch (state) {
        case NUBRIX_DEVICE_CONNECTED:
            return "connected";
        case NUBRIX_DEVICE_DISCONNECTED:
            return "disconnected";
        default:
            return "state " + std::to_string(state);
    }
}

std::string versionText(const unsigned short (&version)[3])
{
    return std::to_string(version[0]) + "." + std::to_string(version[1]) + "." +
           std::to_string(version[2]);
}

}  // namespace nubrix::tool
