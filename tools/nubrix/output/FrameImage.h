// Frames converted to images that can be written to a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>
#include "nubrix/types.h"

namespace nubrix::tool {

/// A copy of a frame's image, independent of the library's pool.
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

bool isDepth(unsigned int pixelFormat);

/// The image of a complete frame: depth and grey values unchanged, other formats as colour. Throws
/// a std::runtime_error for JPEG, which needs no conversion, and for unknown formats.
Image imageOf(const FrameCopy &frame);

/// A depth image in colours from near (red) to far (violet), black for pixels without depth. The
/// range is that of the image without its nearest and farthest percent.
Image falseColour(const Image &depth);

}  // namespace nubrix::tool
