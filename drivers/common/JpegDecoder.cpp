#include "common/JpegDecoder.h"

#include <time.h>

#include <jerror.h>

namespace nubrix {

namespace {

std::chrono::nanoseconds threadTime()
{
    timespec now = {};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

}  // namespace

// The library reports errors by longjmp, which runs no destructors: no object that needs one, and
// no local variable that changes, may live between setjmp and longjmp.

JpegDecoder::JpegDecoder(Damage damage, const Limits &limits)
    : m_damage(damage), m_limits(limits), m_end(threadTime() + limits.time)
{
    m_jpeg.err = jpeg_std_error(&m_errors);
    m_jpeg.client_data = this;
    m_errors.error_exit = &JpegDecoder::onError;
    m_errors.emit_message = &JpegDecoder::onMessage;
    m_errors.output_message = &JpegDecoder::onOutput;
    m_progress.progress_monitor = &JpegDecoder::onProgress;
}

bool JpegDecoder::readHeader(const std::uint8_t *jpeg, std::size_t bytes)
{
    if (setjmp(m_exit) != 0)  // NOLINT(cert-err52-cpp): the library offers no other way
        return false;
    jpeg_create_decompress(&m_jpeg);
    jpeg_mem_src(&m_jpeg, jpeg, static_cast<unsigned long>(bytes));
    return readHeader();
}

bool JpegDecoder::readHeader(std::FILE *file)
{
    if (setjmp(m_exit) != 0)  // NOLINT(cert-err52-cpp): the library offers no other way
        return false;
    jpeg_create_decompress(&m_jpeg);
    jpeg_stdio_src(&m_jpeg, file);
    return readHeader();
}

bool JpegDecoder::readHeader()
{
    m_jpeg.progress = &m_progress;  // jpeg_create_decompress has cleared it
    jpeg_read_header(&m_jpeg, TRUE);
    return true;
}

bool JpegDecoder::decode(std::uint8_t *rgb)
{
    if (setjmp(m_exit) != 0)  // NOLINT(cert-err52-cpp): the library offers no other way
        return false;
    return decodeRows(rgb);
}

bool JpegDecoder::decodeRows(std::uint8_t *rgb)
{
    m_jpeg.out_color_space = JCS_RGB;
    jpeg_start_decompress(&m_jpeg);
    const std::size_t stride = std::size_t{3} * m_jpeg.output_width;
    while (m_jpeg.output_scanline < m_jpeg.output_height) {
        JSAMPROW row = rgb + stride * m_jpeg.output_scanline;
        jpeg_read_scanlines(&m_jpeg, &row, 1);
    }
    jpeg_finish_decompress(&m_jpeg);
    return true;
}

void JpegDecoder::leave()
{
    std::longjmp(m_exit, 1);
}

void JpegDecoder::checkLimits()
{
    if (m_jpeg.input_scan_number > kMostScans) {
        std::snprintf(m_message, sizeof m_message, "it has more than %d scans", kMostScans);
    } else if (m_limits.stop != nullptr && *m_limits.stop) {
        std::snprintf(m_message, sizeof m_message, "it was given up");
    } else if (threadTime() > m_end) {
        std::snprintf(m_message, sizeof m_message, "it takes longer than %lld ms to decode",
                      static_cast<long long>(m_limits.time.count()));
    } else {
        return;
    }
    leave();
}

JpegDecoder &JpegDecoder::of(j_common_ptr jpeg)
{
    return *static_cast<JpegDecoder *>(jpeg->client_data);
}

void JpegDecoder::onError(j_common_ptr jpeg)
{
    jpeg->err->format_message(jpeg, of(jpeg).m_message);
    of(jpeg).leave();
}

void JpegDecoder::onMessage(j_common_ptr jpeg, int level)
{
    if (level >= 0)
        return;
    if (of(jpeg).m_damage == Damage::kRefused)
        onError(jpeg);
    // Many cameras put padding between the segments of an image, which damages nothing.
    if (jpeg->err->msg_code != JWRN_EXTRANEOUS_DATA)
        ++jpeg->err->num_warnings;
}

}  // namespace nubrix
