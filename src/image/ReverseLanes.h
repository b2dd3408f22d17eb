// Half turns and mirroring, many pixels at a time; compiled once for each instruction set.
#pragma once

#include "image/ByteLanes.h"
#include "image/TurnPlain.h"

namespace nubrix {

/// Pixels of 1 or 2 bytes, which fill a vector.
template <class Lanes, class T>
class ReversedPixels {
public:
    static void reverse(const T *source, std::size_t count, T *destination)
    {
        if (count < kPixels) {
            plainReverse(source, count, destination);
            return;
        }
        for (std::size_t i = 0; i + kPixels <= count; i += kPixels)
            Lanes::store(destination + i, reversed(source + count - kPixels - i));
        // What is left, together with pixels that were reversed before.
        Lanes::store(destination + count - kPixels, reversed(source));
    }
    static void mirrorRow(T *row, std::size_t width)
    {
        for (; width >= 2 * kPixels; row += kPixels, width -= 2 * kPixels)
            swap(row, row + width - kPixels);
        if (width >= kPixels)
            swap(row, row + width - kPixels);
        else
            plainMirrorRow(row, width);
    }

private:
    static constexpr std::size_t kPixels = Lanes::kBytes / sizeof(T);

    NUBRIX_LANES_INLINE typename Lanes::Bytes reversed(const T *from)
    {
        return Lanes::template reverse<sizeof(T)>(Lanes::load(from));
    }
    // They may overlap: then both hold the same pixels there.
    NUBRIX_LANES_INLINE void swap(T *a, T *b)
    {
        const auto left = reversed(a);
        const auto right = reversed(b);
        Lanes::store(a, right);
        Lanes::store(b, left);
    }
};

/// Pixels of 3 bytes: five of them in a block of 16 bytes, whose last or first byte is a
/// neighbour's.
template <class Lanes>
class ReversedRgb {
public:
    static void reverse(const RGB888Pixel *source, std::size_t count, RGB888Pixel *destination)
    {
        std::size_t i = 0;
        // The byte too much is written over by the next pixels; so there must be some.
        for (; i + kPixels < count; i += kPixels) {
            const auto pixels =
                Lanes::template load<Block>(bytes(source + count - kPixels - i) - 1);
            Lanes::store(destination + i, Lanes::template shuffle<Last, Block>(pixels, pixels));
        }
        plainReverse(source, count - i, destination + i);
    }
    static void mirrorRow(RGB888Pixel *row, std::size_t width)
    {
        constexpr std::size_t kApart = 2 * kPixels + 1;
        for (; width >= kApart; row += kPixels, width -= 2 * kPixels) {
            unsigned char *const left = reinterpret_cast<unsigned char *>(row);
            unsigned char *const right = left + 3 * (width - kPixels) - 1;
            const auto first = Lanes::template load<Block>(left);
            const auto last = Lanes::template load<Block>(right);
            Lanes::store(left, Lanes::template shuffle<Last, Block>(last, first));
            Lanes::store(right, Lanes::template shuffle<First, Block>(first, last));
        }
        plainMirrorRow(row, width);
    }

private:
    using Block = typename Lanes::Block;

    static constexpr std::size_t kPixels = 5;

    // The pixels in bytes 1 to 15 of a block go to 0 to 14, with the neighbour of the other, or
    // the other way round.
    struct Last {
        static constexpr int of(int i) { return i == 15 ? 16 + 15 : 13 - i / 3 * 3 + i % 3; }
    };
    struct First {
        static constexpr int of(int i) { return i == 0 ? 16 : 12 - (i - 1) / 3 * 3 + (i - 1) % 3; }
    };

    NUBRIX_LANES_INLINE const unsigned char *bytes(const RGB888Pixel *pixels)
    {
        return reinterpret_cast<const unsigned char *>(pixels);
    }
};

}  // namespace nubrix
