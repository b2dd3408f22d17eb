#include "FrameContent.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <utility>
// Needs the two above.
#include <jpeglib.h>

namespace nubrix::vm {

namespace {

constexpr unsigned int kWidest = 640;  // pixels
constexpr unsigned int kNearest = 500;
constexpr unsigned int kDepthSteps = 10000;
constexpr unsigned int kBrightSteps = 220;
constexpr std::array<std::uint16_t, 4> kEdges = {0, 16383, 16384, 65535};

std::uint8_t byte(unsigned int value)
{
    return static_cast<std::uint8_t>(value & 0xff);
}

void append16(Bytes &bytes, unsigned int value)
{
    bytes.push_back(byte(value));
    bytes.push_back(byte(value >> 8));
}

std::uint8_t brightnessAt(unsigned int x, unsigned int y, unsigned int number)
{
    return byte(16 + (x + y + number) % kBrightSteps);
}

// Rows are cut out of a ramp that is made once: an emulated processor draws slowly.
Bytes drawDepth(FrameSize size, unsigned int number)
{
    static const Bytes ramp = [] {
        Bytes bytes;
        for (unsigned int value = 0; value < kDepthSteps + kWidest; ++value) {
            append16(bytes, kNearest + value % kDepthSteps);
        }
        return bytes;
    }();
    Bytes frame(maxFrameBytes(PixelFormat::kDepth16, size));
    auto to = frame.begin();
    for (unsigned int y = 0; y < size.height; ++y) {
        const auto row = ramp.begin() + (3 * y + number) % kDepthSteps * 2;
        to = std::copy(row, row + size.width * 2, to);
    }
    for (auto edge = kEdges.rbegin(); edge != kEdges.rend(); ++edge) {
        *--to = byte(*edge >> 8U);
        *--to = byte(*edge);
    }
    return frame;
}

Bytes drawYuyv(FrameSize size, unsigned int number)
{
    static const Bytes ramp = [] {
        Bytes bytes;
        for (unsigned int value = 0; value < kBrightSteps + kWidest; ++value) {
            bytes.push_back(brightnessAt(value, 0, 0));
        }
        return bytes;
    }();
    Bytes frame(maxFrameBytes(PixelFormat::kYuyv, size));
    auto to = frame.begin();
    for (unsigned int y = 0; y < size.height; ++y) {
        auto bright = ramp.begin() + (y + number) % kBrightSteps;
        const std::uint8_t red = byte(16 + y % 225);
        for (unsigned int blue = 0; blue < size.width / 2; ++blue) {
            *to++ = *bright++;
            *to++ = byte(16 + (blue < 225 ? blue : blue - 225));
            *to++ = *bright++;
            *to++ = red;
        }
    }
    return frame;
}

// The same frame with the bytes of each pair in the other order.
Bytes drawUyvy(FrameSize size, unsigned int number)
{
    Bytes frame = drawYuyv(size, number);
    for (std::size_t at = 0; at < frame.size(); at += 2) {
        std::swap(frame[at], frame[at + 1]);
    }
    return frame;
}

// The same frame with the colours of every other row only, behind all brightness.
Bytes drawNv12(FrameSize size, unsigned int number)
{
    const Bytes pairs = drawYuyv(size, number);
    Bytes frame(maxFrameBytes(PixelFormat::kNv12, size));
    const std::size_t pixels = std::size_t{size.width} * size.height;
    for (std::size_t at = 0; at < pixels; ++at) {
        frame[at] = pairs[2 * at];
        const std::size_t row = at / size.width;
        if (row % 2 == 0) {
            frame[pixels + row / 2 * size.width + at % size.width] = pairs[2 * at + 1];
        }
    }
    return frame;
}

// Ten bits are what is left of the depth without its upper ones.
Bytes drawGrey10(FrameSize size, unsigned int number)
{
    Bytes frame = drawDepth(size, number);
    for (std::size_t at = 1; at < frame.size(); at += 2) {
        frame[at] &= 3;
    }
    return frame;
}

Bytes drawGrey(FrameSize size, unsigned int number)
{
    Bytes frame(maxFrameBytes(PixelFormat::kGrey, size));
    auto to = frame.begin();
    for (unsigned int y = 0; y < size.height; ++y) {
        for (unsigned int x = 0; x < size.width; ++x) {
            *to++ = byte(x + 2 * y + number);
        }
    }
    return frame;
}

Bytes drawJpeg(FrameSize size, unsigned int number)
{
    jpeg_compress_struct jpeg = {};
    jpeg_error_mgr errors = {};
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_compress(&jpeg);
    unsigned char *buffer = nullptr;
    unsigned long length = 0;
    jpeg_mem_dest(&jpeg, &buffer, &length);
    jpeg.image_width = size.width;
    jpeg.image_height = size.height;
    jpeg.input_components = 3;
    jpeg.in_color_space = JCS_YCbCr;
    jpeg_set_defaults(&jpeg);
    jpeg_set_quality(&jpeg, 90, TRUE);
    jpeg_start_compress(&jpeg, TRUE);
    Bytes row(std::size_t{size.width} * 3);
    for (unsigned int y = 0; y < size.height; ++y) {
        for (unsigned int x = 0; x < size.width; ++x) {
            row[x * 3] = brightnessAt(x, y, number);
            row[x * 3 + 1] = byte(64 + x / 8 % 128);
            row[x * 3 + 2] = byte(64 + y / 8 % 128);
        }
        JSAMPROW rows[] = {row.data()};
        jpeg_write_scanlines(&jpeg, rows, 1);
    }
    jpeg_finish_compress(&jpeg);
    Bytes frame(buffer, buffer + length);
    jpeg_destroy_compress(&jpeg);
    std::free(buffer);
    if (frame.size() % 2 == 0) {
        frame.push_back(0);
    }
    return frame;
}

}  // namespace

std::uint16_t depthAt(FrameSize size, unsigned int x, unsigned int y, unsigned int number)
{
    if (y + 1 == size.height && x + kEdges.size() >= size.width) {
        return kEdges[x + kEdges.size() - size.width];
    }
    return static_cast<std::uint16_t>(kNearest + (x + 3 * y + number) % kDepthSteps);
}

Bytes drawFrame(PixelFormat format, FrameSize size, unsigned int number)
{
    switch (format) {
        case PixelFormat::kDepth16:
            return drawDepth(size, number);
        case PixelFormat::kYuyv:
            return drawYuyv(size, number);
        case PixelFormat::kUyvy:
            return drawUyvy(size, number);
        case PixelFormat::kNv12:
            return drawNv12(size, number);
        case PixelFormat::kMotionJpeg:
            return drawJpeg(size, number);
        case PixelFormat::kGrey10:
            return drawGrey10(size, number);
        case PixelFormat::kGrey16:
            return drawDepth(size, number);
        case PixelFormat::kGrey:
            break;
    }
    return drawGrey(size, number);
}

std::size_t maxFrameBytes(PixelFormat format, FrameSize size)
{
    const std::size_t pixels = std::size_t{size.width} * size.height;
    switch (format) {
        case PixelFormat::kGrey:
            return pixels;
        case PixelFormat::kNv12:
            return pixels + pixels / 2;
        default:
            return pixels * 2;
    }
}

}  // namespace nubrix::vm
