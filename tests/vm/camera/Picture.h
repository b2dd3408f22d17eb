// What the software camera shows: pictures that follow from format, size and number alone.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace nubrix::vm {

using Bytes = std::vector<std::uint8_t>;

enum class PixelFormat { kDepth16, kYuyv, kUyvy, kNv12, kMotionJpeg, kGrey, kGrey10, kGrey16 };

struct PictureSize {
    unsigned int width;   // pixels, even
    unsigned int height;  // pixels
};

/// The depth in whole millimetres at (x, y) of picture `number`: 500 to 10499, but for the last
/// four pixels of the last row, which are the edges of what 14.2 fixed point holds: 0, 16383,
/// 16384, 65535.
std::uint16_t depthAt(PictureSize size, unsigned int x, unsigned int y, unsigned int number);

/// Picture `number` as it leaves the camera: 16-bit pixels are little-endian, a JPEG has odd
/// length.
Bytes drawPicture(PixelFormat format, PictureSize size, unsigned int number);

/// The most bytes that a picture can have; exactly so many, unless it is a JPEG.
std::size_t largestPicture(PixelFormat format, PictureSize size);

}  // namespace nubrix::vm
