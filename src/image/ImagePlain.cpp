#include "image/ImagePlain.h"

#include <algorithm>

namespace nubrix {

namespace {

unsigned char byteOf(int value)
{
    return static_cast<unsigned char>(std::clamp(value, 0, 255));
}

unsigned char byteOf(double value)
{
    return static_cast<unsigned char>(std::clamp(value, 0.0, 255.0));
}

unsigned char byteOf10Bits(int value)
{
    return static_cast<unsigned char>(std::clamp(value, 0, 0x3ffff) >> 10);
}

void store(unsigned char *rgb, const RGB888Pixel &pixel)
{
    rgb[0] = pixel.r;
    rgb[1] = pixel.g;
    rgb[2] = pixel.b;
}

}  // namespace

template <class T>
void PlainTurns<T>::clockwise90(const T *source, std::size_t width, std::size_t height,
                                T *destination)
{
    for (std::size_t column = 0; column < width; ++column) {
        for (std::size_t row = height; row-- > 0;)
            *destination++ = source[row * width + column];
    }
}

template <class T>
void PlainTurns<T>::anticlockwise90(const T *source, std::size_t width, std::size_t height,
                                    T *destination)
{
    for (std::size_t column = width; column-- > 0;) {
        for (std::size_t row = 0; row < height; ++row)
            *destination++ = source[row * width + column];
    }
}

template <class T>
void PlainTurns<T>::reverse(const T *source, std::size_t count, T *destination)
{
    std::reverse_copy(source, source + count, destination);
}

template <class T>
void PlainTurns<T>::mirrorRow(T *row, std::size_t width)
{
    std::reverse(row, row + width);
}

template struct PlainTurns<unsigned char>;
template struct PlainTurns<BytePair>;
template struct PlainTurns<RGB888Pixel>;

RGB888Pixel plainPixelOf8Bits(int y, int u, int v)
{
    const int c = y - 16;
    const int d = u - 128;
    const int e = v - 128;
    return {byteOf((298 * c + 409 * e + 128) >> 8),
            byteOf((298 * c - 100 * d - 208 * e + 128) >> 8),
            byteOf((298 * c + 516 * d + 128) >> 8)};
}

RGB888Pixel plainPixelOf10Bits(int y, int u, int v)
{
    const int luma = 1192 * std::max(y - 16, 0);
    const int d = u - 128;
    const int e = v - 128;
    return {byteOf10Bits(luma + 1634 * e), byteOf10Bits(luma - 833 * e - 400 * d),
            byteOf10Bits(luma + 2066 * d)};
}

RGB888Pixel plainPixelOfDoubles(int y, int u, int v)
{
    const double luma = y;
    const double d = static_cast<double>(u) - 128;
    const double e = static_cast<double>(v) - 128;
    return {byteOf(luma + 1.370705 * e), byteOf(luma - 0.698001 * e - 0.337633 * d),
            byteOf(luma + 1.732446 * d)};
}

void plainI420Row(unsigned char *rgb, const unsigned char *luma, const unsigned char *u,
                  const unsigned char *v, std::size_t width)
{
    for (std::size_t x = 0; x < width; ++x)
        store(rgb + 3 * x, plainPixelOf10Bits(luma[x], u[x / 2], v[x / 2]));
}

void plainNv21Row(unsigned char *rgb, const unsigned char *luma, const unsigned char *vu,
                  std::size_t width)
{
    for (std::size_t x = 0; x < width; ++x)
        store(rgb + 3 * x, plainPixelOf10Bits(luma[x], vu[x / 2 * 2 + 1], vu[x / 2 * 2]));
}

void plainYuyvGroups(unsigned char *rgb, const unsigned char *yuyv, std::size_t groups)
{
    for (std::size_t i = 0; i < groups; ++i, yuyv += 4, rgb += 6) {
        store(rgb, plainPixelOfDoubles(yuyv[0], yuyv[1], yuyv[3]));
        store(rgb + 3, plainPixelOfDoubles(yuyv[2], yuyv[1], yuyv[3]));
    }
}

void plainUyvyGroups(unsigned char *rgb, const unsigned char *uyvy, std::size_t groups)
{
    for (std::size_t i = 0; i < groups; ++i, uyvy += 4, rgb += 6) {
        store(rgb, plainPixelOf8Bits(uyvy[1], uyvy[0], uyvy[2]));
        store(rgb + 3, plainPixelOf8Bits(uyvy[3], uyvy[0], uyvy[2]));
    }
}

void plainHistogram(float *histogram, int size, const unsigned short *depth, std::size_t pixels)
{
    std::fill(histogram, histogram + std::max(size, 0), 0.0F);
    std::size_t counted = 0;
    for (std::size_t i = 0; i < pixels; ++i) {
        // Kept: nothing compares the depth with the size. See docs/oddities.md.
        if (depth[i] != 0) {
            histogram[depth[i]] += 1.0F;
            ++counted;
        }
    }
    for (int i = 1; i < size; ++i)
        histogram[i] += histogram[i - 1];
    if (counted == 0)
        return;
    for (int i = 1; i < size; ++i)
        histogram[i] = (1.0F - histogram[i] / static_cast<float>(counted)) * 256.0F;
}

void plainColours(RGB888Pixel *rgb, const unsigned short *depth, std::size_t pixels,
                  const float *histogram)
{
    for (std::size_t i = 0; i < pixels; ++i) {
        if (depth[i] == 0)
            continue;
        const auto level = static_cast<unsigned char>(static_cast<int>(histogram[depth[i]]));
        rgb[i] = {level, level, 0};
    }
}

}  // namespace nubrix
