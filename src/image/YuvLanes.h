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
        const auto a = Lanes::load(from);
        const auto b = Lanes::load(from + Lanes::kBytes);
        // pack takes blocks in turn.
        const auto first = Lanes::template shuffleBlocks<EverySecond<0>>(a, b);
        const auto second = Lanes::template shuffleBlocks<EverySecond<1>>(a, b);
        const auto even = Lanes::pack(Lanes::evenBytes(first), Lanes::evenBytes(second));
        const auto odd = Lanes::pack(Lanes::oddBytes(first), Lanes::oddBytes(second));
        const auto luma = kLumaIsEven ? even : odd;
        const auto chroma = kLumaIsEven ? odd : even;
        return {Lanes::evenBytes(luma), Lanes::oddBytes(luma), Lanes::evenBytes(chroma),
                Lanes::oddBytes(chroma)};
    }

private:
    template <int kFirst>
    struct EverySecond {
        static constexpr int of(int i) { return 2 * i + kFirst; }
    };
};

template <class Lanes>
class YuvRows {
public:
    static void i420Row(unsigned char *rgb, const unsigned char *luma, const unsigned char *u,
                        const unsigned char *v, std::size_t width)
    {
        std::size_t x = 0;
        for (; x + kPixels <= width; x += kPixels) {
            prefetch(rgb + 3 * x, luma + x);
            storePixels<Of10Bits<Lanes>>(rgb + 3 * x,
                                         I420Layout<Lanes>::load(luma + x, u + x / 2, v + x / 2));
        }
        plainI420Row(rgb + 3 * x, luma + x, u + x / 2, v + x / 2, width - x);
    }
    static void nv21Row(unsigned char *rgb, const unsigned char *luma, const unsigned char *vu,
                        std::size_t width)
    {
        std::size_t x = 0;
        for (; x + kPixels <= width; x += kPixels) {
            prefetch(rgb + 3 * x, luma + x);
            storePixels<Of10Bits<Lanes>>(rgb + 3 * x, Nv21Layout<Lanes>::load(luma + x, vu + x));
        }
        plainNv21Row(rgb + 3 * x, luma + x, vu + x, width - x);
    }
    static void yuyvGroups(unsigned char *rgb, const unsigned char *yuyv, std::size_t groups)
    {
        const std::size_t done = packed<OfDoubles<Lanes>, true>(rgb, yuyv, groups);
        plainYuyvGroups(rgb + 6 * done, yuyv + 4 * done, groups - done);
    }
    static void uyvyGroups(unsigned char *rgb, const unsigned char *uyvy, std::size_t groups)
    {
        const std::size_t done = packed<Of8Bits<Lanes>, false>(rgb, uyvy, groups);
        plainUyvyGroups(rgb + 6 * done, uyvy + 4 * done, groups - done);
    }

private:
    static constexpr std::size_t kPixels = Lanes::kBytes;

    template <class Formula, bool kLumaIsEven>
    NUBRIX_KERNEL_INLINE std::size_t packed(unsigned char *rgb, const unsigned char *from,
                                            std::size_t groups)
    {
        std::size_t done = 0;
        for (; done + kPixels / 2 <= groups; done += kPixels / 2) {
            prefetch(rgb + 6 * done, from + 4 * done);
            storePixels<Formula>(rgb + 6 * done,
                                 PackedLayout<Lanes, kLumaIsEven>::load(from + 4 * done));
        }
        return done;
    }

    template <class Formula>
    NUBRIX_KERNEL_INLINE void storePixels(unsigned char *rgb, const YuvPairs<Lanes> &pairs)
    {
        const Formula formula(pairs);
        const auto first = Formula::luma(pairs.first);
        const auto second = Formula::luma(pairs.second);
        Lanes::storeRgb(rgb, Lanes::pack(formula.red(first), formula.red(second)),
                        Lanes::pack(formula.green(first), formula.green(second)),
                        Lanes::pack(formula.blue(first), formula.blue(second)));
    }

    // The frames of a pool are rarely in a cache; where they are, this costs next to nothing.
    NUBRIX_KERNEL_INLINE void prefetch(unsigned char *rgb, const unsigned char *from)
    {
        constexpr int kAhead = 512;  // bytes
        constexpr int kLine = 64;
        __builtin_prefetch(from + kAhead);
        for (int i = 0; i < 3 * Lanes::kBytes; i += kLine)
            __builtin_prefetch(rgb + kAhead + i, 1);
    }
};

}  // namespace nubrix
