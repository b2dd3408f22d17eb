// Rotations and mirroring with NEON; for ImageNeon.cpp only. The classes have the interface of
// those in TurnLanes.h.
//
// A vtrn exchanges the upper right and the lower left element of every 2 x 2 elements of two rows;
// three of them, with elements of growing size, transpose 8 x 8. Instructions are written out where
// the compiler would copy registers that have to be neighbours.
#pragma once

#include <arm_neon.h>

#include <cstddef>

#include "cpu/CpuFeatures.h"
#include "image/ImagePlain.h"

namespace nubrix {

namespace {

/// The vtrn of two rows of kBits bits an element.
template <int kBits>
NUBRIX_KERNEL_INLINE void exchange(uint8x16_t &a, uint8x16_t &b)
{
    if constexpr (kBits == 8)
        asm("vtrn.8 %q0, %q1" : "+w"(a), "+w"(b));
    else if constexpr (kBits == 16)
        asm("vtrn.16 %q0, %q1" : "+w"(a), "+w"(b));
    else
        asm("vtrn.32 %q0, %q1" : "+w"(a), "+w"(b));
}

/// Load 8 bytes to a half of a row, and store a row; `step` bytes lead to the next address.
NUBRIX_KERNEL_INLINE void loadLow(uint8x16_t &row, const unsigned char *&from, std::ptrdiff_t step)
{
    asm volatile("vld1.8 {%e[row]}, [%[from]], %[step]"
                 : [row] "=w"(row), [from] "+r"(from)
                 : [step] "r"(step)
                 : "memory");
}
NUBRIX_KERNEL_INLINE void loadHigh(uint8x16_t &row, const unsigned char *&from, std::ptrdiff_t step)
{
    asm volatile("vld1.8 {%f[row]}, [%[from]], %[step]"
                 : [row] "+w"(row), [from] "+r"(from)
                 : [step] "r"(step)
                 : "memory");
}
NUBRIX_KERNEL_INLINE void store(uint8x16_t row, unsigned char *&to, std::ptrdiff_t step)
{
    asm volatile("vst1.8 {%e[row], %f[row]}, [%[to]], %[step]"
                 : [to] "+r"(to)
                 : [row] "w"(row), [step] "r"(step)
                 : "memory");
}

/// Transposes 8 columns by 16 rows of bytes.
struct NeonByteTile {
    static constexpr int kColumns = 8;
    static constexpr int kRows = 16;
    static constexpr int kLeastWidth = kColumns;

    NUBRIX_KERNEL_INLINE void transpose(const unsigned char *from, std::ptrdiff_t fromStep,
                                        unsigned char *to, std::ptrdiff_t toStep,
                                        bool /*hasMoreColumns*/)
    {
        uint8x16_t rows[8];  // each with the one 8 rows below
        for (uint8x16_t &row : rows)
            loadLow(row, from, fromStep);
        for (uint8x16_t &row : rows)
            loadHigh(row, from, fromStep);
        for (int i = 0; i < 8; i += 2)
            exchange<8>(rows[i], rows[i + 1]);
        for (int i = 0; i < 2; ++i) {
            exchange<16>(rows[i], rows[i + 2]);
            exchange<16>(rows[i + 4], rows[i + 6]);
        }
        for (int i = 0; i < 4; ++i)
            exchange<32>(rows[i], rows[i + 4]);
        for (const uint8x16_t row : rows)
            store(row, to, toStep);
    }
};

/// Transposes 8 columns by 8 rows of pixels of two bytes.
struct NeonPairTile {
    static constexpr int kColumns = 8;
    static constexpr int kRows = 8;
    static constexpr int kLeastWidth = kColumns;

    NUBRIX_KERNEL_INLINE void transpose(const BytePair *from, std::ptrdiff_t fromStep, BytePair *to,
                                        std::ptrdiff_t toStep, bool /*hasMoreColumns*/)
    {
        auto *bytes = reinterpret_cast<unsigned char *>(to);
        for (int column = 0; column < kColumns; column += 4) {
            const auto *next = reinterpret_cast<const unsigned char *>(from + column);
            uint8x16_t rows[4];  // four columns of each row and of the one 4 rows below
            for (uint8x16_t &row : rows)
                loadLow(row, next, 2 * fromStep);
            for (uint8x16_t &row : rows)
                loadHigh(row, next, 2 * fromStep);
            exchange<16>(rows[0], rows[1]);
            exchange<16>(rows[2], rows[3]);
            exchange<32>(rows[0], rows[2]);
            exchange<32>(rows[1], rows[3]);
            for (const uint8x16_t row : rows)
                store(row, bytes, 2 * toStep);
        }
    }
};

/// Transposes 8 columns by 8 rows of pixels of three bytes: each colour for itself. The row i and
/// the row i + 4 are in the halves of q[3 i] (red), q[3 i + 1] (green) and q[3 i + 2] (blue).
struct NeonRgbTile {
    static constexpr int kColumns = 8;
    static constexpr int kRows = 8;
    static constexpr int kLeastWidth = kColumns;

    NUBRIX_KERNEL_INLINE void transpose(const RGB888Pixel *from, std::ptrdiff_t fromStep,
                                        RGB888Pixel *to, std::ptrdiff_t toStep,
                                        bool /*hasMoreColumns*/)
    {
        constexpr auto kPixelBytes = static_cast<std::ptrdiff_t>(sizeof(RGB888Pixel));
        asm volatile(
            "vld3.8 {d0, d2, d4}, [%[from]], %[fromStep]\n\t"
            "vld3.8 {d6, d8, d10}, [%[from]], %[fromStep]\n\t"
            "vld3.8 {d12, d14, d16}, [%[from]], %[fromStep]\n\t"
            "vld3.8 {d18, d20, d22}, [%[from]], %[fromStep]\n\t"
            "vld3.8 {d1, d3, d5}, [%[from]], %[fromStep]\n\t"
            "vld3.8 {d7, d9, d11}, [%[from]], %[fromStep]\n\t"
            "vld3.8 {d13, d15, d17}, [%[from]], %[fromStep]\n\t"
            "vld3.8 {d19, d21, d23}, [%[from]]\n\t"
            "vtrn.8 q0, q3\n\t vtrn.8 q1, q4\n\t vtrn.8 q2, q5\n\t"
            "vtrn.8 q6, q9\n\t vtrn.8 q7, q10\n\t vtrn.8 q8, q11\n\t"
            "vtrn.16 q0, q6\n\t vtrn.16 q1, q7\n\t vtrn.16 q2, q8\n\t"
            "vtrn.16 q3, q9\n\t vtrn.16 q4, q10\n\t vtrn.16 q5, q11\n\t"
            "vtrn.32 d0, d1\n\t vtrn.32 d2, d3\n\t vtrn.32 d4, d5\n\t"
            "vtrn.32 d6, d7\n\t vtrn.32 d8, d9\n\t vtrn.32 d10, d11\n\t"
            "vtrn.32 d12, d13\n\t vtrn.32 d14, d15\n\t vtrn.32 d16, d17\n\t"
            "vtrn.32 d18, d19\n\t vtrn.32 d20, d21\n\t vtrn.32 d22, d23\n\t"
            "vst3.8 {d0, d2, d4}, [%[to]], %[toStep]\n\t"
            "vst3.8 {d6, d8, d10}, [%[to]], %[toStep]\n\t"
            "vst3.8 {d12, d14, d16}, [%[to]], %[toStep]\n\t"
            "vst3.8 {d18, d20, d22}, [%[to]], %[toStep]\n\t"
            "vst3.8 {d1, d3, d5}, [%[to]], %[toStep]\n\t"
            "vst3.8 {d7, d9, d11}, [%[to]], %[toStep]\n\t"
            "vst3.8 {d13, d15, d17}, [%[to]], %[toStep]\n\t"
            "vst3.8 {d19, d21, d23}, [%[to]]"
            : [from] "+r"(from), [to] "+r"(to)
            : [fromStep] "r"(fromStep * kPixelBytes), [toStep] "r"(toStep * kPixelBytes)
            : "memory", "q0", "q1", "q2", "q3", "q4", "q5", "q6", "q7", "q8", "q9", "q10", "q11");
    }
};

/// Pixels of T in the opposite order: here 16 of one byte, as two halves in the opposite order.
template <class T>
struct NeonPixels {
    static_assert(sizeof(T) == 1);
    static constexpr std::size_t kCount = 16;

    explicit NeonPixels(const T *from) : m_bytes(vrev64q_u8(vld1q_u8(from))) {}
    void store(T *to) const
    {
        vst1_u8(to, vget_high_u8(m_bytes));
        vst1_u8(to + 8, vget_low_u8(m_bytes));
    }

private:
    uint8x16_t m_bytes;
};

/// 16 pixels of two bytes. First and second bytes are taken apart, 8 each a vector: that many
/// pixels then need no exchange of halves.
template <>
struct NeonPixels<BytePair> {
    static constexpr std::size_t kCount = 16;

    explicit NeonPixels(const BytePair *from)
        : m_first(reversed(from + 8)), m_second(reversed(from))
    {
    }
    void store(BytePair *to) const
    {
        storeEight(to, m_first);
        storeEight(to + 8, m_second);
    }

private:
    using Eight = BytePair[8];

    NUBRIX_KERNEL_INLINE uint8x16_t reversed(const BytePair *from)
    {
        uint8x16_t bytes;
        asm("vld2.8 {%e[bytes], %f[bytes]}, [%[from]]"
            : [bytes] "=w"(bytes)
            : [from] "r"(from), "m"(*reinterpret_cast<const Eight *>(from)));
        return vrev64q_u8(bytes);
    }
    NUBRIX_KERNEL_INLINE void storeEight(BytePair *to, uint8x16_t bytes)
    {
        asm("vst2.8 {%e[bytes], %f[bytes]}, [%[to]]"
            : "=m"(*reinterpret_cast<Eight *>(to))
            : [bytes] "w"(bytes), [to] "r"(to));
    }

    uint8x16_t m_first, m_second;
};

/// 8 pixels of three bytes in the opposite order.
template <>
struct NeonPixels<RGB888Pixel> {
    static constexpr std::size_t kCount = 8;

    explicit NeonPixels(const RGB888Pixel *from)
        : m_colours(vld3_u8(reinterpret_cast<const unsigned char *>(from)))
    {
        for (uint8x8_t &each : m_colours.val)
            each = vrev64_u8(each);
    }
    void store(RGB888Pixel *to) const { vst3_u8(reinterpret_cast<unsigned char *>(to), m_colours); }

private:
    uint8x8x3_t m_colours;
};

/// Half turns and mirroring, as in PlainTurns.
template <class T>
class NeonReversed {
public:
    static void reverse(const T *source, std::size_t count, T *destination)
    {
        for (; count >= kTogether; count -= kTogether)
            reverseTogether(source + count - kTogether, destination);
        PlainTurns<T>::reverse(source, count, destination);
    }
    static void mirrorRow(T *row, std::size_t width)
    {
        for (T *end = row + width; width >= 2 * kCount; width -= 2 * kCount) {
            end -= kCount;
            const NeonPixels<T> left(row);
            const NeonPixels<T> right(end);
            right.store(row);
            left.store(end);
            row += kCount;
        }
        PlainTurns<T>::mirrorRow(row, width);
    }

private:
    static constexpr std::size_t kCount = NeonPixels<T>::kCount;
    static constexpr std::size_t kTogether = sizeof(T) == 3 ? 16 : 64 / sizeof(T);

    // Stores kTogether pixels in the opposite order and moves `to` behind them. The last are loaded
    // first: they are needed first.
    NUBRIX_KERNEL_INLINE void reverseTogether(const unsigned char *from, unsigned char *&to)
    {
        from += kTogether / 2;
        asm volatile(
            "vld1.8 {d4-d7}, [%[from]], %[back]\n\t"
            "vld1.8 {d0-d3}, [%[from]]\n\t"
            "vrev64.8 q3, q3\n\t vrev64.8 q2, q2\n\t"
            "vrev64.8 q1, q1\n\t vrev64.8 q0, q0\n\t"
            "vst1.8 {d7}, [%[to]]!\n\t vst1.8 {d6}, [%[to]]!\n\t"
            "vst1.8 {d5}, [%[to]]!\n\t vst1.8 {d4}, [%[to]]!\n\t"
            "vst1.8 {d3}, [%[to]]!\n\t vst1.8 {d2}, [%[to]]!\n\t"
            "vst1.8 {d1}, [%[to]]!\n\t vst1.8 {d0}, [%[to]]!"
            : [from] "+r"(from), [to] "+r"(to)
            : [back] "r"(-32)
            : "memory", "q0", "q1", "q2", "q3");
    }
    NUBRIX_KERNEL_INLINE void reverseTogether(const BytePair *from, BytePair *&to)
    {
        from += kTogether / 4 * 3;
        asm volatile(
            "vld2.8 {d6, d7}, [%[from]], %[back]\n\t"
            "vld2.8 {d4, d5}, [%[from]], %[back]\n\t"
            "vld2.8 {d2, d3}, [%[from]], %[back]\n\t"
            "vld2.8 {d0, d1}, [%[from]]\n\t"
            "vrev64.8 q3, q3\n\t vrev64.8 q2, q2\n\t"
            "vrev64.8 q1, q1\n\t vrev64.8 q0, q0\n\t"
            "vst2.8 {d6, d7}, [%[to]]!\n\t vst2.8 {d4, d5}, [%[to]]!\n\t"
            "vst2.8 {d2, d3}, [%[to]]!\n\t vst2.8 {d0, d1}, [%[to]]!"
            : [from] "+r"(from), [to] "+r"(to)
            : [back] "r"(-16)
            : "memory", "q0", "q1", "q2", "q3");
    }
    NUBRIX_KERNEL_INLINE void reverseTogether(const RGB888Pixel *from, RGB888Pixel *&to)
    {
        from += kTogether / 2;
        asm volatile(
            "vld3.8 {d1, d3, d5}, [%[from]], %[back]\n\t"
            "vld3.8 {d0, d2, d4}, [%[from]]\n\t"
            "vrev64.8 q0, q0\n\t vrev64.8 q1, q1\n\t vrev64.8 q2, q2\n\t"
            "vst3.8 {d1, d3, d5}, [%[to]]!\n\t"
            "vst3.8 {d0, d2, d4}, [%[to]]!"
            : [from] "+r"(from), [to] "+r"(to)
            : [back] "r"(-24)
            : "memory", "q0", "q1", "q2");
    }
};

}  // namespace

}  // namespace nubrix
