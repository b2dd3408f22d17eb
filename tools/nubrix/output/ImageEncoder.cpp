#include "output/ImageEncoder.h"

#include <png.h>
#include <unistd.h>
#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include "output/OutputFile.h"

namespace nubrix::tool {

namespace {

[[noreturn]] void onPngError(png_structp png, png_const_charp message)
{
    *static_cast<std::string *>(png_get_error_ptr(png)) = message;
    longjmp(png_jmpbuf(png), 1);
}

void onPngWarning(png_structp, png_const_charp)
{
}

void writePngRows(png_structp png, png_infop info, std::FILE *file, const Image &image)
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

/// Has no local object with a destructor, because libpng reports errors by a long jump.
bool encodePng(png_structp png, png_infop info, std::FILE *file, const Image &image)
{
    if (setjmp(png_jmpbuf(png)))  // NOLINT(bugprone-*): libpng's way to report an error
        return false;
    writePngRows(png, info, file, image);
    return true;
}

/// Returns the error text; empty on success.
std::string encodePngTo(std::FILE *file, const Image &image)
{
    std::string error = "out of memory";
    png_structp png =
        png_create_write_struct(PNG_LIBPNG_VER_STRING, &error, onPngError, onPngWarning);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    errno = 0;
    if (info && encodePng(png, info, file, image))
        error.clear();
    else if (errno != 0)
        error = std::strerror(errno);
    png_destroy_write_struct(&png, &info);
    return error;
}

constexpr unsigned int kBmpHeaderBytes = 54;
constexpr unsigned int kBmpInfoBytes = 40;

std::string bmpHeader(const Image &image, std::size_t pixelBytes)
{
    std::string header = "BM";
    putLittle(header, kBmpHeaderBytes + pixelBytes, 4);
    putLittle(header, 0, 4);
    putLittle(header, kBmpHeaderBytes, 4);
    putLittle(header, kBmpInfoBytes, 4);
    putLittle(header, image.width, 4);
    putLittle(header, image.height, 4);
    putLittle(header, 1, 2);   // planes
    putLittle(header, 24, 2);  // bits of a pixel
    putLittle(header, 0, 4);   // not compressed
    putLittle(header, pixelBytes, 4);
    header.resize(kBmpHeaderBytes);  // no resolution, no palette
    return header;
}

}  // namespace

void writePng(const std::string &path, const Image &image)
{
    std::FILE *file = std::fopen(path.c_str(), "wbe");
    if (file == nullptr)
        throw std::runtime_error("cannot write " + path + ": " + std::strerror(errno));
    std::string error = encodePngTo(file, image);
    if (std::fclose(file) != 0 && error.empty())
        error = std::strerror(errno);
    if (error.empty())
        return;
    unlink(path.c_str());
    throw std::runtime_error("cannot write " + path + ": " + error);
}

void writeBmp(const std::string &path, const Image &image)
{
    const std::size_t rowBytes = (std::size_t{image.width} * 3 + 3) / 4 * 4;
    std::string bytes = bmpHeader(image, rowBytes * image.height);
    bytes.reserve(bytes.size() + rowBytes * image.height);
    for (std::size_t row = image.height; row-- > 0;) {
        const std::uint8_t *pixel = &image.samples[row * image.width * image.channels];
        for (std::size_t x = 0; x < image.width; ++x, pixel += image.channels) {
            for (std::size_t i = 3; i-- > 0;)  // blue comes first
                bytes += static_cast<char>(pixel[image.channels == 3 ? i : 0]);
        }
        bytes.append(rowBytes - std::size_t{image.width} * 3, '\0');
    }
    writeFile(path, bytes);
}

}  // namespace nubrix::tool
