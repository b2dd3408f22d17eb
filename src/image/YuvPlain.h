// The conversions from YUV to RGB as plain formulas: what every kernel is held to, and what runs
// where there is none.
#pragma once

#include <cstddef>

#include "nubrix/image.h"

namespace nubrix {

/// One pixel in the three arithmetics, which differ and stay different.
RGB888Pixel plainPixelOf8Bits(int y, int u, int v);
RGB888Pixel plainPixelOf10Bits(int y, int u, int v);
RGB888Pixel plainPixelOfDoubles(int y, int u, int v);

/// A row of a 4:2:0 image in 10 bits; each two pixels share a U and a V.
void plainI420Row(unsigned char *rgb, const unsigned char *luma, const unsigned char *u,
                  const unsigned char *v, std::size_t width);
void plainNv21Row(unsigned char *rgb, const unsigned char *luma, const unsigned char *vu,
                  std::size_t width);

/// Groups of Y0 U Y1 V in doubles, and of U Y0 V Y1 in 8 bits; each makes two pixels.
void plainYuyvGroups(unsigned char *rgb, const unsigned char *yuyv, std::size_t groups);
void plainUyvyGroups(unsigned char *rgb, const unsigned char *uyvy, std::size_t groups);

}  // namespace nubrix
