// JPEGs of every kind, made in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace nubrix {

using Jpeg = std::vector<std::uint8_t>;

/// A pattern of greys in one scan.
Jpeg plainJpeg(unsigned int width, unsigned int height);
/// The same in so many scans, 2 to 64, each of which adds something; every one of them once more
/// for each of the last bits.
Jpeg progressiveJpeg(unsigned int width, unsigned int height, int scans, int bits = 0);
/// Has the last scan once more, so many times.
Jpeg withScansRepeated(const Jpeg &jpeg, std::size_t times);
/// Says another size than it has.
Jpeg withSize(Jpeg jpeg, unsigned int width, unsigned int height);

}  // namespace nubrix
