// The conversions from YUV to RGB with NEON, 16 pixels at a time; for ImageNeon.cpp only.
//
// NEON multiplies bytes to words and shifts, clamps and narrows words in one instruction, so the
// formulas differ from those of YuvProducts.h; the values are the same. Everything is in an
// anonymous namespace, because it must not be linked into code for other processors.
#pragma once

#include <arm_neon.h>

#include <cstddef>

#include "cpu/CpuFeatures.h"
#include "image/ImagePlain.h"

namespace nubrix {

namespace {

/// U and V of eight pairs of pixels.
struct NeonPairs {
    uint8x8_t u, v;
};

NUBRIX_KERNEL_INLINE int16x8_t asSigned(uint16x8_t words)
{
    return vreinterpretq_s16_u16(words);
}
NUBRIX_KERNEL_INLINE uint16x8_t asUnsigned(int16x8_t words)
{
    return vreinterpretq_u16_s16(words);
}
NUBRIX_KERNEL_INLINE int8x8_t minus128(uint8x8_t bytes)
{
    return vreinterpret_s8_u8(veor_u8(bytes, vdup_n_u8(128)));
}

/// The two formulas of whole numbers as
///     (149 y + c) >> 7
/// with a c for each colour. 4096 is subtracted from the one summand and added to the other, so
/// that both fit 16 bits; sums that do not are far above 255 and saturate. The c of blue, 258 u and
/// a fraction, is too large: there the half of y and of the smallest part of c is taken, which
/// rounds as the whole does, and 128 u is added.
struct NeonWholeNumbers {
    NUBRIX_KERNEL_INLINE uint16x8_t luma(uint8x8_t y) { return vmull_u8(y, vdup_n_u8(149)); }
    uint8x8_t red(int16x8_t luma) const { return vqshrun_n_s16(vqaddq_s16(luma, m_red), 7); }
    uint8x8_t green(int16x8_t luma) const { return vqshrun_n_s16(vqaddq_s16(luma, m_green), 7); }
    uint8x8_t blue(int16x8_t luma) const
    {
        return vqshrun_n_s16(vqaddq_s16(vhaddq_s16(luma, m_blueFine), m_blue), 6);
    }

protected:
    static constexpr int kShared = 4096;

    /// 128 u plus what belongs to `fine`, the words that are halved, but is the same for all.
    NUBRIX_KERNEL_INLINE int16x8_t blueOf(uint8x8_t u, int fine)
    {
        return asSigned(vsubq_u16(vshll_n_u8(u, 7), vdupq_n_u16(static_cast<unsigned short>(
                                                        128 * 128 - kShared / 2 - fine / 2))));
    }
    NUBRIX_KERNEL_INLINE uint16x8_t greenOf(const NeonPairs &pairs, int rest)
    {
        uint16x8_t sum =
            vdupq_n_u16(static_cast<unsigned short>((104 + 50) * 128 + kShared + rest));
        sum = vmlsl_u8(sum, pairs.v, vdup_n_u8(104));
        return vmlsl_u8(sum, pairs.u, vdup_n_u8(50));
    }

    int16x8_t m_red, m_green, m_blue, m_blueFine;
};

/// The formula of 10 bits; c is 204.25 e for red, -104.125 e - 50 d for green, 258.25 d for blue,
/// each rounded down.
struct NeonOf10Bits : NeonWholeNumbers {
    NUBRIX_KERNEL_INLINE NeonOf10Bits of(const NeonPairs &pairs)
    {
        constexpr int kQuarters = 128 / 4;  // of e, and of d
        NeonOf10Bits formula;
        const uint16x8_t red = vaddw_u8(vmull_u8(pairs.v, vdup_n_u8(204)), vshr_n_u8(pairs.v, 2));
        formula.m_red = asSigned(vsubq_u16(red, vdupq_n_u16(204 * 128 + kQuarters - kShared)));
        // floor(-e / 8) is 16 - ceil(v / 8).
        const uint8x8_t eighths = vshr_n_u8(vhadd_u8(pairs.v, vdup_n_u8(7)), 2);
        formula.m_green = asSigned(vsubw_u8(greenOf(pairs, 16), eighths));
        formula.m_blueFine = asSigned(vaddw_u8(vshll_n_u8(pairs.u, 1), vshr_n_u8(pairs.u, 2)));
        formula.m_blue = blueOf(pairs.u, -(2 * 128 + kQuarters));
        return formula;
    }
    NUBRIX_KERNEL_INLINE int16x8_t luma(uint8x8_t y)
    {
        return asSigned(
            vsubq_u16(NeonWholeNumbers::luma(vqsub_u8(y, vdup_n_u8(16))), vdupq_n_u16(kShared)));
    }
};

/// The formula of 8 bits; c is 204.5 e + 64 for red, -104 e - 50 d + 64 for green and 258 d + 64
/// for blue, each rounded down.
struct NeonOf8Bits : NeonWholeNumbers {
    NUBRIX_KERNEL_INLINE NeonOf8Bits of(const NeonPairs &pairs)
    {
        constexpr int kRounded = 64;
        NeonOf8Bits formula;
        const uint16x8_t red = vaddw_u8(vmull_u8(pairs.v, vdup_n_u8(204)), vshr_n_u8(pairs.v, 1));
        formula.m_red =
            asSigned(vsubq_u16(red, vdupq_n_u16(204 * 128 + 128 / 2 - kRounded - kShared)));
        formula.m_green = asSigned(greenOf(pairs, kRounded));
        formula.m_blueFine = asSigned(vshll_n_u8(pairs.u, 1));
        formula.m_blue = blueOf(pairs.u, kRounded - 2 * 128);
        return formula;
    }
    NUBRIX_KERNEL_INLINE int16x8_t luma(uint8x8_t y)
    {
        return asSigned(vsubq_u16(NeonWholeNumbers::luma(y), vdupq_n_u16(149 * 16 + kShared)));
    }
};

/// The formula of doubles: whole numbers that depend on U and V alone are added to Y
/// (YuvProducts.h). Those of red and blue are e + 0.370705 e and d + 0.732446 d; 16 bits of the
/// fractions suffice.
struct NeonOfDoubles {
    NUBRIX_KERNEL_INLINE NeonOfDoubles of(const NeonPairs &pairs)
    {
        const int8x8_t d = minus128(pairs.u);
        const int8x8_t e = minus128(pairs.v);
        const int16x8_t wideD = vmovl_s8(d);
        const int16x8_t wideE = vmovl_s8(e);
        NeonOfDoubles formula;
        formula.m_red = vaddq_s16(wideE, vqdmulhq_n_s16(wideE, kRed));
        formula.m_blue = vaddq_s16(wideD, vqdmulhq_n_s16(wideD, kBlue));
        const int16x8_t fine = weighted(d, 14, e, -3);
        const int16x8_t middle = vsraq_n_s16(weighted(d, -56, e, -88), fine, 5);
        formula.m_green = vshrq_n_s16(vsraq_n_s16(weighted(d, -43, e, -89), middle, 8), 7);
        return formula;
    }
    NUBRIX_KERNEL_INLINE uint8x8_t luma(uint8x8_t y) { return y; }
    uint8x8_t red(uint8x8_t y) const { return sum(y, m_red); }
    uint8x8_t green(uint8x8_t y) const { return sum(y, m_green); }
    uint8x8_t blue(uint8x8_t y) const { return sum(y, m_blue); }

private:
    static constexpr short kRed = 12147;   // 0.370705 of 2^15
    static constexpr short kBlue = 24001;  // 0.732446 of 2^15

    NUBRIX_KERNEL_INLINE int16x8_t weighted(int8x8_t d, int ofD, int8x8_t e, int ofE)
    {
        const int16x8_t sum = vmull_s8(d, vdup_n_s8(static_cast<signed char>(ofD)));
        return vmlal_s8(sum, e, vdup_n_s8(static_cast<signed char>(ofE)));
    }
    NUBRIX_KERNEL_INLINE uint8x8_t sum(uint8x8_t y, int16x8_t more)
    {
        return vqmovun_s16(asSigned(vaddw_u8(asUnsigned(more), y)));
    }

    int16x8_t m_red, m_green, m_blue;
};

/// The rows of ImageKernel.
class YuvNeonRows {
public:
    static void i420Rows(const YuvRowPair &rows, const unsigned char *u, const unsigned char *v,
                         std::size_t width)
    {
        std::size_t x = 0;
        for (; x + kPixels <= width; x += kPixels)
            storeBoth(from(rows, x), vld1_u8(u + x / 2), vld1_u8(v + x / 2));
        plainI420Rows(from(rows, x), u + x / 2, v + x / 2, width - x);
    }
    static void nv21Rows(const YuvRowPair &rows, const unsigned char *vu, std::size_t width)
    {
        std::size_t x = 0;
        for (; x + kPixels <= width; x += kPixels) {
            const uint8x8x2_t chroma = vld2_u8(vu + x);
            storeBoth(from(rows, x), chroma.val[1], chroma.val[0]);
        }
        plainNv21Rows(from(rows, x), vu + x, width - x);
    }
    static void yuyvGroups(unsigned char *rgb, const unsigned char *yuyv, std::size_t groups)
    {
        for (; groups >= kPixels / 2; groups -= kPixels / 2) {
            prefetch(yuyv);
            const uint8x8x4_t bytes = vld4_u8(yuyv);
            storePixels(rgb, NeonOfDoubles::of({bytes.val[1], bytes.val[3]}), bytes.val[0],
                        bytes.val[2]);
            rgb += 3 * kPixels;
            yuyv += 2 * kPixels;
        }
        plainYuyvGroups(rgb, yuyv, groups);
    }
    static void uyvyGroups(unsigned char *rgb, const unsigned char *uyvy, std::size_t groups)
    {
        for (; groups >= kPixels / 2; groups -= kPixels / 2) {
            prefetch(uyvy);
            const uint8x8x4_t bytes = vld4_u8(uyvy);
            storePixels(rgb, NeonOf8Bits::of({bytes.val[0], bytes.val[2]}), bytes.val[1],
                        bytes.val[3]);
            rgb += 3 * kPixels;
            uyvy += 2 * kPixels;
        }
        plainUyvyGroups(rgb, uyvy, groups);
    }

private:
    /// The rest of the rows, from a column on.
    NUBRIX_KERNEL_INLINE YuvRowPair from(const YuvRowPair &rows, std::size_t x)
    {
        return {{rows.rgb[0] + 3 * x, rows.rgb[1] + 3 * x}, {rows.luma[0] + x, rows.luma[1] + x}};
    }
    static constexpr std::size_t kPixels = 16;

    // The frames of a pool are rarely in a cache. What is written is not fetched: these processors
    // notice when stores fill whole lines.
    NUBRIX_KERNEL_INLINE void prefetch(const unsigned char *from)
    {
        constexpr int kAhead = 512;  // bytes
        __builtin_prefetch(from + kAhead);
    }

    NUBRIX_KERNEL_INLINE void storeBoth(const YuvRowPair &rows, uint8x8_t u, uint8x8_t v)
    {
        const NeonOf10Bits formula = NeonOf10Bits::of({u, v});
        for (int i = 0; i < 2; ++i) {
            prefetch(rows.luma[i]);
            const uint8x8x2_t y = vld2_u8(rows.luma[i]);
            storePixels(rows.rgb[i], formula, y.val[0], y.val[1]);
        }
    }
    template <class Formula>
    NUBRIX_KERNEL_INLINE void storePixels(unsigned char *rgb, const Formula &formula,
                                          uint8x8_t firstY, uint8x8_t secondY)
    {
        const auto first = Formula::luma(firstY);
        const auto second = Formula::luma(secondY);
        // Computed first: a call may use the registers that are named below.
        const uint8x8_t firstRed = formula.red(first), secondRed = formula.red(second);
        const uint8x8_t firstGreen = formula.green(first), secondGreen = formula.green(second);
        const uint8x8_t firstBlue = formula.blue(first), secondBlue = formula.blue(second);
        // The registers are named because one instruction stores three that are neighbours: the
        // compiler would copy all of them first.
        register uint8x8_t red asm("d0") = firstRed;
        register uint8x8_t green asm("d2") = firstGreen;
        register uint8x8_t blue asm("d4") = firstBlue;
        register uint8x8_t red2 asm("d1") = secondRed;
        register uint8x8_t green2 asm("d3") = secondGreen;
        register uint8x8_t blue2 asm("d5") = secondBlue;
        auto &pixels = *reinterpret_cast<unsigned char(*)[3 * kPixels]>(rgb);
        asm("vzip.8 %P[red], %P[red2]\n\t"
            "vzip.8 %P[green], %P[green2]\n\t"
            "vzip.8 %P[blue], %P[blue2]\n\t"
            "vst3.8 {%P[red], %P[green], %P[blue]}, [%[to]]!\n\t"
            "vst3.8 {%P[red2], %P[green2], %P[blue2]}, [%[to]]"
            : [red] "+w"(red), [green] "+w"(green), [blue] "+w"(blue), [red2] "+w"(red2),
              [green2] "+w"(green2), [blue2] "+w"(blue2), [to] "+r"(rgb), "=m"(pixels));
    }
};

}  // namespace

}  // namespace nubrix
