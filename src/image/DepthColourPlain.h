// The colouring of depth frames as plain formulas: what the fast form is held to.
#pragma once

#include "nubrix/image.h"

namespace nubrix {

/// calculateHistogram and the pixels of Depth2RGB888 for a frame of `pixels` depths.
void plainHistogram(float *histogram, int size, const unsigned short *depth, std::size_t pixels);
void plainColours(RGB888Pixel *rgb, const unsigned short *depth, std::size_t pixels,
                  const float *histogram);

}  // namespace nubrix
