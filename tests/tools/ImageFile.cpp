#include "ImageFile.h"

#include <csetjmp>
#include <cstddef>
#include <cstdio>
// After the headers whose types they use.
#include <jpeglib.h>
#include <png.h>

namespace nubrix {

namespace {

std::size_t rowSamples(const ImageFile &image)
{
    return std::size_t{image.width} * image.channels;
}

void copySamples(png_structp png, png_infop info, ImageFile &image)
{
    image.width = png_get_image_width(png, info);
    image.height = png_get_image_height(png, info);
    image.bits = png_get_bit_depth(png, info);
    image.channels = png_get_channels(png, info);
    const png_bytepp rows = png_get_rows(png, info);
    for (std::size_t y = 0; y < image.height; ++y)
        for (std::size_t i = 0; i < rowSamples(image); ++i)
            image.samples.push_back(image.bits == 16 ? static_cast<std::uint16_t>(
                                                           rows[y][2 * i] << 8 | rows[y][2 * i + 1])
                                                     : rows[y][i]);
}

bool decode(png_structp png, png_infop info, std::FILE *input)
{
    if (setjmp(png_jmpbuf(png)))
        return false;
    png_init_io(png, input);
    png_read_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
    return true;
}

void readPng(std::FILE *input, ImageFile &image)
{
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    if (decode(png, info, input))
        copySamples(png, info, image);
    png_destroy_read_struct(&png, &info, nullptr);
}

// An unreadable file ends the process with the library's own message.
void readJpeg(std::FILE *input, ImageFile &image)
{
    jpeg_decompress_struct jpeg = {};
    jpeg_error_mgr errors = {};
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&jpeg);
    jpeg_stdio_src(&jpeg, input);
    jpeg_read_header(&jpeg, TRUE);
    jpeg.out_color_space = JCS_RGB;
    jpeg_start_decompress(&jpeg);
    image.width = jpeg.output_width;
    image.height = jpeg.output_height;
    image.channels = 3;
    image.bits = 8;
    std::vector<JSAMPLE> row(rowSamples(image));
    while (jpeg.output_scanline < jpeg.output_height) {
        JSAMPROW start = row.data();
        jpeg_read_scanlines(&jpeg, &start, 1);
        image.samples.insert(image.samples.end(), row.begin(), row.end());
    }
    jpeg_finish_decompress(&jpeg);
    jpeg_destroy_decompress(&jpeg);
}

std::vector<std::uint8_t> rowOf(const ImageFile &image, std::size_t y)
{
    std::vector<std::uint8_t> row;
    for (std::size_t i = y * rowSamples(image); i < (y + 1) * rowSamples(image); ++i) {
        if (image.bits == 16)
            row.push_back(static_cast<std::uint8_t>(image.samples[i] >> 8));
        row.push_back(static_cast<std::uint8_t>(image.samples[i]));
    }
    return row;
}

}  // namespace

ImageFile readImage(const std::string &path)
{
    ImageFile image;
    std::FILE *input = std::fopen(path.c_str(), "rbe");
    if (input == nullptr)
        return image;
    if (path.ends_with(".jpg"))
        readJpeg(input, image);
    else
        readPng(input, image);
    std::fclose(input);
    return image;
}

void writePng(const std::string &path, const ImageFile &image)
{
    std::FILE *output = std::fopen(path.c_str(), "wbe");
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, output);
    png_set_IHDR(png, info, image.width, image.height, static_cast<int>(image.bits),
                 image.channels == 3 ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (std::size_t y = 0; y < image.height; ++y)
        png_write_row(png, rowOf(image, y).data());
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    std::fclose(output);
}

void writeJpeg(const std::string &path, const ImageFile &image)
{
    std::FILE *output = std::fopen(path.c_str(), "wbe");
    jpeg_compress_struct jpeg = {};
    jpeg_error_mgr errors = {};
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_compress(&jpeg);
    jpeg_stdio_dest(&jpeg, output);
    jpeg.image_width = image.width;
    jpeg.image_height = image.height;
    jpeg.input_components = 3;
    jpeg.in_color_space = JCS_RGB;
    jpeg_set_defaults(&jpeg);
    jpeg_start_compress(&jpeg, TRUE);
    while (jpeg.next_scanline < jpeg.image_height) {
        std::vector<std::uint8_t> row = rowOf(image, jpeg.next_scanline);
        JSAMPROW start = row.data();
        jpeg_write_scanlines(&jpeg, &start, 1);
    }
    jpeg_finish_compress(&jpeg);
    jpeg_destroy_compress(&jpeg);
    std::fclose(output);
}

}  // namespace nubrix
