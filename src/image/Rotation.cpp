// The public rotations: in place or with a destination, single images and the planes of 4:2:0 ones.
#include <cstring>

#include "image/ImageKernel.h"
#include "image/RotationScratch.h"
#include "nubrix/image.h"

namespace nubrix {

RotationScratch g_clockwise90Scratch;
RotationScratch g_clockwise180Scratch;
RotationScratch g_anticlockwise90Scratch;

namespace {

struct Clockwise90 {
    static constexpr RotationScratch &kScratch = g_clockwise90Scratch;

    template <class T>
    static void rotate(const T *source, std::size_t width, std::size_t height, T *destination)
    {
        imageKernel().turn<T>().clockwise90(source, width, height, destination);
    }
};

struct Clockwise180 {
    static constexpr RotationScratch &kScratch = g_clockwise180Scratch;

    template <class T>
    static void rotate(const T *source, std::size_t width, std::size_t height, T *destination)
    {
        imageKernel().turn<T>().reverse(source, width * height, destination);
    }
};

struct Anticlockwise90 {
    static constexpr RotationScratch &kScratch = g_anticlockwise90Scratch;

    template <class T>
    static void rotate(const T *source, std::size_t width, std::size_t height, T *destination)
    {
        imageKernel().turn<T>().anticlockwise90(source, width, height, destination);
    }
};

template <class Direction, class T>
bool rotateInto(T *source, T *destination, int width, int height, bool copyBack)
{
    if (!source || !destination || source == destination)
        return false;
    if (width <= 0 || height <= 0)
        return true;
    const auto columns = static_cast<std::size_t>(width);
    const auto rows = static_cast<std::size_t>(height);
    Direction::rotate(source, columns, rows, destination);
    if (copyBack)
        std::memcpy(source, destination, columns * rows * sizeof(T));
    return true;
}

template <class Direction, class T>
bool rotate(T *source, int width, int height, T *destination, T *scratch)
{
    if (destination == scratch)
        return false;
    return rotateInto<Direction>(pixels(source), pixels(destination ? destination : scratch), width,
                                 height, !destination);
}

/// The planes of a 4:2:0 image into the destination or `scratch`; false where they cannot be.
/// `colours(source, destination, pixels)` rotates what follows the `pixels` bytes of the first.
// Kept: the planes of the source are overwritten even when there is a destination. See
// docs/oddities.md.
template <class Direction, class Colours>
bool rotatePlanes(unsigned char *source, int width, int height, unsigned char *destination,
                  unsigned char *scratch, const Colours &colours)
{
    unsigned char *const to = destination ? destination : scratch;
    if (!source || source == to || destination == scratch)
        return false;
    if (width <= 0 || height <= 0)
        return true;
    rotateInto<Direction>(source, to, width, height, true);
    colours(source, to, static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    return true;
}

template <class Direction>
bool rotatePlanar(unsigned char *source, int width, int height, unsigned char *destination)
{
    return rotatePlanes<Direction>(
        source, width, height, destination, Direction::kScratch.planar,
        [=](unsigned char *from, unsigned char *to, std::size_t u) {
            const std::size_t v = u + u / 4;
            rotateInto<Direction>(from + u, to + u, width / 2, height / 2, true);
            rotateInto<Direction>(from + v, to + v, width / 2, height / 2, true);
        });
}

template <class Direction>
bool rotateSemiPlanar(unsigned char *source, int width, int height, unsigned char *destination)
{
    return rotatePlanes<Direction>(
        source, width, height, destination, Direction::kScratch.semiPlanar,
        [=](unsigned char *from, unsigned char *to, std::size_t chroma) {
            rotateInto<Direction>(pairsAt(from + chroma), pairsAt(to + chroma), width / 2,
                                  height / 2, true);
        });
}

template <class Direction>
unsigned char *scratchFor(const unsigned char * /*source*/)
{
    return Direction::kScratch.of8;
}

template <class Direction>
unsigned short *scratchFor(const unsigned short * /*source*/)
{
    return Direction::kScratch.of16;
}

template <class Direction, class T>
bool rotateWithFlag(T *source, T *destination, int width, int height, bool copyBack)
{
    T *const scratch = scratchFor<Direction>(source);
    if (!destination || destination == scratch)
        return rotate<Direction>(source, width, height, destination, scratch);
    return rotateInto<Direction>(pixels(source), pixels(destination), width, height, copyBack);
}

}  // namespace

}  // namespace nubrix

using nubrix::Anticlockwise90;
using nubrix::Clockwise180;
using nubrix::Clockwise90;

bool rotateClockwise90(unsigned short *source, int width, int height, unsigned short *destination)
{
    return nubrix::rotate<Clockwise90>(source, width, height, destination,
                                       Clockwise90::kScratch.of16);
}

bool rotateClockwise90(RGB888Pixel *source, int width, int height, RGB888Pixel *destination)
{
    return nubrix::rotate<Clockwise90>(source, width, height, destination,
                                       Clockwise90::kScratch.of24);
}

bool rotateClockwise90(unsigned char *source, int width, int height, unsigned char *destination)
{
    return nubrix::rotate<Clockwise90>(source, width, height, destination,
                                       Clockwise90::kScratch.of8);
}

bool rotateClockwise180(unsigned short *source, int width, int height, unsigned short *destination)
{
    return nubrix::rotate<Clockwise180>(source, width, height, destination,
                                        Clockwise180::kScratch.of16);
}

bool rotateClockwise180(RGB888Pixel *source, int width, int height, RGB888Pixel *destination)
{
    return nubrix::rotate<Clockwise180>(source, width, height, destination,
                                        Clockwise180::kScratch.of24);
}

bool rotateClockwise180(unsigned char *source, int width, int height, unsigned char *destination)
{
    return nubrix::rotate<Clockwise180>(source, width, height, destination,
                                        Clockwise180::kScratch.of8);
}

bool rotateAnticlockwise90(unsigned short *source, int width, int height,
                           unsigned short *destination)
{
    return nubrix::rotate<Anticlockwise90>(source, width, height, destination,
                                           Anticlockwise90::kScratch.of16);
}

bool rotateAnticlockwise90(RGB888Pixel *source, int width, int height, RGB888Pixel *destination)
{
    return nubrix::rotate<Anticlockwise90>(source, width, height, destination,
                                           Anticlockwise90::kScratch.of24);
}

bool rotateAnticlockwise90(unsigned char *source, int width, int height, unsigned char *destination)
{
    return nubrix::rotate<Anticlockwise90>(source, width, height, destination,
                                           Anticlockwise90::kScratch.of8);
}

bool rotateClockwise90_YUV420P(unsigned char *source, int width, int height,
                               unsigned char *destination)
{
    return nubrix::rotatePlanar<Clockwise90>(source, width, height, destination);
}

bool rotateClockwise180_YUV420P(unsigned char *source, int width, int height,
                                unsigned char *destination)
{
    return nubrix::rotatePlanar<Clockwise180>(source, width, height, destination);
}

bool rotateAnticlockwise90_YUV420P(unsigned char *source, int width, int height,
                                   unsigned char *destination)
{
    return nubrix::rotatePlanar<Anticlockwise90>(source, width, height, destination);
}

bool rotateClockwise90_YUV420SP(unsigned char *source, int width, int height,
                                unsigned char *destination)
{
    return nubrix::rotateSemiPlanar<Clockwise90>(source, width, height, destination);
}

bool rotateClockwise180_YUV420SP(unsigned char *source, int width, int height,
                                 unsigned char *destination)
{
    return nubrix::rotateSemiPlanar<Clockwise180>(source, width, height, destination);
}

bool rotateAnticlockwise90_YUV420SP(unsigned char *source, int width, int height,
                                    unsigned char *destination)
{
    return nubrix::rotateSemiPlanar<Anticlockwise90>(source, width, height, destination);
}

template <class T>
bool tempRotateClockwise90(T *source, T *destination, int width, int height, bool copyBack)
{
    return nubrix::rotateWithFlag<Clockwise90>(source, destination, width, height, copyBack);
}

template <class T>
bool tempRotateClockwise180(T *source, T *destination, int width, int height, bool copyBack)
{
    return nubrix::rotateWithFlag<Clockwise180>(source, destination, width, height, copyBack);
}

template <class T>
bool tempRotateAnticlockwise90(T *source, T *destination, int width, int height, bool copyBack)
{
    return nubrix::rotateWithFlag<Anticlockwise90>(source, destination, width, height, copyBack);
}

template NUBRIX_API bool tempRotateClockwise90(unsigned char *, unsigned char *, int, int, bool);
template NUBRIX_API bool tempRotateClockwise90(unsigned short *, unsigned short *, int, int, bool);
template NUBRIX_API bool tempRotateClockwise180(unsigned char *, unsigned char *, int, int, bool);
template NUBRIX_API bool tempRotateClockwise180(unsigned short *, unsigned short *, int, int, bool);
template NUBRIX_API bool tempRotateAnticlockwise90(unsigned char *, unsigned char *, int, int,
                                                   bool);
template NUBRIX_API bool tempRotateAnticlockwise90(unsigned short *, unsigned short *, int, int,
                                                   bool);
