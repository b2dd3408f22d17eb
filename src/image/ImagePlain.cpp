#include "image/ImagePlain.h"

#include <algorithm>

namespace nubrix {

namespace {

// Clamped to 0 ... 255 without branches, which random colours would mispredict.
unsigned char byteOf(int value)
{
    const int positive = value & ~(value >> 31);
    const int onesIfAbove = (255 - positive) >> 31;
    return static_cast<unsigned char>(positive | onesIfAbove);
}

unsigned char byteOf(double value)
{
    return static_cast<unsigned char>(std::clamp(value, 0.0, 255.0));
}

// What U and V add to red, green and blue of every pixel that has them.
struct Sums {
    int r, g, b;
};

Sums sumsOf8Bits(int u, int v)
{
    const int d = u - 128;
    const int e = v - 128;
    return {409 * e + 128, -100 * d - 208 * e + 128, 516 * d + 128};
}

// Byte by byte: a pixel that is put together first would stall the loads that follow.
template <int kShift>
void store(unsigned char *rgb, int luma, const Sums &sums)
{
    rgb[0] = byteOf((luma + sums.r) >> kShift);
    rgb[1] = byteOf((luma + sums.g) >> kShift);
    rgb[2] = byteOf((luma + sums.b) >> kShift);
}

void storeOf8Bits(unsigned char *rgb, int y, const Sums &sums)
{
    store<8>(rgb, 298 * (y - 16), sums);
}

Sums sumsOf10Bits(int u, int v)
{
    const int d = u - 128;
    const int e = v - 128;
    return {1634 * e, -833 * e - 400 * d, 2066 * d};
}

void storeOf10Bits(unsigned char *rgb, int y, const Sums &sums)
{
    store<10>(rgb, 1192 * std::max(y - 16, 0), sums);
}

// plainPixelOfDoubles without doubles, for U and V of bytes: Y is a whole number, so it changes no
// rounding, and these products are exact enough for each of the 65,536 pairs.
Sums sumsOfDoubles(int u, int v)
{
    const int d = u - 128;
    const int e = v - 128;
    return {e + (24294 * e >> 16), (-731907 * e - 354034 * d) >> 20, 2 * d + (-17537 * d >> 16)};
}

// The pixels of up to two columns, which have the same U and V.
void storeColumns(const YuvRowPair &rows, std::size_t x, std::size_t columns, const Sums &sums)
{
    for (std::size_t i = x; i < x + columns; ++i) {
        storeOf10Bits(rows.rgb[0] + 3 * i, rows.luma[0][i], sums);
        storeOf10Bits(rows.rgb[1] + 3 * i, rows.luma[1][i], sums);
    }
}

// The pixel (x, y) goes from `from + y * fromStep + x` to `to + x * toStep + y`.
template <class T>
void transpose(const T *from, std::ptrdiff_t fromStep, T *to, std::ptrdiff_t toStep,
               std::size_t width, std::size_t height)
{
    constexpr std::size_t kStrip = 8;  // rows whose pixels are stored next to each other
    while (height > 0) {
        const std::size_t rows = std::min(kStrip, height);
        for (std::size_t x = 0; x < width; ++x) {
            const T *column = from + x;
            T *const row = to + static_cast<std::ptrdiff_t>(x) * toStep;
            for (std::size_t y = 0; y < rows; ++y, column += fromStep)
                row[y] = *column;
        }
        from += static_cast<std::ptrdiff_t>(rows) * fromStep;
        to += rows;
        height -= rows;
    }
}

}  // namespace

template <class T>
void PlainTurns<T>::clockwise90(const T *source, std::size_t width, std::size_t height,
                                T *destination)
{
    if (height == 0)
        return;
    transpose(source + (height - 1) * width, -static_cast<std::ptrdiff_t>(width), destination,
              static_cast<std::ptrdiff_t>(height), width, height);
}

template <class T>
void PlainTurns<T>::anticlockwise90(const T *source, std::size_t width, std::size_t height,
                                    T *destination)
{
    if (width == 0)
        return;
    transpose(source, static_cast<std::ptrdiff_t>(width), destination + (width - 1) * height,
              -static_cast<std::ptrdiff_t>(height), width, height);
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
    unsigned char rgb[3];
    storeOf8Bits(rgb, y, sumsOf8Bits(u, v));
    return {rgb[0], rgb[1], rgb[2]};
}

RGB888Pixel plainPixelOf10Bits(int y, int u, int v)
{
    unsigned char rgb[3];
    storeOf10Bits(rgb, y, sumsOf10Bits(u, v));
    return {rgb[0], rgb[1], rgb[2]};
}

RGB888Pixel plainPixelOfDoubles(int y, int u, int v)
{
    const double luma = y;
    const double d = static_cast<double>(u) - 128;
    const double e = static_cast<double>(v) - 128;
    return {byteOf(luma + 1.370705 * e), byteOf(luma - 0.698001 * e - 0.337633 * d),
            byteOf(luma + 1.732446 * d)};
}

void plainI420Rows(const YuvRowPair &rows, const unsigned char *u, const unsigned char *v,
                   std::size_t width)
{
    for (std::size_t x = 0; x < width; x += 2)
        storeColumns(rows, x, std::min<std::size_t>(2, width - x), sumsOf10Bits(*u++, *v++));
}

void plainNv21Rows(const YuvRowPair &rows, const unsigned char *vu, std::size_t width)
{
    for (std::size_t x = 0; x < width; x += 2, vu += 2)
        storeColumns(rows, x, std::min<std::size_t>(2, width - x), sumsOf10Bits(vu[1], vu[0]));
}

void plainYuyvGroups(unsigned char *rgb, const unsigned char *yuyv, std::size_t groups)
{
    for (std::size_t i = 0; i < groups; ++i, yuyv += 4, rgb += 6) {
        const Sums sums = sumsOfDoubles(yuyv[1], yuyv[3]);
        store<0>(rgb, yuyv[0], sums);
        store<0>(rgb + 3, yuyv[2], sums);
    }
}

void plainUyvyGroups(unsigned char *rgb, const unsigned char *uyvy, std::size_t groups)
{
    for (std::size_t i = 0; i < groups; ++i, uyvy += 4, rgb += 6) {
        const Sums sums = sumsOf8Bits(uyvy[0], uyvy[2]);
        storeOf8Bits(rgb, uyvy[1], sums);
        storeOf8Bits(rgb + 3, uyvy[3], sums);
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
