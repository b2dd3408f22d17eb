// Rotations and mirroring as plain loops: what every kernel is held to, and what runs where there
// is none. For unsigned char, BytePair and RGB888Pixel.
#pragma once

#include <cstddef>

#include "nubrix/image.h"

namespace nubrix {

/// A pixel of 16 bits, or the two colours of a semi-planar image, wherever it lies.
struct BytePair {
    unsigned char first, second;
};

/// From an image of width x height into another that does not overlap it.
template <class T>
struct PlainTurns {
    static void clockwise90(const T *source, std::size_t width, std::size_t height, T *destination);
    static void anticlockwise90(const T *source, std::size_t width, std::size_t height,
                                T *destination);
    /// The order of `count` pixels reversed.
    static void reverse(const T *source, std::size_t count, T *destination);
    /// A row reversed in place.
    static void mirrorRow(T *row, std::size_t width);
};

}  // namespace nubrix
