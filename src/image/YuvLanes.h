// The conversions from YUV to RGB, many pixels at a time; compiled once for each instruction set.
//
// Two pixels share a U and a V. A formula computes from U and V what the colours add to Y, and then
// the colours of the first and of the second pixels of the pairs; all are words of 16 bits.
#pragma once

#include "image/ByteLanes.h"
#include "image/ImagePlain.h"

namespace nubrix {

/// Words of the first pixels of the pairs, and of the second ones.
template <class Lanes>
struct YuvPairs {
    typename Lanes::Words first, second;
};

/// The formula of 10 bits. Its factors but those of U and V are multiples of 8, so
///     (1192 y + c) >> 10 = (149 y + floor(c / 8)) >> 7
/// which fits 16 bits when 4096 is subtracted from one summand and added to the other. For blue it
/// does not; there 2048 u and the 4096 are added at the end.
template <class Lanes>
struct Of10Bits {
    using Bytes = typename Lanes::Bytes;
    using Words = typename Lanes::Words;

    Of10Bits(Words u, Words v)
    {
        const Words d = u - Lanes::allOf(128);
        const Words e = v - Lanes::allOf(128);
        m_red = 204 * e + (e >> 2) + Lanes::allOf(4096);
        m_green = -104 * e - 50 * d + (-e >> 3) + Lanes::allOf(4096);
        m_blue = 2 * d + (d >> 2);
        m_bluePlus = 2 * d + Lanes::allOf(32);
    }
    NUBRIX_KERNEL_INLINE YuvPairs<Lanes> luma(Bytes y)
    {
        return {luma(Lanes::evenBytes(y)), luma(Lanes::oddBytes(y))};
    }
    NUBRIX_KERNEL_INLINE Words luma(Words y)
    {
        const Words dark = Lanes::allOf(16);
        // 149 (y - 16) - 4096, without a product that is too large on the way.
        return 149 * ((y > dark ? y : dark) - Lanes::allOf(44)) + Lanes::allOf(76);
    }
    Words red(Words luma) const { return Lanes::addSaturated(luma, m_red) >> 7; }
    Words green(Words luma) const { return Lanes::addSaturated(luma, m_green) >> 7; }
    Words blue(Words luma) const { return ((luma + m_blue) >> 7) + m_bluePlus; }

private:
    Words m_red, m_green, m_blue, m_bluePlus;
};

/// The formula of 8 bits, likewise: (298 y + c) >> 8 = (149 y + floor(c / 2)) >> 7.
template <class Lanes>
struct Of8Bits {
    using Bytes = typename Lanes::Bytes;
    using Words = typename Lanes::Words;

    Of8Bits(Words u, Words v)
    {
        const Words d = u - Lanes::allOf(128);
        const Words e = v - Lanes::allOf(128);
        m_red = 204 * e + (e >> 1) + Lanes::allOf(4096 + 64);
        m_green = -50 * d - 104 * e + Lanes::allOf(4096 + 64);
        m_blue = 2 * d + Lanes::allOf(64);
        m_bluePlus = 2 * d + Lanes::allOf(32);
    }
    NUBRIX_KERNEL_INLINE YuvPairs<Lanes> luma(Bytes y)
    {
        return {luma(Lanes::evenBytes(y)), luma(Lanes::oddBytes(y))};
    }
    NUBRIX_KERNEL_INLINE Words luma(Words y)
    {
        return 149 * (y - Lanes::allOf(44)) + Lanes::allOf(76);
    }
    Words red(Words luma) const { return Lanes::addSaturated(luma, m_red) >> 7; }
    Words green(Words luma) const { return Lanes::addSaturated(luma, m_green) >> 7; }
    Words blue(Words luma) const { return ((luma + m_blue) >> 7) + m_bluePlus; }

private:
    Words m_red, m_green, m_blue, m_bluePlus;
};

/// The formula of doubles. A fraction plus a whole number is rounded like the fraction alone, so
/// the colours add whole numbers to Y; here are integer formulas that give them for every U and V.
/// That of green is floor((-731907 e - 354034 d) / 2^20), in three steps of 16 bits.
template <class Lanes>
struct OfDoubles {
    using Bytes = typename Lanes::Bytes;
    using Words = typename Lanes::Words;

    OfDoubles(Words u, Words v)
    {
        const Words d = u - Lanes::allOf(128);
        const Words e = v - Lanes::allOf(128);
        m_red = e + ((178 * e + ((189 * e) >> 4)) >> 9);
        const Words fine = (-3 * e + 14 * d) >> 5;
        const Words middle = (-88 * e - 56 * d + fine) >> 8;
        m_green = (-89 * e - 43 * d + middle) >> 7;
        m_blue = 2 * d + ((-137 * d) >> 9);
    }
    NUBRIX_KERNEL_INLINE YuvPairs<Lanes> luma(Bytes y)
    {
        return {Lanes::evenBytes(y), Lanes::oddBytes(y)};
    }
    Words red(Words luma) const { return luma + m_red; }
    Words green(Words luma) const { return luma + m_green; }
    Words blue(Words luma) const { return luma + m_blue; }

private:
    Words m_red, m_green, m_blue;
};

/// Which formula a format has, and how its U and V are loaded.
template <class Lanes>
struct YuvColours {
    using Bytes = typename Lanes::Bytes;

    NUBRIX_KERNEL_INLINE Of10Bits<Lanes> i420(const unsigned char *u, const unsigned char *v)
    {
        using Half = typename Lanes::HalfBytes;
        return {Lanes::widen(Lanes::template load<Half>(u)),
                Lanes::widen(Lanes::template load<Half>(v))};
    }
    NUBRIX_KERNEL_INLINE Of10Bits<Lanes> nv21(const unsigned char *vu)
    {
        const Bytes chroma = Lanes::load(vu);
        return {Lanes::oddBytes(chroma), Lanes::evenBytes(chroma)};
    }
    /// Of bytes U and V in turn.
    NUBRIX_KERNEL_INLINE OfDoubles<Lanes> yuyv(Bytes chroma)
    {
        return {Lanes::evenBytes(chroma), Lanes::oddBytes(chroma)};
    }
    NUBRIX_KERNEL_INLINE Of8Bits<Lanes> uyvy(Bytes chroma)
    {
        return {Lanes::evenBytes(chroma), Lanes::oddBytes(chroma)};
    }
};

/// `Colours` is YuvColours or has the same functions.
template <class Lanes, class Colours>
class YuvRows {
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
