#include "uvc/ColorConversion.h"

#include <algorithm>
#include <cstddef>

namespace nubrix {

namespace {

std::uint8_t clamp(int value)
{
    return static_cast<std::uint8_t>(std::clamp(value, 0, 255));
}

/// Luma from 16 to 235, 8 bits after the point.
void writePixel(int y, int u, int v, std::uint8_t *rgb)
{
    const int luma = 298 * (y - 16) + 128;
    rgb[0] = clamp((luma + 409 * (v - 128)) / 256);
    rgb[1] = clamp((luma - 100 * (u - 128) - 208 * (v - 128)) / 256);
    rgb[2] = clamp((luma + 516 * (u - 128)) / 256);
}

}  // namespace

void yuyvToRgb(const std::uint8_t *yuyv, std::uint8_t *rgb, unsigned int width, unsigned int height)
{
    for (std::size_t i = 0; i < std::size_t{width} * height / 2; ++i, yuyv += 4, rgb += 6) {
        writePixel(yuyv[0], yuyv[1], yuyv[3], rgb);
        writePixel(yuyv[2], yuyv[1], yuyv[3], rgb + 3);
    }
}

void uyvyToRgb(const std::uint8_t *uyvy, std::uint8_t *rgb, unsigned int width, unsigned int height)
{
    for (std::size_t i = 0; i < std::size_t{width} * height / 2; ++i, uyvy += 4, rgb += 6) {
        writePixel(uyvy[1], uyvy[0], uyvy[2], rgb);
        writePixel(uyvy[3], uyvy[0], uyvy[2], rgb + 3);
    }
}

void nv21ToRgb(const std::uint8_t *nv21, std::uint8_t *rgb, unsigned int width, unsigned int height)
{
    const std::uint8_t *colors = nv21 + std::size_t{width} * height;
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; ++x, rgb += 3) {
            const std::uint8_t *pair = colors + y / 2 * width + x / 2 * 2;
            writePixel(*nv21++, pair[1], pair[0], rgb);
        }
    }
}

}  // namespace nubrix
