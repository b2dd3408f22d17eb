#include "image/TurnPlain.h"

#include <algorithm>

namespace nubrix {

template <class T>
void plainClockwise90(const T *source, std::size_t width, std::size_t height, T *destination)
{
    for (std::size_t column = 0; column < width; ++column) {
        for (std::size_t row = height; row-- > 0;)
            *destination++ = source[row * width + column];
    }
}

template <class T>
void plainAnticlockwise90(const T *source, std::size_t width, std::size_t height, T *destination)
{
    for (std::size_t column = width; column-- > 0;) {
        for (std::size_t row = 0; row < height; ++row)
            *destination++ = source[row * width + column];
    }
}

template <class T>
void plainReverse(const T *source, std::size_t count, T *destination)
{
    std::reverse_copy(source, source + count, destination);
}

template <class T>
void plainMirrorRow(T *row, std::size_t width)
{
    std::reverse(row, row + width);
}

#define NUBRIX_INSTANTIATE(T)                                                     \
    template void plainClockwise90(const T *, std::size_t, std::size_t, T *);     \
    template void plainAnticlockwise90(const T *, std::size_t, std::size_t, T *); \
    template void plainReverse(const T *, std::size_t, T *);                      \
    template void plainMirrorRow(T *, std::size_t);
NUBRIX_INSTANTIATE(unsigned char)
NUBRIX_INSTANTIATE(BytePair)
NUBRIX_INSTANTIATE(RGB888Pixel)
#undef NUBRIX_INSTANTIATE

}  // namespace nubrix
