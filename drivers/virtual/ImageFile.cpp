#include "virtual/ImageFile.h"

#include <bit>
#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <memory>

#include <png.h>

#include "common/JpegDecoder.h"

namespace nubrix {

namespace {

constexpr unsigned int kLargestSide = 8192;
constexpr unsigned int kLargestChunk = 8U << 20U;
constexpr std::size_t kMessageSize = 200;

struct Closer {
    void operator()(std::FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Closer>;

// libpng reports errors by longjmp, which runs no destructors: the functions that setjmp hold
// nothing that needs one.

struct PngReader {
    png_structp png = nullptr;
    png_infop info = nullptr;
    bool asDepth = false;
    char message[kMessageSize] = "";

    PngReader() = default;
    PngReader(const PngReader &) = delete;
    PngReader &operator=(const PngReader &) = delete;
    ~PngReader() { png_destroy_read_struct(&png, &info, nullptr); }
};

void onPngError(png_structp png, png_const_charp text)
{
    auto *reader = static_cast<PngReader *>(png_get_error_ptr(png));
    std::snprintf(reader->message, sizeof reader->message, "%s", text);
    png_longjmp(png, 1);
}

void onPngWarning(png_structp /*png*/, png_const_charp /*text*/)
{
}

bool openPng(PngReader &reader, std::FILE *file)
{
    reader.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &reader, onPngError, onPngWarning);
    reader.info = reader.png == nullptr ? nullptr : png_create_info_struct(reader.png);
    if (reader.info == nullptr) {
        std::snprintf(reader.message, sizeof reader.message, "there is no memory for it");
        return false;
    }
    if (setjmp(png_jmpbuf(reader.png)) != 0)
        return false;
    png_set_user_limits(reader.png, kLargestSide, kLargestSide);
    png_set_chunk_malloc_max(reader.png, kLargestChunk);
    // Texts and profiles are left out unread: one may claim to have 2 GiB.
    png_set_keep_unknown_chunks(reader.png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
    png_init_io(reader.png, file);
    png_read_info(reader.png, reader.info);
    if (reader.asDepth) {
        if (png_get_bit_depth(reader.png, reader.info) != 16 ||
            png_get_color_type(reader.png, reader.info) != PNG_COLOR_TYPE_GRAY)
            png_error(reader.png, "it is not a 16-bit grey PNG");
        if (std::endian::native == std::endian::little)
            png_set_swap(reader.png);
    } else {
        png_set_expand(reader.png);
        png_set_strip_16(reader.png);
        png_set_gray_to_rgb(reader.png);
        png_set_strip_alpha(reader.png);
    }
    png_set_interlace_handling(reader.png);
    png_read_update_info(reader.png, reader.info);
    return true;
}

bool readPngRows(PngReader &reader, png_bytepp rows)
{
    if (setjmp(png_jmpbuf(reader.png)) != 0)
        return false;
    png_read_image(reader.png, rows);
    png_read_end(reader.png, nullptr);
    return true;
}

Image readPng(std::FILE *file, bool asDepth)
{
    Image image;
    PngReader reader;
    reader.asDepth = asDepth;
    if (!openPng(reader, file)) {
        image.error = reader.message;
        return image;
    }
    image.width = png_get_image_width(reader.png, reader.info);
    image.height = png_get_image_height(reader.png, reader.info);
    const std::size_t stride = png_get_rowbytes(reader.png, reader.info);
    image.pixels.resize(stride * image.height);
    std::vector<png_bytep> rows(image.height);
    for (std::size_t y = 0; y < rows.size(); ++y)
        rows[y] = image.pixels.data() + y * stride;
    if (!readPngRows(reader, rows.data()))
        image.error = reader.message;
    return image;
}

Image readJpeg(std::FILE *file)
{
    Image image;
    JpegDecoder decoder(JpegDecoder::Damage::kRefused, {});
    if (!decoder.readHeader(file)) {
        image.error = decoder.error();
        return image;
    }
    if (decoder.width() > kLargestSide || decoder.height() > kLargestSide) {
        image.error = "it is too large";
        return image;
    }
    image.width = decoder.width();
    image.height = decoder.height();
    image.pixels.resize(std::size_t{3} * image.width * image.height);
    if (!decoder.decode(image.pixels.data()))
        image.error = decoder.error();
    return image;
}

Image readImage(const std::string &path, bool asDepth)
{
    const File file(std::fopen(path.c_str(), "rbe"));
    Image image;
    if (!file) {
        image.error = std::strerror(errno);
        return image;
    }
    unsigned char start[8] = {};
    const std::size_t got = std::fread(start, 1, sizeof start, file.get());
    std::rewind(file.get());
    if (png_sig_cmp(start, 0, got < 8 ? 1 : 8) == 0 && got == sizeof start)
        return readPng(file.get(), asDepth);
    if (!asDepth && start[0] == 0xFF && start[1] == 0xD8)
        return readJpeg(file.get());
    image.error = asDepth ? "it is not a 16-bit grey PNG" : "it is neither a PNG nor a JPEG";
    return image;
}

}  // namespace

Image readColorImage(const std::string &path)
{
    return readImage(path, false);
}

Image readDepthImage(const std::string &path)
{
    return readImage(path, true);
}

}  // namespace nubrix
