#include "PngWriter.h"

#include <png.h>
#include <unistd.h>

#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>

#include "Failure.h"

namespace nubrix {

namespace {

[[noreturn]] void onError(png_structp png, png_const_charp message)
{
    *static_cast<std::string *>(png_get_error_ptr(png)) = message;
    longjmp(png_jmpbuf(png), 1);
}

void onWarning(png_structp, png_const_charp)
{
}

void writeRows(png_structp png, png_infop info, std::FILE *file, const Image &image)
{
    png_init_io(png, file);
    png_set_IHDR(png, info, image.width, image.height, static_cast<int>(image.bits),
                 image.channels == 3 ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    if (image.bits == 16)
        png_set_swap(png);  // a PNG's samples are big-endian
    const std::size_t rowBytes = std::size_t{image.width} * image.channels * (image.bits / 8);
    for (std::size_t row = 0; row < image.height; ++row)
        png_write_row(png, image.samples.data() + row * rowBytes);
    png_write_end(png, info);
}

/// Nothing in it needs a destructor: an error of libpng leaves it by a long jump.
bool encode(png_structp png, png_infop info, std::FILE *file, const Image &image)
{
    if (setjmp(png_jmpbuf(png)))  // NOLINT(bugprone-*): libpng's way to report an error
        return false;
    writeRows(png, info, file, image);
    return true;
}

/// Returns what went wrong, empty if nothing did.
std::string encodeTo(std::FILE *file, const Image &image)
{
    std::string error = "out of memory";
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &error, onError, onWarning);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    errno = 0;
    if (info && encode(png, info, file, image))
        error.clear();
    else if (errno != 0)
        error = std::strerror(errno);
    png_destroy_write_struct(&png, &info);
    return error;
}

}  // namespace

void PngWriter::write(const std::string &path, const Image &image)
{
    std::FILE *file = std::fopen(path.c_str(), "wbe");
    if (file == nullptr)
        throw Failure("cannot write " + path + ": " + std::strerror(errno));
    std::string error = encodeTo(file, image);
    if (std::fclose(file) != 0 && error.empty())
        error = std::strerror(errno);
    if (error.empty())
        return;
    unlink(path.c_str());
    throw Failure("cannot write " + path + ": " + error);
}

}  // namespace nubrix
