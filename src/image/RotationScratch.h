// The buffers through which images are rotated in place.
#pragma once

#include "nubrix/image.h"

namespace nubrix {

/// The buffers of one direction, one a function, each for an image of 1920 x 1080 and never grown.
///
/// Kept: static and unchecked, so that an image of that size needs no memory of the heap. See
/// docs/oddities.md.
struct RotationScratch {
    static constexpr unsigned int kPixels = 1920 * 1080;

    unsigned char of8[kPixels];
    unsigned short of16[kPixels];
    RGB888Pixel of24[kPixels];
    unsigned char planar[2 * kPixels];
    unsigned char semiPlanar[2 * kPixels];
};

extern RotationScratch g_clockwise90Scratch;
extern RotationScratch g_clockwise180Scratch;
extern RotationScratch g_anticlockwise90Scratch;

}  // namespace nubrix
