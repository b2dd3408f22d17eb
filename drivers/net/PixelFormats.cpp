#include "net/PixelFormats.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "nubrix/types.h"

namespace nubrix::net {

namespace {

constexpr unsigned int kColor = NUBRIX_STREAM_COLOR;
constexpr unsigned int kDepth = NUBRIX_STREAM_DEPTH;
constexpr unsigned int kIr = NUBRIX_STREAM_IR;
constexpr unsigned int kRgb = NUBRIX_PIXEL_RGB888;

// The better formats of a stream come first.
constexpr PixelFormat kFormats[] = {
    {0x011000b8, "Coord3D_C16", kDepth, NUBRIX_PIXEL_DEPTH_14_2, Layout::kDepth, 2, 0, 0},
    {0x01100007, "Mono16", kDepth, NUBRIX_PIXEL_DEPTH_14_2, Layout::kDepth, 2, 0, 0},
    {0x02180014, "RGB8", kColor, kRgb, Layout::kPlain, 3, 0, 0},
    {0x02180015, "BGR8", kColor, kRgb, Layout::kBgr, 3, 0, 0},
    {0x02100032, "YUV422_8", kColor, kRgb, Layout::kYuyv, 2, 0, 0},
    {0x0210001f, "YUV422_8_UYVY", kColor, kRgb, Layout::kUyvy, 2, 0, 0},
    {0x01080009, "BayerRG8", kColor, kRgb, Layout::kMosaic, 1, 0, 0},
    {0x01080008, "BayerGR8", kColor, kRgb, Layout::kMosaic, 1, 1, 0},
    {0x0108000a, "BayerGB8", kColor, kRgb, Layout::kMosaic, 1, 0, 1},
    {0x0108000b, "BayerBG8", kColor, kRgb, Layout::kMosaic, 1, 1, 1},
    {0x01080001, "Mono8", kIr, NUBRIX_PIXEL_GREY8, Layout::kPlain, 1, 0, 0},
    {0x01100007, "Mono16", kIr, NUBRIX_PIXEL_GREY16, Layout::kPlain, 2, 0, 0},
    {0x01100005, "Mono12", kIr, NUBRIX_PIXEL_GREY16, Layout::kPlain, 2, 0, 0},
    {0x01100003, "Mono10", kIr, NUBRIX_PIXEL_GREY16, Layout::kPlain, 2, 0, 0},
};

template <class Matches>
const PixelFormat *find(Matches matches)
{
    const auto *found = std::find_if(std::begin(kFormats), std::end(kFormats), matches);
    return found == std::end(kFormats) ? nullptr : found;
}

}  // namespace

const PixelFormat *findPixelFormat(std::uint32_t code, unsigned int streamType)
{
    return find([&](const PixelFormat &format) {
        return format.code == code && format.streamType == streamType;
    });
}

const PixelFormat *findPixelFormat(const std::string &name, unsigned int streamType)
{
    return find([&](const PixelFormat &format) {
        return format.name == name && format.streamType == streamType;
    });
}

std::string nameOfPixelFormat(std::uint32_t code)
{
    if (const auto *known = find([&](const PixelFormat &format) { return format.code == code; }))
        return known->name;
    char text[16];
    std::snprintf(text, sizeof text, "0x%08x", static_cast<unsigned int>(code));
    return text;
}

std::ptrdiff_t rankOf(const PixelFormat &format)
{
    return &format - std::begin(kFormats);
}

}  // namespace nubrix::net
