#include "tests/drivers/virtual/ImageWriter.h"

#include <bit>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include <jpeglib.h>
#include <png.h>

namespace nubrix {

namespace {

std::FILE *create(const std::string &path)
{
    std::FILE *file = std::fopen(path.c_str(), "wb");
    if (file == nullptr)
        throw std::runtime_error("cannot write " + path);
    return file;
}

void onPngError(png_structp /*png*/, png_const_charp text)
{
    std::fprintf(stderr, "writing a test image: %s\n", text);
    std::abort();
}

}  // namespace

void writePng(const std::string &path, unsigned int width, unsigned int height, int bitDepth,
              int colorType, const std::vector<std::uint8_t> &rows, bool interlaced)
{
    std::FILE *file = create(path);
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, onPngError, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, file);
    png_set_IHDR(png, info, width, height, bitDepth, colorType,
                 interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_gAMA(png, info, 1.0);  // a reader that adapts images to a display would show
    png_write_info(png, info);
    if (bitDepth == 16 && std::endian::native == std::endian::little)
        png_set_swap(png);
    const std::size_t stride = rows.size() / height;
    std::vector<png_bytep> pointers(height);
    for (std::size_t y = 0; y < height; ++y)
        pointers[y] = const_cast<png_bytep>(rows.data()) + y * stride;
    png_write_image(png, pointers.data());
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    std::fclose(file);
}

void writePalettePng(const std::string &path, unsigned int width, unsigned int height,
                     const std::vector<std::uint8_t> &rows,
                     const std::vector<std::uint8_t> &palette)
{
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = width;
    image.height = height;
    image.format = PNG_FORMAT_RGB_COLORMAP;
    image.colormap_entries = static_cast<png_uint_32>(palette.size() / 3);
    if (png_image_write_to_file(&image, path.c_str(), 0, rows.data(), 0, palette.data()) == 0)
        throw std::runtime_error("cannot write " + path);
}

void writeJpeg(const std::string &path, unsigned int width, unsigned int height, int components,
               const std::vector<std::uint8_t> &rows)
{
    std::FILE *file = create(path);
    jpeg_compress_struct jpeg = {};
    jpeg_error_mgr errors = {};
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_compress(&jpeg);
    jpeg_stdio_dest(&jpeg, file);
    jpeg.image_width = width;
    jpeg.image_height = height;
    jpeg.input_components = components;
    jpeg.in_color_space = components == 3 ? JCS_RGB : JCS_GRAYSCALE;
    jpeg_set_defaults(&jpeg);
    jpeg_set_quality(&jpeg, 100, TRUE);
    jpeg.comp_info[0].h_samp_factor = 1;
    jpeg.comp_info[0].v_samp_factor = 1;
    jpeg_start_compress(&jpeg, TRUE);
    const std::size_t stride = rows.size() / height;
    while (jpeg.next_scanline < height) {
        auto *row = const_cast<JSAMPROW>(rows.data()) + jpeg.next_scanline * stride;
        jpeg_write_scanlines(&jpeg, &row, 1);
    }
    jpeg_finish_compress(&jpeg);
    jpeg_destroy_compress(&jpeg);
    std::fclose(file);
}

std::vector<std::uint8_t> colorPattern(unsigned int width, unsigned int height, unsigned int seed)
{
    std::vector<std::uint8_t> rows;
    for (unsigned int y = 0; y < height; ++y) {
        for (unsigned int x = 0; x < width; ++x) {
            rows.push_back(static_cast<std::uint8_t>(x * 7 + seed));
            rows.push_back(static_cast<std::uint8_t>(y * 5 + seed * 3));
            rows.push_back(static_cast<std::uint8_t>(x * 3 + y * 11));
        }
    }
    return rows;
}

std::vector<std::uint8_t> depthPattern(unsigned int width, unsigned int height, unsigned int seed)
{
    std::vector<std::uint8_t> rows(std::size_t{width} * height * 2);
    for (unsigned int i = 0; i < width * height; ++i) {
        const auto value = static_cast<std::uint16_t>(i * 257 + seed);
        std::memcpy(&rows[std::size_t{i} * 2], &value, sizeof value);
    }
    return rows;
}

}  // namespace nubrix
