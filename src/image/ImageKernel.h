// The functions that process pixels, in one version for each instruction set.
#pragma once

#include <cstddef>

#include "cpu/CpuFeatures.h"
#include "image/DepthKernel.h"
#include "image/ImagePlain.h"
#include "nubrix/image.h"

namespace nubrix {

/// The functions of PlainTurns, for one type of pixel.
template <class T>
struct TurnKernel {
    void (*clockwise90)(const T *source, std::size_t width, std::size_t height, T *destination);
    void (*anticlockwise90)(const T *source, std::size_t width, std::size_t height, T *destination);
    void (*reverse)(const T *source, std::size_t count, T *destination);
    void (*mirrorRow)(T *row, std::size_t width);
};

/// Every function has the same result, to the bit, as the plain function of its name in
/// ImagePlain.h, and touches no byte outside its images.
struct ImageKernel {
    void (*i420Row)(unsigned char *rgb, const unsigned char *luma, const unsigned char *u,
                    const unsigned char *v, std::size_t width);
    void (*nv21Row)(unsigned char *rgb, const unsigned char *luma, const unsigned char *vu,
                    std::size_t width);
    void (*yuyvGroups)(unsigned char *rgb, const unsigned char *yuyv, std::size_t groups);
    void (*uyvyGroups)(unsigned char *rgb, const unsigned char *uyvy, std::size_t groups);
    TurnKernel<unsigned char> turn8;
    TurnKernel<BytePair> turn16;
    TurnKernel<RGB888Pixel> turn24;
    DepthKernel depth;

    /// The functions for pixels of the type T.
    template <class T>
    const TurnKernel<T> &turn() const;
};

template <>
inline const TurnKernel<unsigned char> &ImageKernel::turn() const
{
    return turn8;
}
template <>
inline const TurnKernel<BytePair> &ImageKernel::turn() const
{
    return turn16;
}
template <>
inline const TurnKernel<RGB888Pixel> &ImageKernel::turn() const
{
    return turn24;
}

/// The pixels of an image as a kernel takes them.
inline unsigned char *pixels(unsigned char *image)
{
    return image;
}
inline RGB888Pixel *pixels(RGB888Pixel *image)
{
    return image;
}
inline BytePair *pixels(unsigned short *image)
{
    return reinterpret_cast<BytePair *>(image);
}
/// The colour plane of a semi-planar image, which need not be aligned.
inline BytePair *pairsAt(unsigned char *plane)
{
    return reinterpret_cast<BytePair *>(plane);
}

extern const ImageKernel kImagePlain;
extern const ImageKernel kImageSse41;
extern const ImageKernel kImageAvx2;
extern const ImageKernel kImageAvx512;
extern const ImageKernel kImageAvx512Vbmi;
extern const ImageKernel kImageNeon;

/// The kernel of an instruction set; null when this build has none. Thread-safe.
const ImageKernel *imageKernelOf(InstructionSet set);

/// The kernel that all image functions of this process use: that of instructionSet(), or the one
/// set last. Thread-safe.
const ImageKernel &imageKernel();
/// Replaces imageKernel(); for tests. Thread-safe.
void setImageKernel(const ImageKernel &kernel);

}  // namespace nubrix
