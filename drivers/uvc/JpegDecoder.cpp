#include "uvc/JpegDecoder.h"

#include <csetjmp>
#include <cstdio>
// Both need FILE.
#include <jpeglib.h>

#include <jerror.h>

namespace nubrix {

namespace {

struct Exit {
    std::jmp_buf where;
};

void leaveDecoder(j_common_ptr decoder)
{
    std::longjmp(static_cast<Exit *>(decoder->client_data)->where, 1);
}

void countWarning(j_common_ptr decoder, int level)
{
    // Many cameras fill up between the parts of a picture; nothing is spoilt by that.
    if (level < 0 && decoder->err->msg_code != JWRN_EXTRANEOUS_DATA)
        ++decoder->err->num_warnings;
}

void sayNothing(j_common_ptr /*decoder*/)
{
}

// Between setjmp and longjmp nothing may need a destructor, and nothing local may change.
bool decodeRows(jpeg_decompress_struct &decoder, Exit &exit, const std::uint8_t *jpeg,
                std::size_t bytes, std::uint8_t *rgb, unsigned int width, unsigned int height)
{
    if (setjmp(exit.where) != 0)  // NOLINT(cert-err52-cpp): the library knows no other way
        return false;
    jpeg_create_decompress(&decoder);
    jpeg_mem_src(&decoder, jpeg, static_cast<unsigned long>(bytes));
    jpeg_read_header(&decoder, TRUE);
    if (decoder.image_width != width || decoder.image_height != height)
        return false;
    decoder.out_color_space = JCS_RGB;
    jpeg_start_decompress(&decoder);
    while (decoder.output_scanline < height) {
        JSAMPROW row = rgb + std::size_t{3} * width * decoder.output_scanline;
        jpeg_read_scanlines(&decoder, &row, 1);
    }
    jpeg_finish_decompress(&decoder);
    return true;
}

}  // namespace

Decoded decodeJpeg(const std::uint8_t *jpeg, std::size_t bytes, std::uint8_t *rgb,
                   unsigned int width, unsigned int height)
{
    jpeg_error_mgr errors = {};
    Exit exit = {};
    jpeg_decompress_struct decoder = {};
    decoder.err = jpeg_std_error(&errors);
    decoder.client_data = &exit;
    errors.error_exit = leaveDecoder;
    errors.emit_message = countWarning;
    errors.output_message = sayNothing;
    const bool done = bytes != 0 && decodeRows(decoder, exit, jpeg, bytes, rgb, width, height);
    const bool warned = errors.num_warnings != 0;
    jpeg_destroy_decompress(&decoder);
    if (!done)
        return Decoded::kNothing;
    return warned ? Decoded::kDamaged : Decoded::kWhole;
}

}  // namespace nubrix
