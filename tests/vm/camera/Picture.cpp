#include "Picture.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
// Needs the two above.
#include <jpeglib.h>

namespace nubrix::vm {

namespace {

std::uint8_t byte(unsigned int value)
{
    return static_cast<std::uint8_t>(value & 0xff);
}

std::uint8_t brightnessAt(unsigned int x, unsigned int y, unsigned int number)
{
    return byte(16 + (x + y + number) % 220);
}

Bytes drawDepth(PictureSize size, unsigned int number)
{
    Bytes picture;
    picture.reserve(largestPicture(PixelFormat::kDepth16, size));
    for (unsigned int y = 0; y < size.height; ++y) {
        for (unsigned int x = 0; x < size.width; ++x) {
            const unsigned int depth = depthAt(size, x, y, number);
            picture.push_back(byte(depth));
            picture.push_back(byte(depth >> 8));
        }
    }
    return picture;
}

Bytes drawYuyv(PictureSize size, unsigned int number)
{
    Bytes picture;
    picture.reserve(largestPicture(PixelFormat::kYuyv, size));
    for (unsigned int y = 0; y < size.height; ++y) {
        for (unsigned int x = 0; x < size.width; x += 2) {
            picture.push_back(brightnessAt(x, y, number));
            picture.push_back(byte(16 + x / 2 % 225));
            picture.push_back(brightnessAt(x + 1, y, number));
            picture.push_back(byte(16 + y % 225));
        }
    }
    return picture;
}

Bytes drawGrey(PictureSize size, unsigned int number)
{
    Bytes picture;
    picture.reserve(largestPicture(PixelFormat::kGrey, size));
    for (unsigned int y = 0; y < size.height; ++y) {
        for (unsigned int x = 0; x < size.width; ++x) {
            picture.push_back(byte(x + 2 * y + number));
        }
    }
    return picture;
}

Bytes drawJpeg(PictureSize size, unsigned int number)
{
    jpeg_compress_struct jpeg = {};
    jpeg_error_mgr errors = {};
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_compress(&jpeg);
    unsigned char *buffer = nullptr;
    unsigned long length = 0;
    jpeg_mem_dest(&jpeg, &buffer, &length);
    jpeg.image_width = size.width;
    jpeg.image_height = size.height;
    jpeg.input_components = 3;
    jpeg.in_color_space = JCS_YCbCr;
    jpeg_set_defaults(&jpeg);
    jpeg_set_quality(&jpeg, 90, TRUE);
    jpeg_start_compress(&jpeg, TRUE);
    Bytes row(std::size_t{size.width} * 3);
    for (unsigned int y = 0; y < size.height; ++y) {
        for (unsigned int x = 0; x < size.width; ++x) {
            row[x * 3] = brightnessAt(x, y, number);
            row[x * 3 + 1] = byte(64 + x / 8 % 128);
            row[x * 3 + 2] = byte(64 + y / 8 % 128);
        }
        JSAMPROW rows[] = {row.data()};
        jpeg_write_scanlines(&jpeg, rows, 1);
    }
    jpeg_finish_compress(&jpeg);
    Bytes picture(buffer, buffer + length);
    jpeg_destroy_compress(&jpeg);
    std::free(buffer);
    if (picture.size() % 2 == 0) {
        picture.push_back(0);
    }
    return picture;
}

}  // namespace

std::uint16_t depthAt(PictureSize size, unsigned int x, unsigned int y, unsigned int number)
{
    static const std::uint16_t kEdges[] = {0, 16383, 16384, 65535};
    if (y + 1 == size.height && x + 4 >= size.width) {
        return kEdges[x + 4 - size.width];
    }
    return static_cast<std::uint16_t>(500 + (x + 3 * y + number) % 10000);
}

Bytes drawPicture(PixelFormat format, PictureSize size, unsigned int number)
{
    switch (format) {
        case PixelFormat::kDepth16:
            return drawDepth(size, number);
        case PixelFormat::kYuyv:
            return drawYuyv(size, number);
        case PixelFormat::kMotionJpeg:
            return drawJpeg(size, number);
        case PixelFormat::kGrey:
            break;
    }
    return drawGrey(size, number);
}

std::size_t largestPicture(PixelFormat format, PictureSize size)
{
    return std::size_t{size.width} * size.height * (format == PixelFormat::kGrey ? 1 : 2);
}

}  // namespace nubrix::vm
