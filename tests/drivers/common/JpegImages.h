// JPEGs of all kinds, created in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace nubrix {

using Jpeg = std::vector<std::uint8_t>;

/// A pattern of greys in one scan.
Jpeg plainJpeg(unsigned int width, unsigned int height);
/// RGB in one scan; every row has these bytes, 3 a pixel.
Jpeg rgbJpeg(const std::vector<std::uint8_t> &row, unsigned int height);
/// The pattern of greys in `scans` scans, 2 to 64; each of them adds something, and is repeated for
/// each of the last bits.
Jpeg progressiveJpeg(unsigned int width, unsigned int height, int scans, int bits = 0);
/// Repeats the last scan this many times.
Jpeg withScansRepeated(const Jpeg &jpeg, std::size_t times);
/// Changes the size in the header.
Jpeg withSize(Jpeg jpeg, unsigned int width, unsigned int height);

}  // namespace nubrix
