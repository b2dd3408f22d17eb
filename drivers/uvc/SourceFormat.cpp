#include "uvc/SourceFormat.h"

#include <linux/videodev2.h>
#include <algorithm>
#include <iterator>

#include "nubrix/types.h"

namespace nubrix {

namespace {

// Of one stream the cheaper ones first.
constexpr SourceFormat kFormats[] = {
    {V4L2_PIX_FMT_Z16, NUBRIX_STREAM_DEPTH, NUBRIX_PIXEL_DEPTH_14_2, false, 2},
    {V4L2_PIX_FMT_RGB24, NUBRIX_STREAM_COLOR, NUBRIX_PIXEL_RGB888, true, 3},
    {V4L2_PIX_FMT_YUYV, NUBRIX_STREAM_COLOR, NUBRIX_PIXEL_RGB888, false, 2},
    {V4L2_PIX_FMT_UYVY, NUBRIX_STREAM_COLOR, NUBRIX_PIXEL_RGB888, false, 2},
    {V4L2_PIX_FMT_NV21, NUBRIX_STREAM_COLOR, NUBRIX_PIXEL_RGB888, false, 1},
    {V4L2_PIX_FMT_NV12, NUBRIX_STREAM_COLOR, NUBRIX_PIXEL_RGB888, false, 1},
    {V4L2_PIX_FMT_MJPEG, NUBRIX_STREAM_COLOR, NUBRIX_PIXEL_RGB888, false, 0},
    {V4L2_PIX_FMT_JPEG, NUBRIX_STREAM_COLOR, NUBRIX_PIXEL_RGB888, false, 0},
    {V4L2_PIX_FMT_GREY, NUBRIX_STREAM_IR, NUBRIX_PIXEL_GREY8, true, 1},
    {V4L2_PIX_FMT_Y16, NUBRIX_STREAM_IR, NUBRIX_PIXEL_GREY16, true, 2},
    {V4L2_PIX_FMT_Y10, NUBRIX_STREAM_IR, NUBRIX_PIXEL_GREY16, true, 2},
};

}  // namespace

const SourceFormat *findSourceFormat(std::uint32_t code)
{
    const auto *found =
        std::find_if(std::begin(kFormats), std::end(kFormats),
                     [&](const SourceFormat &format) { return format.code == code; });
    return found == std::end(kFormats) ? nullptr : found;
}

int rankOf(const SourceFormat &format)
{
    return static_cast<int>(findSourceFormat(format.code) - std::begin(kFormats));
}

bool hasPlanes(const SourceFormat &format)
{
    return format.code == V4L2_PIX_FMT_NV12 || format.code == V4L2_PIX_FMT_NV21;
}

bool isCompressed(const SourceFormat &format)
{
    return format.rowBytes == 0;
}

bool isPossible(const SourceFormat &format, unsigned int width, unsigned int height)
{
    const bool inPairs =
        hasPlanes(format) || format.code == V4L2_PIX_FMT_YUYV || format.code == V4L2_PIX_FMT_UYVY;
    return !(inPairs && width % 2 != 0) && !(hasPlanes(format) && height % 2 != 0);
}

std::size_t sourceBytes(const SourceFormat &format, std::size_t rowBytes, std::size_t height)
{
    if (hasPlanes(format))
        return rowBytes * height + rowBytes * (height / 2);
    return rowBytes * height;
}

}  // namespace nubrix
