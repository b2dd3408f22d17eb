// The image functions as plain loops and formulas: the reference that every kernel is tested
// against, and what runs where there is no kernel.
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

/// One pixel in the three arithmetics, which differ and stay different.
RGB888Pixel plainPixelOf8Bits(int y, int u, int v);
RGB888Pixel plainPixelOf10Bits(int y, int u, int v);
RGB888Pixel plainPixelOfDoubles(int y, int u, int v);

/// Two rows of a 4:2:0 image, which have the same U and V; the last row of an odd height is both.
struct YuvRowPair {
    unsigned char *rgb[2];
    const unsigned char *luma[2];
};

/// In 10 bits; each two pixels of a row share a U and a V, too.
void plainI420Rows(const YuvRowPair &rows, const unsigned char *u, const unsigned char *v,
                   std::size_t width);
void plainNv21Rows(const YuvRowPair &rows, const unsigned char *vu, std::size_t width);

/// Groups of Y0 U Y1 V with the results of doubles, and of U Y0 V Y1 in 8 bits; each makes two
/// pixels.
void plainYuyvGroups(unsigned char *rgb, const unsigned char *yuyv, std::size_t groups);
void plainUyvyGroups(unsigned char *rgb, const unsigned char *uyvy, std::size_t groups);

/// calculateHistogram and the pixels of Depth2RGB888 for a frame of `pixels` depths.
void plainHistogram(float *histogram, int size, const unsigned short *depth, std::size_t pixels);
void plainColours(RGB888Pixel *rgb, const unsigned short *depth, std::size_t pixels,
                  const float *histogram);

}  // namespace nubrix
