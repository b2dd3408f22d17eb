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
            PlainTurns<T>::reverse(source, count, destination);
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
            PlainTurns<T>::mirrorRow(row, width);
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

/// Pixels of 3 bytes: 16 of them are three blocks of 16 bytes.
template <class Lanes>
class ReversedRgb {
public:
    static void reverse(const RGB888Pixel *source, std::size_t count, RGB888Pixel *destination)
    {
        std::size_t i = 0;
        for (; i + kPixels <= count; i += kPixels)
            store(destination + i, reversed(source + count - kPixels - i));
        PlainTurns<RGB888Pixel>::reverse(source, count - i, destination + i);
    }
    static void mirrorRow(RGB888Pixel *row, std::size_t width)
    {
        for (; width >= 2 * kPixels; row += kPixels, width -= 2 * kPixels) {
            RGB888Pixel *const last = row + width - kPixels;
            const Pixels left = reversed(row);
            const Pixels right = reversed(last);
            store(row, right);
            store(last, left);
        }
        PlainTurns<RGB888Pixel>::mirrorRow(row, width);
    }

private:
    using Block = typename Lanes::Block;
    struct Pixels {
        Block blocks[3];
    };

    static constexpr std::size_t kPixels = 16;

    // Where byte i of the block kTo comes from, counted in all three.
    template <int kTo>
    static constexpr int source(int i)
    {
        const int byte = 16 * kTo + i;
        return 45 - byte / 3 * 3 + byte % 3;
    }
    // What the block kTo gets from two blocks in a row.
    template <int kTo, int kFrom>
    struct FromTwo {
        static constexpr int of(int i)
        {
            const int byte = source<kTo>(i) - 16 * kFrom;
            return byte >= 0 && byte < 32 ? byte : 0;
        }
    };
    // ... and in the middle from the third.
    struct FromThird {
        static constexpr int of(int i)
        {
            const int byte = source<1>(i);
            return byte >= 32 ? byte - 32 + 16 : i;
        }
    };

    NUBRIX_LANES_INLINE Pixels reversed(const RGB888Pixel *pixels)
    {
        const auto *const bytes = reinterpret_cast<const unsigned char *>(pixels);
        const auto a = Lanes::template load<Block>(bytes);
        const auto b = Lanes::template load<Block>(bytes + 16);
        const auto c = Lanes::template load<Block>(bytes + 32);
        const auto middle = Lanes::template shuffle<FromTwo<1, 0>, Block>(a, b);
        return {{Lanes::template shuffle<FromTwo<0, 1>, Block>(b, c),
                 Lanes::template shuffle<FromThird, Block>(middle, c),
                 Lanes::template shuffle<FromTwo<2, 0>, Block>(a, b)}};
    }
    NUBRIX_LANES_INLINE void store(RGB888Pixel *to, const Pixels &pixels)
    {
        auto *const bytes = reinterpret_cast<unsigned char *>(to);
        for (std::size_t i = 0; i < 3; ++i)
            Lanes::store(bytes + 16 * i, pixels.blocks[i]);
    }
};

}  // namespace nubrix
