// Frames as pictures that can be written to a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>
#include "nubrix/types.h"

namespace nubrix::tool {

/// A frame's picture, copied out of the library's pool.
struct FrameCopy {
    unsigned int pixelFormat = 0;
    unsigned int width = 0;   // pixels
    unsigned int height = 0;  // pixels
    std::vector<std::uint8_t> data;
};

/// Rows from top to bottom without padding; samples of 16 bits are little-endian.
struct Image {
    unsigned int width = 0;
    unsigned int height = 0;
    unsigned int channels = 1;  // 1 grey, 3 red, green, blue
    unsigned int bits = 8;      // of a sample: 8 or 16
    std::vector<std::uint8_t> samples;
};

/// Bytes of a picture; 1 where the format does not tell.
std::uint64_t imageBytes(unsigned int pixelFormat, std::uint64_t width, std::uint64_t height);

/// Whether the record's data hold a whole picture of its size and format.
bool isComplete(const typedefNubrixFrame &frame);

bool isDepth(unsigned int pixelFormat);

/// The picture of a whole frame: depth and grey values unchanged, all else as colour. Throws a
/// Failure for JPEG, which is a file as it is, and for formats that are not known.
Image imageOf(const FrameCopy &frame);

/// A depth image in colours from near (red) to far (violet), black where nothing was measured. The
/// range is that of the image without its nearest and farthest hundredth.
Image falseColour(const Image &depth);

}  // namespace nubrix::tool
