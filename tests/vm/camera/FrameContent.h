// What the software camera shows: frames that follow from format, size and number alone.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace nubrix::vm {

using Bytes = std::vector<std::uint8_t>;

enum class PixelFormat { kDepth16, kYuyv, kUyvy, kNv12, kMotionJpeg, kGrey, kGrey10, kGrey16 };

struct FrameSize {
    unsigned int width;   // pixels, even
    unsigned int height;  // pixels
};

/// The depth in whole millimetres at (x, y) of frame `number`: 500 to 10499, but for the last
/// four pixels of the last row, which are the edges of what 14.2 fixed point holds: 0, 16383,
/// 16384, 65535.
std::uint16_t depthAt(FrameSize size, unsigned int x, unsigned int y, unsigned int number);

/// Frame `number` as it leaves the camera: 16-bit pixels are little-endian, a JPEG has odd
/// length.
Bytes drawFrame(PixelFormat format, FrameSize size, unsigned int number);

/// The most bytes that a frame can have; exactly so many, unless it is a JPEG.
std::size_t maxFrameBytes(PixelFormat format, FrameSize size);

}  // namespace nubrix::vm
