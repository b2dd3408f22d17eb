#include "output/FrameImage.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>
#include <string>
#include "Names.h"

namespace nubrix::tool {

namespace {

using Colour = std::array<std::uint8_t, 3>;

/// Luminance and the two colour differences of a pixel, each 0 to 255.
struct Yuv {
    int y, u, v;
};

Yuv yuvAt(const FrameCopy &frame, std::size_t x, std::size_t y)
{
    const std::uint8_t *data = frame.data.data();
    const std::size_t halfWidth = (frame.width + 1) / 2;
    const std::size_t halfHeight = (frame.height + 1) / 2;
    const std::size_t pixels = std::size_t{frame.width} * frame.height;
    const std::size_t pair = y * halfWidth + x / 2;
    const std::size_t block = y / 2 * halfWidth + x / 2;
    switch (frame.pixelFormat) {
        case NUBRIX_PIXEL_YUYV:
            return {data[pair * 4 + x % 2 * 2], data[pair * 4 + 1], data[pair * 4 + 3]};
        case NUBRIX_PIXEL_UYVY:
            return {data[pair * 4 + 1 + x % 2 * 2], data[pair * 4], data[pair * 4 + 2]};
        case NUBRIX_PIXEL_NV21:
            return {data[y * frame.width + x], data[pixels + block * 2 + 1],
                    data[pixels + block * 2]};
        default:
            return {data[y * frame.width + x], data[pixels + block],
                    data[pixels + halfWidth * halfHeight + block]};
    }
}

std::uint8_t clamp(double value)
{
    return static_cast<std::uint8_t>(std::clamp(std::floor(value), 0.0, 255.0));
}

Colour colourOf(const Yuv &pixel)
{
    const double y = pixel.y;
    const double u = pixel.u - 128;
    const double v = pixel.v - 128;
    return {clamp(y + 1.370705 * v), clamp(y - 0.698001 * v - 0.337633 * u),
            clamp(y + 1.732446 * u)};
}

Image colourImage(const FrameCopy &frame)
{
    Image image{frame.width, frame.height, 3, 8, {}};
    image.samples.reserve(std::size_t{frame.width} * frame.height * 3);
    for (std::size_t y = 0; y < frame.height; ++y) {
        for (std::size_t x = 0; x < frame.width; ++x) {
            const Colour colour = colourOf(yuvAt(frame, x, y));
            image.samples.insert(image.samples.end(), colour.begin(), colour.end());
        }
    }
    return image;
}

/// The bytes of the frame, unchanged.
Image unchangedImage(const FrameCopy &frame, unsigned int channels, unsigned int bits)
{
    Image image{frame.width, frame.height, channels, bits, {}};
    const std::size_t size = std::size_t{frame.width} * frame.height * channels * (bits / 8);
    image.samples.assign(frame.data.begin(),
                         frame.data.begin() + static_cast<std::ptrdiff_t>(size));
    return image;
}

std::vector<unsigned int> depthsOf(const Image &image)
{
    std::vector<unsigned int> depths(image.samples.size() / 2);
    for (std::size_t i = 0; i < depths.size(); ++i)
        depths[i] = image.samples[2 * i] | static_cast<unsigned int>(image.samples[2 * i + 1]) << 8;
    return depths;
}

/// The colour at `position`, 0 (near) to 1 (far).
Colour rainbow(double position)
{
    static constexpr std::array<std::array<double, 3>, 6> kSteps = {{{215, 25, 28},
                                                                     {250, 150, 40},
                                                                     {245, 235, 90},
                                                                     {70, 190, 110},
                                                                     {35, 110, 200},
                                                                     {70, 30, 110}}};
    const double step = std::clamp(position, 0.0, 1.0) * (kSteps.size() - 1);
    const std::size_t first = std::min(static_cast<std::size_t>(step), kSteps.size() - 2);
    const double part = step - static_cast<double>(first);
    Colour colour = {};
    for (std::size_t i = 0; i < colour.size(); ++i)
        colour[i] = clamp(kSteps[first][i] * (1 - part) + kSteps[first + 1][i] * part + 0.5);
    return colour;
}

}  // namespace

bool isDepth(unsigned int pixelFormat)
{
    return pixelFormat >= NUBRIX_PIXEL_DEPTH_12_4 && pixelFormat <= NUBRIX_PIXEL_DEPTH_MM;
}

Image imageOf(const FrameCopy &frame)
{
    switch (frame.pixelFormat) {
        case NUBRIX_PIXEL_RGB888:
            return unchangedImage(frame, 3, 8);
        case NUBRIX_PIXEL_GREY8:
            return unchangedImage(frame, 1, 8);
        case NUBRIX_PIXEL_GREY16:
        case NUBRIX_PIXEL_DEPTH_12_4:
        case NUBRIX_PIXEL_DEPTH_13_3:
        case NUBRIX_PIXEL_DEPTH_14_2:
        case NUBRIX_PIXEL_DEPTH_MM:
            return unchangedImage(frame, 1, 16);
        case NUBRIX_PIXEL_YUYV:
        case NUBRIX_PIXEL_UYVY:
        case NUBRIX_PIXEL_NV21:
        case NUBRIX_PIXEL_I420:
            return colourImage(frame);
        default:
            throw std::runtime_error("images of the pixel format " +
                                     pixelFormatName(frame.pixelFormat) + " cannot be converted");
    }
}

Image falseColour(const Image &depth)
{
    const std::vector<unsigned int> depths = depthsOf(depth);
    std::vector<unsigned int> measured;
    std::copy_if(depths.begin(), depths.end(), std::back_inserter(measured),
                 [](unsigned int value) { return value != 0; });
    std::sort(measured.begin(), measured.end());
    const double near = measured.empty() ? 0 : measured[measured.size() / 100];
    const double far = measured.empty() ? 0 : measured[measured.size() - 1 - measured.size() / 100];

    Image image{depth.width, depth.height, 3, 8, {}};
    image.samples.reserve(depths.size() * 3);
    for (const unsigned int value : depths) {
        Colour colour = {};
        if (value != 0)
            colour = rainbow(far > near ? (value - near) / (far - near) : 0);
        image.samples.insert(image.samples.end(), colour.begin(), colour.end());
    }
    return image;
}

}  // namespace nubrix::tool
