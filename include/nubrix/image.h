/// @file
/// Converts camera images between pixel formats and orientations, and colours depth frames.
///
/// All functions work on memory of the caller and trust the sizes they are given. Rows run from top
/// to bottom without padding. A 4:2:0 image is a plane of width * height bytes and then, at half
/// the width and half the height, its colours: "planar" (P, I420) a plane of U and one of V, "semi
/// planar" (SP, NV21) one plane of byte pairs; width * height * 3 / 2 bytes in all.
///
/// Functions with a result return 1 when done and 0 when they refuse: for a null image, or for a
/// destination that is the source. Sizes of 0 and below leave everything alone and return 1.
///
/// Which formula is whose, and what is clamped where: docs/images.md.
#pragma once

#include "nubrix/export.h"
#include "nubrix/types.h"

/// A pixel of an RGB image: 3 bytes.
struct RGB888Pixel {
    unsigned char r;  ///< red, 0 to 255
    unsigned char g;  ///< green
    unsigned char b;  ///< blue
};

/// Converts one pixel in integers of 8 bits after the point, with luma from 16 to 235. Thread-safe.
NUBRIX_API void YUV444ToRGB888(unsigned char y, unsigned char u, unsigned char v, unsigned char &r,
                               unsigned char &g, unsigned char &b);
/// Converts one pixel in doubles, with luma from 0 to 255: red in bits 0 to 7, then green, then
/// blue, above them 0. Thread-safe.
NUBRIX_API unsigned int convert_yuv_to_rgb_pixel(int y, int u, int v);

/// Converts a 4:2:0 image of planes Y, U and V (I420). The colours of the pixel (x, y) are number
/// (width / 2) * (y / 2) + x / 2 of their planes, for odd sizes too. Thread-safe.
NUBRIX_API bool YUVI420ToRGB888(unsigned char *rgb, unsigned char *yuv, int width, int height);
/// Converts a 4:2:0 image of a plane Y and a plane of pairs V, U (NV21). The colours of a pixel are
/// the pair of the number that YUVI420ToRGB888 states. Thread-safe.
NUBRIX_API bool YUVNV21ToRGB888(unsigned char *rgb, unsigned char *yuv, int width, int height);
/// YUVNV21ToRGB888 under another name. Thread-safe.
NUBRIX_API bool YUV420SPToRGB(unsigned char *rgb, unsigned char *yuv, int width, int height);
/// Converts Y0 U Y1 V for every two pixels (YUYV) by convert_yuv_to_rgb_pixel. With an odd number
/// of pixels the last one is left unwritten. Thread-safe.
NUBRIX_API bool YUV422ToRGB(unsigned char *rgb, unsigned char *yuyv, unsigned int width,
                            unsigned int height);
/// Converts U Y0 V Y1 for every two pixels (UYVY) by YUV444ToRGB888. `*produced` is the capacity of
/// `rgb` in bytes; afterwards `*consumed` and `*produced` are the bytes read and written. Below 4
/// bytes of source both are 0. Else the first group of two pixels is converted whatever the
/// capacity, and further ones until the source ends or more than `capacity - 3` bytes are written:
/// up to 3 bytes more than the capacity (6 for a capacity of 0) must be writable. Thread-safe.
NUBRIX_API void YUV422ToRGB888(const unsigned char *uyvy, unsigned char *rgb,
                               unsigned int sourceBytes, unsigned int *consumed,
                               unsigned int *produced);

/// @{
/// Rotates an image of width x height. A quarter turn is height wide and width tall. Without a
/// destination the image is rotated in place through a buffer that the function keeps for it, which
/// holds 1920 x 1080 pixels and is not checked: larger images need a destination. Thread-safe with
/// a destination; not thread-safe without.
NUBRIX_API bool rotateClockwise90(unsigned short *source, int width, int height,
                                  unsigned short *destination);
NUBRIX_API bool rotateClockwise90(RGB888Pixel *source, int width, int height,
                                  RGB888Pixel *destination);
NUBRIX_API bool rotateClockwise90(unsigned char *source, int width, int height,
                                  unsigned char *destination);
NUBRIX_API bool rotateClockwise180(unsigned short *source, int width, int height,
                                   unsigned short *destination);
NUBRIX_API bool rotateClockwise180(RGB888Pixel *source, int width, int height,
                                   RGB888Pixel *destination);
NUBRIX_API bool rotateClockwise180(unsigned char *source, int width, int height,
                                   unsigned char *destination);
NUBRIX_API bool rotateAnticlockwise90(unsigned short *source, int width, int height,
                                      unsigned short *destination);
NUBRIX_API bool rotateAnticlockwise90(RGB888Pixel *source, int width, int height,
                                      RGB888Pixel *destination);
NUBRIX_API bool rotateAnticlockwise90(unsigned char *source, int width, int height,
                                      unsigned char *destination);
/// @}

/// @{
/// Rotates a 4:2:0 image, plane by plane, and overwrites the source with the rotated image even
/// when there is a destination. Otherwise as rotateClockwise90 and the others, buffers included.
NUBRIX_API bool rotateClockwise90_YUV420P(unsigned char *source, int width, int height,
                                          unsigned char *destination);
NUBRIX_API bool rotateClockwise180_YUV420P(unsigned char *source, int width, int height,
                                           unsigned char *destination);
NUBRIX_API bool rotateAnticlockwise90_YUV420P(unsigned char *source, int width, int height,
                                              unsigned char *destination);
NUBRIX_API bool rotateClockwise90_YUV420SP(unsigned char *source, int width, int height,
                                           unsigned char *destination);
NUBRIX_API bool rotateClockwise180_YUV420SP(unsigned char *source, int width, int height,
                                            unsigned char *destination);
NUBRIX_API bool rotateAnticlockwise90_YUV420SP(unsigned char *source, int width, int height,
                                               unsigned char *destination);
/// @}

/// @{
/// Rotates an image of unsigned char or unsigned short; with a destination and `copyBack` the
/// rotated image is copied over the source afterwards. Without a destination it is rotated in place
/// as by rotateClockwise90 and the others, through the same buffers.
template <class T>
NUBRIX_API bool tempRotateClockwise90(T *source, T *destination, int width, int height,
                                      bool copyBack);
template <class T>
NUBRIX_API bool tempRotateClockwise180(T *source, T *destination, int width, int height,
                                       bool copyBack);
template <class T>
NUBRIX_API bool tempRotateAnticlockwise90(T *source, T *destination, int width, int height,
                                          bool copyBack);
/// @}

/// @{
/// Reverses every row of an image in place, of a 4:2:0 image those of each plane; the template is
/// for unsigned char and unsigned short. Refuses null images only. Thread-safe.
NUBRIX_API bool mirrorPixels(RGB888Pixel *image, int width, int height);
NUBRIX_API bool mirrorPixels(unsigned char *image, int width, int height);
NUBRIX_API bool mirrorPixels(unsigned short *image, int width, int height);
NUBRIX_API bool mirrorPixels_YUV420P(unsigned char *image, int width, int height);
NUBRIX_API bool mirrorPixels_YUV420SP(unsigned char *image, int width, int height);
template <class T>
NUBRIX_API bool tempMirrorPixels(T *image, int width, int height);
/// @}

/// Crops an image or pads it with zeros, at the right and at the bottom; never scales. Refuses null
/// images only. Thread-safe.
NUBRIX_API unsigned int resizeImage(unsigned short *dst, unsigned int dstWidth,
                                    unsigned int dstHeight, unsigned short *src,
                                    unsigned int srcWidth, unsigned int srcHeight);

/// Fills `histogram`, an array of `size` floats, with the share of the frame's depths that are
/// above each depth, times 256: from nearly 256 for the nearest depths to 0 for the farthest.
/// Depths of 0 do not count, and entry 0 is 0; all are 0 in a frame without depths. `size` must
/// exceed the largest depth, which is not checked. Thread-safe.
NUBRIX_API void calculateHistogram(float *histogram, int size, const typedefNubrixFrame &frame);
/// Colours a depth frame from bright yellow (near) to black (far) by the histogram, which it
/// calculates first. Pixels without a depth are left unwritten: clear `rgb` before. `*bytes`
/// becomes width * height * 3. Thread-safe.
NUBRIX_API void Depth2RGB888(RGB888Pixel *rgb, unsigned int *bytes, float *histogram, int size,
                             const typedefNubrixFrame &frame);
