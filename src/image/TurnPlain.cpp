#include "image/TurnPlain.h"

#include <algorithm>

namespace nubrix {

template <class T>
void PlainTurns<T>::clockwise90(const T *source, std::size_t width, std::size_t height,
                                T *destination)
{
    for (std::size_t column = 0; column < width; ++column) {
        for (std::size_t row = height; row-- > 0;)
            *destination++ = source[row * width + column];
    }
}

template <class T>
void PlainTurns<T>::anticlockwise90(const T *source, std::size_t width, std::size_t height,
                                    T *destination)
{
    for (std::size_t column = width; column-- > 0;) {
        for (std::size_t row = 0; row < height; ++row)
            *destination++ = source[row * width + column];
    }
}

template <class T>
void PlainTurns<T>::reverse(const T *source, std::size_t count, T *destination)
{
    std::reverse_copy(source, source + count, destination);
}

template <class T>
void PlainTurns<T>::mirrorRow(T *row, std::size_t width)
{
    std::reverse(row, row + width);
}

template struct PlainTurns<unsigned char>;
template struct PlainTurns<BytePair>;
template struct PlainTurns<RGB888Pixel>;

}  // namespace nubrix
