// The public conversions from YUV to RGB, row by row.
#include <cstdint>

#include "image/ImageKernel.h"
#include "image/ImagePlain.h"
#include "nubrix/image.h"

using nubrix::imageKernel;

namespace {

bool isRefused(const unsigned char *rgb, const unsigned char *yuv)
{
    return !rgb || !yuv || rgb == yuv;
}

struct Size {
    Size(int givenWidth, int givenHeight)
        : width(givenWidth > 0 ? static_cast<std::size_t>(givenWidth) : 0),
          height(givenHeight > 0 ? static_cast<std::size_t>(givenHeight) : 0)
    {
    }

    std::size_t width, height;
};

/// The rows of a 4:2:0 image in pairs; the last row of an odd height is a pair with itself.
template <class Convert>
void forRowPairs(unsigned char *rgb, const unsigned char *luma, const Size &size,
                 const Convert &convert)
{
    for (std::size_t row = 0; row < size.height; row += 2) {
        const std::size_t second = row + 1 < size.height ? row + 1 : row;
        const std::size_t pixel = size.width * row;
        const std::size_t secondPixel = size.width * second;
        convert(nubrix::YuvRowPair{{rgb + 3 * pixel, rgb + 3 * secondPixel},
                                   {luma + pixel, luma + secondPixel}},
                row / 2);
    }
}

}  // namespace

void YUV444ToRGB888(unsigned char y, unsigned char u, unsigned char v, unsigned char &r,
                    unsigned char &g, unsigned char &b)
{
    const RGB888Pixel pixel = nubrix::plainPixelOf8Bits(y, u, v);
    r = pixel.r;
    g = pixel.g;
    b = pixel.b;
}

unsigned int convert_yuv_to_rgb_pixel(int y, int u, int v)
{
    const RGB888Pixel pixel = nubrix::plainPixelOfDoubles(y, u, v);
    return pixel.r | static_cast<unsigned int>(pixel.g) << 8 |
           static_cast<unsigned int>(pixel.b) << 16;
}

bool YUVI420ToRGB888(unsigned char *rgb, unsigned char *yuv, int width, int height)
{
    if (isRefused(rgb, yuv))
        return false;
    const Size size(width, height);
    const std::size_t halfWidth = size.width / 2;
    const unsigned char *const u = yuv + size.width * size.height;
    const unsigned char *const v = u + halfWidth * (size.height / 2);
    const auto convert = imageKernel().yuv->i420Rows;
    forRowPairs(rgb, yuv, size, [=](const nubrix::YuvRowPair &rows, std::size_t chromaRow) {
        const std::size_t chroma = halfWidth * chromaRow;
        convert(rows, u + chroma, v + chroma, size.width);
    });
    return true;
}

bool YUVNV21ToRGB888(unsigned char *rgb, unsigned char *yuv, int width, int height)
{
    if (isRefused(rgb, yuv))
        return false;
    const Size size(width, height);
    const unsigned char *const vu = yuv + size.width * size.height;
    const auto convert = imageKernel().yuv->nv21Rows;
    forRowPairs(rgb, yuv, size, [=](const nubrix::YuvRowPair &rows, std::size_t chromaRow) {
        convert(rows, vu + size.width / 2 * 2 * chromaRow, size.width);
    });
    return true;
}

bool YUV420SPToRGB(unsigned char *rgb, unsigned char *yuv, int width, int height)
{
    return YUVNV21ToRGB888(rgb, yuv, width, height);
}

bool YUV422ToRGB(unsigned char *rgb, unsigned char *yuyv, unsigned int width, unsigned int height)
{
    if (isRefused(rgb, yuyv))
        return false;
    imageKernel().yuv->yuyvGroups(rgb, yuyv, std::size_t{width} * height / 2);
    return true;
}

void YUV422ToRGB888(const unsigned char *uyvy, unsigned char *rgb, unsigned int sourceBytes,
                    unsigned int *consumed, unsigned int *produced)
{
    if (!consumed || !produced)
        return;
    const std::int64_t capacity = *produced;
    *consumed = 0;
    *produced = 0;
    if (!uyvy || !rgb || sourceBytes < 4)
        return;
    // Kept: the first group is written whatever the capacity, and one begun within the capacity is
    // completed. See docs/oddities.md.
    const std::int64_t fitting = capacity < 3 ? 1 : (capacity - 3) / 6 + 1;
    const std::int64_t present = sourceBytes / 4;
    const auto groups = static_cast<unsigned int>(fitting < present ? fitting : present);
    imageKernel().yuv->uyvyGroups(rgb, uyvy, groups);
    *consumed = 4 * groups;
    *produced = 6 * groups;
}
