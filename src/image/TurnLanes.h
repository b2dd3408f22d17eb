// Quarter turns, a tile of pixels at a time; compiled once for each instruction set.
#pragma once

#include "image/TileLanes.h"
#include "image/TurnPlain.h"

namespace nubrix {

/// Quarter turns with tiles of one kind; images that are smaller than a tile take the plain loops.
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

    NUBRIX_LANES_INLINE bool takes(std::size_t width, std::size_t height)
    {
        return width >= Tile::kLeastWidth && height >= kRows;
    }

    // The last tiles of a row and of a column overlap those before.
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

}  // namespace nubrix
