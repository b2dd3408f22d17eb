// The public mirroring functions, row by row.
#include "image/ImageKernel.h"
#include "nubrix/image.h"

namespace nubrix {

namespace {

template <class T>
bool mirror(T *image, int width, int height)
{
    if (!image)
        return false;
    if (width <= 0)
        return true;
    const auto columns = static_cast<std::size_t>(width);
    const auto mirrorRow = imageKernel().turn<T>().mirrorRow;
    for (int row = 0; row < height; ++row, image += columns)
        mirrorRow(image, columns);
    return true;
}

std::size_t lumaSize(int width, int height)
{
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
}

}  // namespace

}  // namespace nubrix

using nubrix::mirror;
using nubrix::pairsAt;
using nubrix::pixels;

bool mirrorPixels(RGB888Pixel *image, int width, int height)
{
    return mirror(image, width, height);
}

bool mirrorPixels(unsigned char *image, int width, int height)
{
    return mirror(image, width, height);
}

bool mirrorPixels(unsigned short *image, int width, int height)
{
    return mirror(pixels(image), width, height);
}

bool mirrorPixels_YUV420P(unsigned char *image, int width, int height)
{
    if (!mirror(image, width, height))
        return false;
    if (width <= 0 || height <= 0)
        return true;
    const std::size_t u = nubrix::lumaSize(width, height);
    mirror(image + u, width / 2, height / 2);
    return mirror(image + u + u / 4, width / 2, height / 2);
}

bool mirrorPixels_YUV420SP(unsigned char *image, int width, int height)
{
    if (!mirror(image, width, height))
        return false;
    if (width <= 0 || height <= 0)
        return true;
    return mirror(pairsAt(image + nubrix::lumaSize(width, height)), width / 2, height / 2);
}

template <class T>
bool tempMirrorPixels(T *image, int width, int height)
{
    return mirror(pixels(image), width, height);
}

template NUBRIX_API bool tempMirrorPixels(unsigned char *, int, int);
template NUBRIX_API bool tempMirrorPixels(unsigned short *, int, int);
