#include "PngFile.h"

#include <png.h>

#include <csetjmp>
#include <cstdio>

namespace nubrix {

namespace {

void copySamples(png_structp png, png_infop info, PngFile &file)
{
    file.width = png_get_image_width(png, info);
    file.height = png_get_image_height(png, info);
    file.bits = png_get_bit_depth(png, info);
    const std::size_t rowSamples = std::size_t{file.width} * png_get_channels(png, info);
    const png_bytepp rows = png_get_rows(png, info);
    for (std::size_t y = 0; y < file.height; ++y)
        for (std::size_t i = 0; i < rowSamples; ++i)
            file.samples.push_back(file.bits == 16 ? static_cast<std::uint16_t>(
                                                         rows[y][2 * i] << 8 | rows[y][2 * i + 1])
                                                   : rows[y][i]);
    file.colourType = png_get_color_type(png, info);
}

bool decode(png_structp png, png_infop info, std::FILE *input)
{
    if (setjmp(png_jmpbuf(png)))
        return false;
    png_init_io(png, input);
    png_read_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
    return true;
}

}  // namespace

bool PngFile::isRgb8() const
{
    return colourType == PNG_COLOR_TYPE_RGB && bits == 8;
}

bool PngFile::isGrey8() const
{
    return colourType == PNG_COLOR_TYPE_GRAY && bits == 8;
}

bool PngFile::isGrey16() const
{
    return colourType == PNG_COLOR_TYPE_GRAY && bits == 16;
}

PngFile readPng(const std::string &path)
{
    PngFile file;
    std::FILE *input = std::fopen(path.c_str(), "rbe");
    if (input == nullptr)
        return file;
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    if (decode(png, info, input))
        copySamples(png, info, file);
    png_destroy_read_struct(&png, &info, nullptr);
    std::fclose(input);
    return file;
}

}  // namespace nubrix
