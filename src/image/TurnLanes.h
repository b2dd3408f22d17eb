// Rotations and mirroring, many pixels at a time; compiled once for each instruction set.
//
// A quarter turn transposes tiles of pixels in registers; a half turn and mirroring reverse the
// order of the pixels in a vector.
#pragma once

#include <type_traits>

#include "image/ByteLanes.h"
#include "image/ImagePlain.h"

namespace nubrix {

/// Transposes tiles of pixels of 1 or 2 bytes, as squares of 16 bytes.
///
/// In every tile the pixel (x, y) goes from `from + y * fromStep + x` to `to + x * toStep + y`;
/// steps are in pixels.
template <class Lanes, class T>
class SquareTile {
public:
    static constexpr int kColumns = 16 / sizeof(T);
    static constexpr int kRows = kColumns * Lanes::kBlocks;
    static constexpr int kLeastWidth = kColumns;

    NUBRIX_KERNEL_INLINE void transpose(const T *from, std::ptrdiff_t fromStep, T *to,
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

    NUBRIX_KERNEL_INLINE void interleave(Bytes (&rows)[kColumns])
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

/// The same for pixels of 3 bytes, which are lengthened to 4 bytes meanwhile: squares of 4 pixels.
template <class Lanes>
class RgbTile {
public:
    static constexpr int kColumns = 4 * Lanes::kBlocks;
    static constexpr int kRows = 16;
    // Reading a block of 4 pixels takes 4 bytes more: after them when there are more columns, else
    // before them.
    static constexpr int kMore = 2;
    static constexpr int kLeastWidth = kColumns + kMore;

    NUBRIX_KERNEL_INLINE void transpose(const RGB888Pixel *from, std::ptrdiff_t fromStep,
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
    // The four pixels of a group are 12 of 48 consecutive bytes, at the place where they will be.
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
    NUBRIX_KERNEL_INLINE void transpose(const RGB888Pixel *from, std::ptrdiff_t fromStep,
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
    NUBRIX_KERNEL_INLINE void transposeSquares(const Bytes (&rows)[4], Bytes (&columns)[4])
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
    NUBRIX_KERNEL_INLINE Bytes shortened(Bytes pixels)
    {
        return Lanes::template shuffle<Shortened<kGroup>>(pixels, pixels);
    }
    template <int kVector>
    NUBRIX_KERNEL_INLINE Bytes joined(Bytes a, Bytes b)
    {
        return __builtin_bit_cast(
            Bytes, Lanes::template shuffle<Joined<kVector>>(__builtin_bit_cast(Ints, a),
                                                            __builtin_bit_cast(Ints, b)));
    }
};

/// Quarter turns with tiles of one kind; images smaller than a tile take the plain loops.
template <class Tile, class T>
class QuarterTurns {
public:
    static void clockwise90(const T *source, std::size_t width, std::size_t height, T *destination)
    {
        if (!takes(width, height)) {
            PlainTurns<T>::clockwise90(source, width, height, destination);
            return;
        }
        const auto step = static_cast<std::ptrdiff_t>(width);
        transpose(source + (height - 1) * width, -step, destination,
                  static_cast<std::ptrdiff_t>(height), width, height);
    }
    static void anticlockwise90(const T *source, std::size_t width, std::size_t height,
                                T *destination)
    {
        if (!takes(width, height)) {
            PlainTurns<T>::anticlockwise90(source, width, height, destination);
            return;
        }
        const auto step = static_cast<std::ptrdiff_t>(height);
        transpose(source, static_cast<std::ptrdiff_t>(width), destination + (width - 1) * height,
                  -step, width, height);
    }

private:
    static constexpr std::size_t kColumns = Tile::kColumns;
    static constexpr std::size_t kRows = Tile::kRows;
    static constexpr std::size_t kStrip = sizeof(T) == 2 ? 32 : 64;  // rows: whole cache lines
    static_assert(kStrip % kRows == 0);

    NUBRIX_KERNEL_INLINE bool takes(std::size_t width, std::size_t height)
    {
        return width >= Tile::kLeastWidth && height >= kRows;
    }

    // The last tiles of a row and of a column overlap the tiles before them.
    static void transpose(const T *from, std::ptrdiff_t fromStep, T *to, std::ptrdiff_t toStep,
                          std::size_t width, std::size_t height)
    {
        for (std::size_t strip = 0; strip < height; strip += kStrip) {
            const std::size_t end = strip + kStrip < height ? strip + kStrip : height;
            for (std::size_t column = 0; column < width; column += kColumns) {
                const bool isLast = column + Tile::kLeastWidth > width;
                const auto x = static_cast<std::ptrdiff_t>(
                    isLast && column + kColumns > width ? width - kColumns : column);
                for (std::size_t row = strip; row < end; row += kRows) {
                    const auto y =
                        static_cast<std::ptrdiff_t>(row + kRows > height ? height - kRows : row);
                    Tile::transpose(from + y * fromStep + x, fromStep, to + x * toStep + y, toStep,
                                    !isLast);
                }
            }
        }
    }
};

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
        // The rest, together with pixels that are already reversed.
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

    NUBRIX_KERNEL_INLINE typename Lanes::Bytes reversed(const T *from)
    {
        return Lanes::template reverse<sizeof(T)>(Lanes::load(from));
    }
    // a and b may overlap: both then hold the same pixels there.
    NUBRIX_KERNEL_INLINE void swap(T *a, T *b)
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

    NUBRIX_KERNEL_INLINE Pixels reversed(const RGB888Pixel *pixels)
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
    NUBRIX_KERNEL_INLINE void store(RGB888Pixel *to, const Pixels &pixels)
    {
        auto *const bytes = reinterpret_cast<unsigned char *>(to);
        for (std::size_t i = 0; i < 3; ++i)
            Lanes::store(bytes + 16 * i, pixels.blocks[i]);
    }
};

}  // namespace nubrix
