// Cropping and padding.
#include <algorithm>
#include <cstddef>
#include <cstring>

#include "nubrix/image.h"

unsigned int resizeImage(unsigned short *dst, unsigned int dstWidth, unsigned int dstHeight,
                         unsigned short *src, unsigned int srcWidth, unsigned int srcHeight)
{
    if (!dst || !src)
        return 0;
    const std::size_t dstPixels = std::size_t{dstWidth} * dstHeight;
    const std::size_t srcPixels = std::size_t{srcWidth} * srcHeight;
    if (dstWidth == srcWidth && dstHeight != srcHeight) {
        const std::size_t copied = std::min(dstPixels, srcPixels);
        std::memmove(dst, src, copied * sizeof(*dst));
        std::fill(dst + copied, dst + dstPixels, static_cast<unsigned short>(0));
        return 1;
    }
    std::fill(dst, dst + dstPixels, static_cast<unsigned short>(0));
    const std::size_t rowBytes = std::min(dstWidth, srcWidth) * sizeof(*dst);
    for (std::size_t row = 0; row < std::min(dstHeight, srcHeight); ++row)
        std::memmove(dst + row * dstWidth, src + row * srcWidth, rowBytes);
    return 1;
}
