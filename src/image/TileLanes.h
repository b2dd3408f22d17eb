// Tiles of pixels that are transposed in registers; compiled once for each instruction set.
#pragma once

#include <type_traits>

#include "image/ByteLanes.h"
#include "image/TurnPlain.h"

namespace nubrix {

/// Transposes tiles of pixels of 1 or 2 bytes, in squares of 16 bytes.
///
/// In every tile the pixel (x, y) goes from `from + y * fromStep + x` to `to + x * toStep + y`;
/// steps are in pixels.
template <class Lanes, class T>
class SquareTile {
public:
    static constexpr int kColumns = 16 / sizeof(T);
    static constexpr int kRows = kColumns * Lanes::kBlocks;
    static constexpr int kLeastWidth = kColumns;

    NUBRIX_LANES_INLINE void transpose(const T *from, std::ptrdiff_t fromStep, T *to,
                                       std::ptrdiff_t toStep, bool /*hasMoreColumns*/)
    {
        Bytes rows[kColumns];
        constexpr auto kSize = static_cast<std::ptrdiff_t>(sizeof(T));
        for (int i = 0; i < kColumns; ++i) {
            rows[i] = Lanes::gather(reinterpret_cast<const unsigned char *>(from + i * fromStep),
                                    kColumns * fromStep * kSize);
        }
        // Interleaving the first half of the rows with the second, log2(rows) times, transposes.
        for (int done = 1; done < kColumns; done *= 2)
            interleave(rows);
        for (int i = 0; i < kColumns; ++i)
            Lanes::store(to + i * toStep, rows[i]);
    }

private:
    using Bytes = typename Lanes::Bytes;
    using Elements = std::conditional_t<sizeof(T) == 1, Bytes, typename Lanes::Words>;

    NUBRIX_LANES_INLINE void interleave(Bytes (&rows)[kColumns])
    {
        Bytes next[kColumns];
        for (int i = 0; i < kColumns / 2; ++i) {
            const Bytes other = rows[i + kColumns / 2];
            next[2 * i] = Lanes::template interleaveLow<Elements>(rows[i], other);
            next[2 * i + 1] = Lanes::template interleaveHigh<Elements>(rows[i], other);
        }
        for (int i = 0; i < kColumns; ++i)
            rows[i] = next[i];
    }
};

/// The same for pixels of 3 bytes, which are 4 bytes long in between: squares of 4 pixels.
template <class Lanes>
class RgbTile {
public:
    static constexpr int kColumns = 4 * Lanes::kBlocks;
    static constexpr int kRows = 16;
    // Blocks of 4 pixels are read with 4 bytes more: behind them when there are more columns, else
    // before them.
    static constexpr int kMore = 2;
    static constexpr int kLeastWidth = kColumns + kMore;

    NUBRIX_LANES_INLINE void transpose(const RGB888Pixel *from, std::ptrdiff_t fromStep,
                                       RGB888Pixel *to, std::ptrdiff_t toStep, bool hasMoreColumns)
    {
        if (hasMoreColumns)
            transpose<0>(from, fromStep, to, toStep);
        else
            transpose<4>(from, fromStep, to, toStep);
    }

private:
    using Bytes = typename Lanes::Bytes;
    using Ints = typename Lanes::Ints;

    template <int kBefore>
    struct Lengthened {
        static constexpr int of(int i)
        {
            return i / 16 * 16 + i % 16 / 4 * 3 + (i % 4 < 3 ? i % 4 : 2) + kBefore;
        }
    };
    // Four pixels of a group are 12 bytes of the 48 that belong together, where they will be.
    template <int kGroup>
    struct Shortened {
        static constexpr int of(int i)
        {
            const int byte = (i % 16 + 48 - 12 * kGroup) % 16;
            return i / 16 * 16 + (byte < 12 ? byte / 3 * 4 + byte % 3 : 0);
        }
    };
    template <int kVector>
    struct Joined {  // of the groups kVector and kVector + 1, by four bytes
        static constexpr int of(int i)
        {
            return i + (4 * kVector + i % 4 < 3 * (kVector + 1) ? 0 : Lanes::kBytes / 4);
        }
    };

    template <int kBefore>
    NUBRIX_LANES_INLINE void transpose(const RGB888Pixel *from, std::ptrdiff_t fromStep,
                                       RGB888Pixel *to, std::ptrdiff_t toStep)
    {
        Bytes columns[4][4];  // by group of rows
        for (int group = 0; group < 4; ++group) {
            Bytes rows[4];
            for (int i = 0; i < 4; ++i) {
                const RGB888Pixel *const row = from + (4 * group + i) * fromStep;
                const Bytes bytes =
                    Lanes::gather(reinterpret_cast<const unsigned char *>(row) - kBefore, 12);
                rows[i] = Lanes::template shuffle<Lengthened<kBefore>>(bytes, bytes);
            }
            transposeSquares(rows, columns[group]);
        }
        for (int i = 0; i < 4; ++i) {
            const Bytes a = shortened<0>(columns[0][i]);
            const Bytes b = shortened<1>(columns[1][i]);
            const Bytes c = shortened<2>(columns[2][i]);
            const Bytes d = shortened<3>(columns[3][i]);
            auto *const bytes = reinterpret_cast<unsigned char *>(to + i * toStep);
            Lanes::scatter(bytes, 12 * toStep, joined<0>(a, b));
            Lanes::scatter(bytes + 16, 12 * toStep, joined<1>(b, c));
            Lanes::scatter(bytes + 32, 12 * toStep, joined<2>(c, d));
        }
    }
    NUBRIX_LANES_INLINE void transposeSquares(const Bytes (&rows)[4], Bytes (&columns)[4])
    {
        const Bytes a = Lanes::template interleaveLow<Ints>(rows[0], rows[2]);
        const Bytes b = Lanes::template interleaveHigh<Ints>(rows[0], rows[2]);
        const Bytes c = Lanes::template interleaveLow<Ints>(rows[1], rows[3]);
        const Bytes d = Lanes::template interleaveHigh<Ints>(rows[1], rows[3]);
        columns[0] = Lanes::template interleaveLow<Ints>(a, c);
        columns[1] = Lanes::template interleaveHigh<Ints>(a, c);
        columns[2] = Lanes::template interleaveLow<Ints>(b, d);
        columns[3] = Lanes::template interleaveHigh<Ints>(b, d);
    }
    template <int kGroup>
    NUBRIX_LANES_INLINE Bytes shortened(Bytes pixels)
    {
        return Lanes::template shuffle<Shortened<kGroup>>(pixels, pixels);
    }
    template <int kVector>
    NUBRIX_LANES_INLINE Bytes joined(Bytes a, Bytes b)
    {
        return __builtin_bit_cast(
            Bytes, Lanes::template shuffle<Joined<kVector>>(__builtin_bit_cast(Ints, a),
                                                            __builtin_bit_cast(Ints, b)));
    }
};

}  // namespace nubrix
