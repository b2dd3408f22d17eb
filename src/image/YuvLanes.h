// The loops of the conversions from YUV to RGB, many pixels at a time; compiled once for each
// instruction set.
#pragma once

#include "image/ImagePlain.h"
#include "image/YuvProducts.h"

namespace nubrix {

template <class Lanes>
class YuvRows {
    using Colours = YuvColours<Lanes>;

public:
    static void i420Rows(const YuvRowPair &rows, const unsigned char *u, const unsigned char *v,
                         std::size_t width)
    {
        const std::size_t done = inVectors(
            width, [&](std::size_t x) __attribute__((always_inline)) {
                storeBoth(rows, x, Colours::i420(u + x / 2, v + x / 2));
            });
        plainI420Rows(rest(rows, done), u + done / 2, v + done / 2, width - done);
    }
    static void nv21Rows(const YuvRowPair &rows, const unsigned char *vu, std::size_t width)
    {
        const std::size_t done = inVectors(
            width, [&](std::size_t x) __attribute__((always_inline)) {
                storeBoth(rows, x, Colours::nv21(vu + x));
            });
        plainNv21Rows(rest(rows, done), vu + done, width - done);
    }
    static void yuyvGroups(unsigned char *rgb, const unsigned char *yuyv, std::size_t groups)
    {
        const std::size_t done = inVectors(
            2 * groups, [=](std::size_t x) __attribute__((always_inline)) {
                prefetch<2 * kPixels>(yuyv + 2 * x);
                const auto bytes = Lanes::separate(yuyv + 2 * x);
                store(rgb + 3 * x, bytes.even, Colours::yuyv(bytes.odd));
            });
        plainYuyvGroups(rgb + 3 * done, yuyv + 2 * done, groups - done / 2);
    }
    static void uyvyGroups(unsigned char *rgb, const unsigned char *uyvy, std::size_t groups)
    {
        const std::size_t done = inVectors(
            2 * groups, [=](std::size_t x) __attribute__((always_inline)) {
                prefetch<2 * kPixels>(uyvy + 2 * x);
                const auto bytes = Lanes::separate(uyvy + 2 * x);
                store(rgb + 3 * x, bytes.odd, Colours::uyvy(bytes.even));
            });
        plainUyvyGroups(rgb + 3 * done, uyvy + 2 * done, groups - done / 2);
    }

private:
    static constexpr std::size_t kPixels = Lanes::kBytes;

    NUBRIX_KERNEL_INLINE YuvRowPair rest(const YuvRowPair &rows, std::size_t x)
    {
        return {{rows.rgb[0] + 3 * x, rows.rgb[1] + 3 * x}, {rows.luma[0] + x, rows.luma[1] + x}};
    }
    template <class Formula>
    NUBRIX_KERNEL_INLINE void storeBoth(const YuvRowPair &rows, std::size_t x,
                                        const Formula &formula)
    {
        for (int i = 0; i < 2; ++i) {
            prefetch<kPixels>(rows.luma[i] + x);
            store(rows.rgb[i] + 3 * x, Lanes::load(rows.luma[i] + x), formula);
        }
    }
    template <class Formula>
    NUBRIX_KERNEL_INLINE void store(unsigned char *rgb, typename Lanes::Bytes luma,
                                    const Formula &formula)
    {
        prefetch<3 * kPixels>(rgb);
        const YuvPairs<Lanes> y = Formula::luma(luma);
        Lanes::storeRgb(rgb, Lanes::pack(formula.red(y.first), formula.red(y.second)),
                        Lanes::pack(formula.green(y.first), formula.green(y.second)),
                        Lanes::pack(formula.blue(y.first), formula.blue(y.second)));
    }

    // Calls convert(x) for vectors of pixels that begin at an even x; returns how many pixels are
    // done. The last vector overlaps the one before it, so that of a row that is not shorter than a
    // vector at most one pixel is left.
    template <class Convert>
    NUBRIX_KERNEL_INLINE std::size_t inVectors(std::size_t width, const Convert &convert)
    {
        const std::size_t even = width / 2 * 2;
        if (even < kPixels)
            return 0;
        const std::size_t last = even - kPixels;
        for (std::size_t x = 0;; x = x + kPixels < last ? x + kPixels : last) {
            convert(x);
            if (x == last)
                return even;
        }
    }

    // The frames of a pool are rarely in a cache; where they are, this costs next to nothing.
    template <std::size_t kBytes>
    NUBRIX_KERNEL_INLINE void prefetch(const unsigned char *bytes)
    {
        constexpr std::size_t kAhead = 512;
        constexpr std::size_t kLine = 64;
        for (std::size_t i = 0; i < kBytes; i += kLine)
            __builtin_prefetch(bytes + kAhead + i);
    }
};

}  // namespace nubrix
