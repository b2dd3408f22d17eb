// The conversions from YUV to RGB, many pixels at a time; compiled once for each instruction set.
#pragma once

#include "image/YuvFormulas.h"
#include "image/YuvPlain.h"

namespace nubrix {

/// Where the bytes of a vector of pixels are.
template <class Lanes>
struct I420Layout {
    NUBRIX_LANES_INLINE YuvPairs<Lanes> load(const unsigned char *luma, const unsigned char *u,
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
    NUBRIX_LANES_INLINE YuvPairs<Lanes> load(const unsigned char *luma, const unsigned char *vu)
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
    NUBRIX_LANES_INLINE YuvPairs<Lanes> load(const unsigned char *from)
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
    NUBRIX_LANES_INLINE std::size_t packed(unsigned char *rgb, const unsigned char *from,
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
    NUBRIX_LANES_INLINE void storePixels(unsigned char *rgb, const YuvPairs<Lanes> &pairs)
    {
        const Formula formula(pairs);
        const auto first = Formula::luma(pairs.first);
        const auto second = Formula::luma(pairs.second);
        Lanes::storeRgb(rgb, Lanes::pack(formula.red(first), formula.red(second)),
                        Lanes::pack(formula.green(first), formula.green(second)),
                        Lanes::pack(formula.blue(first), formula.blue(second)));
    }

    // Frames that come from a pool are in no cache; where they are, this costs next to nothing.
    NUBRIX_LANES_INLINE void prefetch(unsigned char *rgb, const unsigned char *from)
    {
        constexpr int kAhead = 512;  // bytes
        constexpr int kLine = 64;
        __builtin_prefetch(from + kAhead);
        for (int i = 0; i < 3 * Lanes::kBytes; i += kLine)
            __builtin_prefetch(rgb + kAhead + i, 1);
    }
};

}  // namespace nubrix
