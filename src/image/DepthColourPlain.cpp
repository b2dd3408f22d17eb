#include "image/DepthColourPlain.h"

#include <algorithm>

namespace nubrix {

void plainHistogram(float *histogram, int size, const unsigned short *depth, std::size_t pixels)
{
    std::fill(histogram, histogram + std::max(size, 0), 0.0F);
    std::size_t counted = 0;
    for (std::size_t i = 0; i < pixels; ++i) {
        // Kept: nothing compares the depth with the size. See docs/oddities.md.
        if (depth[i] != 0) {
            histogram[depth[i]] += 1.0F;
            ++counted;
        }
    }
    for (int i = 1; i < size; ++i)
        histogram[i] += histogram[i - 1];
    if (counted == 0)
        return;
    for (int i = 1; i < size; ++i)
        histogram[i] = (1.0F - histogram[i] / static_cast<float>(counted)) * 256.0F;
}

void plainColours(RGB888Pixel *rgb, const unsigned short *depth, std::size_t pixels,
                  const float *histogram)
{
    for (std::size_t i = 0; i < pixels; ++i) {
        if (depth[i] == 0)
            continue;
        const auto level = static_cast<unsigned char>(static_cast<int>(histogram[depth[i]]));
        rgb[i] = {level, level, 0};
    }
}

}  // namespace nubrix
