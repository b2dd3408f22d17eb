// The conversions from YUV to RGB, many pixels at a time; compiled once for each instruction set.
//
// A layout loads the Y, U and V of a vector of pixels, a formula computes their colours in words of
// 16 bits, and YuvRows combines the two for each format.
#pragma once

#include "image/ByteLanes.h"
#include "image/ImagePlain.h"

namespace nubrix {

/// Pixels in pairs, as words: Y of the first pixels, Y of the second pixels, U and V of both.
template <class Lanes>
struct YuvPairs {
    typename Lanes::Words first, second, u, v;
};

/// The formula of 10 bits. Its factors but those of U and V are multiples of 8, so
///     (1192 y + c) >> 10 = (149 y + floor(c / 8)) >> 7
/// which fits 16 bits when 4096 is subtracted from one summand and added to the other. For blue it
/// does not; there 2048 u and the 4096 are added at the end.
template <class Lanes>
struct Of10Bits {
    using Words = typename Lanes::Words;

    explicit Of10Bits(const YuvPairs<Lanes> &pairs)
    {
        const Words d = pairs.u - Lanes::allOf(128);
        const Words e = pairs.v - Lanes::allOf(128);
        m_red = 204 * e + (e >> 2) + Lanes::allOf(4096);
        m_green = -104 * e - 50 * d + (-e >> 3) + Lanes::allOf(4096);
        m_blue = 2 * d + (d >> 2);
        m_bluePlus = 2 * d + Lanes::allOf(32);
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
    using Words = typename Lanes::Words;

    explicit Of8Bits(const YuvPairs<Lanes> &pairs)
    {
        const Words d = pairs.u - Lanes::allOf(128);
        const Words e = pairs.v - Lanes::allOf(128);
        m_red = 204 * e + (e >> 1) + Lanes::allOf(4096 + 64);
        m_green = -50 * d - 104 * e + Lanes::allOf(4096 + 64);
        m_blue = 2 * d + Lanes::allOf(64);
        m_bluePlus = 2 * d + Lanes::allOf(32);
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
    using Words = typename Lanes::Words;

    explicit OfDoubles(const YuvPairs<Lanes> &pairs)
    {
        const Words d = pairs.u - Lanes::allOf(128);
        const Words e = pairs.v - Lanes::allOf(128);
        m_red = e + ((178 * e + ((189 * e) >> 4)) >> 9);
        const Words fine = (-3 * e + 14 * d) >> 5;
        const Words middle = (-88 * e - 56 * d + fine) >> 8;
        m_green = (-89 * e - 43 * d + middle) >> 7;
        m_blue = 2 * d + ((-137 * d) >> 9);
    }
    NUBRIX_KERNEL_INLINE Words luma(Words y) { return y; }
    Words red(Words luma) const { return luma + m_red; }
    Words green(Words luma) const { return luma + m_green; }
    Words blue(Words luma) const { return luma + m_blue; }

private:
    Words m_red, m_green, m_blue;
};

/// Layouts: how the Y, U and V of a vector of pixels are loaded.
template <class Lanes>
struct I420Layout {
    NUBRIX_KERNEL_INLINE YuvPairs<Lanes> load(const unsigned char *luma, const unsigned char *u,
                                              const unsigned char *v)
    {
        using Half = typename Lanes::HalfBytes;
        const auto y = Lanes::load(luma);
        return {Lanes::evenBytes(y), Lanes::oddBytes(y),
                Lanes::widen(Lanes::template load<Half>(u)),
                Lanes::widen(Lanes::template load<Half>(v))};
    }
};

template <class Lanes>
struct Nv21Layout {
    NUBRIX_KERNEL_INLINE YuvPairs<Lanes> load(const unsigned char *luma, const unsigned char *vu)
    {
        const auto y = Lanes::load(luma);
        const auto chroma = Lanes::load(vu);
        return {Lanes::evenBytes(y), Lanes::oddBytes(y), Lanes::oddBytes(chroma),
                Lanes::evenBytes(chroma)};
    }
};

/// Four bytes a pair, with Y at the even places or at the odd ones.
template <class Lanes, bool kLumaIsEven>
struct PackedLayout {
    NUBRIX_KERNEL_INLINE YuvPairs<Lanes> load(const unsigned char *from)
    {
        const auto bytes = Lanes::separate(from);
        const auto luma = kLumaIsEven ? bytes.even : bytes.odd;
        const auto chroma = kLumaIsEven ? bytes.odd : bytes.even;
        return {Lanes::evenBytes(luma), Lanes::oddBytes(luma), Lanes::evenBytes(chroma),
                Lanes::oddBytes(chroma)};
    }
};

/// Converts Lanes::kBytes pixels.
template <class Lanes>
class YuvPixels {
public:
    NUBRIX_KERNEL_INLINE void i420(unsigned char *rgb, const unsigned char *luma,
                                   const unsigned char *u, const unsigned char *v)
    {
        store<Of10Bits<Lanes>>(rgb, I420Layout<Lanes>::load(luma, u, v));
    }
    NUBRIX_KERNEL_INLINE void nv21(unsigned char *rgb, const unsigned char *luma,
                                   const unsigned char *vu)
    {
        store<Of10Bits<Lanes>>(rgb, Nv21Layout<Lanes>::load(luma, vu));
    }
    NUBRIX_KERNEL_INLINE void yuyv(unsigned char *rgb, const unsigned char *from)
    {
        store<OfDoubles<Lanes>>(rgb, PackedLayout<Lanes, true>::load(from));
    }
    NUBRIX_KERNEL_INLINE void uyvy(unsigned char *rgb, const unsigned char *from)
    {
        store<Of8Bits<Lanes>>(rgb, PackedLayout<Lanes, false>::load(from));
    }

private:
    template <class Formula>
    NUBRIX_KERNEL_INLINE void store(unsigned char *rgb, const YuvPairs<Lanes> &pairs)
    {
        const Formula formula(pairs);
        const auto first = Formula::luma(pairs.first);
        const auto second = Formula::luma(pairs.second);
        Lanes::storeRgb(rgb, Lanes::pack(formula.red(first), formula.red(second)),
                        Lanes::pack(formula.green(first), formula.green(second)),
                        Lanes::pack(formula.blue(first), formula.blue(second)));
    }
};

/// `Pixels` converts a vector of pixels: YuvPixels or ProductPixels.
template <class Lanes, class Pixels>
class YuvRows {
public:
    static void i420Row(unsigned char *rgb, const unsigned char *luma, const unsigned char *u,
                        const unsigned char *v, std::size_t width)
    {
        const std::size_t done = inVectors<1>(
            rgb, luma, width, [=](std::size_t x) __attribute__((always_inline)) {
                Pixels::i420(rgb + 3 * x, luma + x, u + x / 2, v + x / 2);
            });
        plainI420Row(rgb + 3 * done, luma + done, u + done / 2, v + done / 2, width - done);
    }
    static void nv21Row(unsigned char *rgb, const unsigned char *luma, const unsigned char *vu,
                        std::size_t width)
    {
        const std::size_t done = inVectors<1>(
            rgb, luma, width, [=](std::size_t x) __attribute__((always_inline)) {
                Pixels::nv21(rgb + 3 * x, luma + x, vu + x);
            });
        plainNv21Row(rgb + 3 * done, luma + done, vu + done, width - done);
    }
    static void yuyvGroups(unsigned char *rgb, const unsigned char *yuyv, std::size_t groups)
    {
        const std::size_t done = inVectors<2>(
            rgb, yuyv, 2 * groups, [=](std::size_t x) __attribute__((always_inline)) {
                Pixels::yuyv(rgb + 3 * x, yuyv + 2 * x);
            });
        plainYuyvGroups(rgb + 3 * done, yuyv + 2 * done, groups - done / 2);
    }
    static void uyvyGroups(unsigned char *rgb, const unsigned char *uyvy, std::size_t groups)
    {
        const std::size_t done = inVectors<2>(
            rgb, uyvy, 2 * groups, [=](std::size_t x) __attribute__((always_inline)) {
                Pixels::uyvy(rgb + 3 * x, uyvy + 2 * x);
            });
        plainUyvyGroups(rgb + 3 * done, uyvy + 2 * done, groups - done / 2);
    }

private:
    static constexpr std::size_t kPixels = Lanes::kBytes;

    // Calls convert(x) for vectors of pixels that begin at an even x; returns how many pixels are
    // done. The last vector overlaps the one before it, so that of a row that is not shorter than a
    // vector at most one pixel is left.
    template <int kSourceBytes, class Convert>
    NUBRIX_KERNEL_INLINE std::size_t inVectors(unsigned char *rgb, const unsigned char *from,
                                               std::size_t width, const Convert &convert)
    {
        const std::size_t even = width / 2 * 2;
        if (even < kPixels)
            return 0;
        const std::size_t last = even - kPixels;
        for (std::size_t x = 0;; x = x + kPixels < last ? x + kPixels : last) {
            prefetch<kSourceBytes * kPixels>(from + kSourceBytes * x);
            prefetch<3 * kPixels>(rgb + 3 * x);
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
