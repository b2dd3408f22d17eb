#include "virtual/ImageFile.h"

#include <bit>
#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <memory>

#include <jpeglib.h>
#include <png.h>

namespace nubrix {

namespace {

constexpr unsigned int kLargestSide = 8192;
constexpr unsigned int kLargestChunk = 8U << 20U;
constexpr std::size_t kMessageSize = JMSG_LENGTH_MAX;

struct Closer {
    void operator()(std::FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Closer>;

// libpng and libjpeg report errors by longjmp, which runs no destructors: the functions that
// setjmp hold nothing that needs one.

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

struct JpegReader {
    jpeg_decompress_struct jpeg = {};
    jpeg_error_mgr errors = {};
    std::jmp_buf escape = {};
    char message[kMessageSize] = "";

    JpegReader() = default;
    JpegReader(const JpegReader &) = delete;
    JpegReader &operator=(const JpegReader &) = delete;
    ~JpegReader() { jpeg_destroy_decompress(&jpeg); }
};

[[noreturn]] void onJpegError(j_common_ptr jpeg)
{
    auto *reader = static_cast<JpegReader *>(jpeg->client_data);
    jpeg->err->format_message(jpeg, reader->message);
    std::longjmp(reader->escape, 1);
}

void onJpegMessage(j_common_ptr jpeg, int level)
{
    if (level < 0)  // the data is damaged: the rest of the picture would be made up
        onJpegError(jpeg);
}

bool openJpeg(JpegReader &reader, std::FILE *file)
{
    reader.jpeg.err = jpeg_std_error(&reader.errors);
    reader.jpeg.client_data = &reader;
    reader.errors.error_exit = onJpegError;
    reader.errors.emit_message = onJpegMessage;
    if (setjmp(reader.escape) != 0)
        return false;
    jpeg_create_decompress(&reader.jpeg);
    jpeg_stdio_src(&reader.jpeg, file);
    jpeg_read_header(&reader.jpeg, TRUE);
    reader.jpeg.out_color_space = JCS_RGB;
    jpeg_start_decompress(&reader.jpeg);
    return true;
}

bool readJpegRows(JpegReader &reader, std::uint8_t *pixels, std::size_t stride)
{
    if (setjmp(reader.escape) != 0)
        return false;
    while (reader.jpeg.output_scanline < reader.jpeg.output_height) {
        JSAMPROW row = pixels + reader.jpeg.output_scanline * stride;
        jpeg_read_scanlines(&reader.jpeg, &row, 1);
    }
    jpeg_finish_decompress(&reader.jpeg);
    return true;
}

Image readJpeg(std::FILE *file)
{
    Image image;
    JpegReader reader;
    if (!openJpeg(reader, file)) {
        image.error = reader.message;
        return image;
    }
    image.width = reader.jpeg.output_width;
    image.height = reader.jpeg.output_height;
    if (image.width > kLargestSide || image.height > kLargestSide) {
        image.error = "it is too large";
        return image;
    }
    const std::size_t stride = std::size_t{image.width} * 3;
    image.pixels.resize(stride * image.height);
    if (!readJpegRows(reader, image.pixels.data(), stride))
        image.error = reader.message;
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
