#include "uvc/FrameConverter.h"

#include <linux/videodev2.h>
#include <algorithm>
#include <cstring>
#include <iterator>

#include "common/JpegDecoder.h"
#include "common/ModeTable.h"
#include "common/PixelConversion.h"
#include "nubrix/image.h"
#include "nubrix/types.h"

namespace nubrix::uvc {

namespace {

// The formats of one stream are in order of cost, the cheapest first.
constexpr SourceFormat kFormats[] = {
    {V4L2_PIX_FMT_Z16, NUBRIX_STREAM_DEPTH, NUBRIX_PIXEL_DEPTH_14_2, false, 2},
    {V4L2_PIX_FMT_RGB24, NUBRIX_STREAM_COLOR, NUBRIX_PIXEL_RGB888, true, 3},
    {V4L2_PIX_FMT_YUYV, NUBRIX_STREAM_COLOR, NUBRIX_PIXEL_RGB888, false, 2},
    {V4L2_PIX_FMT_UYVY, NUBRIX_STREAM_COLOR, NUBRIX_PIXEL_RGB888, false, 2},
    {V4L2_PIX_FMT_NV21, NUBRIX_STREAM_COLOR, NUBRIX_PIXEL_RGB888, false, 1},
    {V4L2_PIX_FMT_NV12, NUBRIX_STREAM_COLOR, NUBRIX_PIXEL_RGB888, false, 1},
    {V4L2_PIX_FMT_MJPEG, NUBRIX_STREAM_COLOR, NUBRIX_PIXEL_RGB888, false, 0},
    {V4L2_PIX_FMT_JPEG, NUBRIX_STREAM_COLOR, NUBRIX_PIXEL_RGB888, false, 0},
    {V4L2_PIX_FMT_GREY, NUBRIX_STREAM_IR, NUBRIX_PIXEL_GREY8, true, 1},
    {V4L2_PIX_FMT_Y16, NUBRIX_STREAM_IR, NUBRIX_PIXEL_GREY16, true, 2},
    {V4L2_PIX_FMT_Y10, NUBRIX_STREAM_IR, NUBRIX_PIXEL_GREY16, true, 2},
};

constexpr std::chrono::milliseconds kLongestDecoding{
    3000};                                             // a camera is unresponsive after that time
constexpr unsigned int kLargestDepthMm = 0xffff >> 2;  // with two bits after the point

/// Whole millimetres, little-endian, to 14.2 fixed point.
void convertDepth(const std::uint8_t *source, std::size_t pixels, std::uint8_t *frame)
{
    for (std::size_t i = 0; i < pixels; ++i) {
        std::uint16_t depth = 0;
        std::memcpy(&depth, source + 2 * i, sizeof depth);
        depth = depth > kLargestDepthMm ? std::uint16_t{0} : static_cast<std::uint16_t>(depth << 2);
        std::memcpy(frame + 2 * i, &depth, sizeof depth);
    }
}

/// Ignores a row size that cannot be right: padding between rows is small.
std::size_t checkedRowBytes(std::size_t reported, std::size_t minimum)
{
    return reported < minimum || reported > 8 * minimum ? minimum : reported;
}

}  // namespace

const SourceFormat *findSourceFormat(std::uint32_t code)
{
    const auto *found =
        std::find_if(std::begin(kFormats), std::end(kFormats),
                     [&](const SourceFormat &format) { return format.code == code; });
    return found == std::end(kFormats) ? nullptr : found;
}

int rankOf(const SourceFormat &format)
{
    return static_cast<int>(findSourceFormat(format.code) - std::begin(kFormats));
}

bool hasPlanes(const SourceFormat &format)
{
    return format.code == V4L2_PIX_FMT_NV12 || format.code == V4L2_PIX_FMT_NV21;
}

bool isCompressed(const SourceFormat &format)
{
    return format.rowBytes == 0;
}

bool isSizeAllowed(const SourceFormat &format, unsigned int width, unsigned int height)
{
    const bool inPairs =
        hasPlanes(format) || format.code == V4L2_PIX_FMT_YUYV || format.code == V4L2_PIX_FMT_UYVY;
    return !(inPairs && width % 2 != 0) && !(hasPlanes(format) && height % 2 != 0);
}

std::size_t sourceBytes(const SourceFormat &format, std::size_t rowBytes, std::size_t height)
{
    if (hasPlanes(format))
        return rowBytes * height + rowBytes * (height / 2);
    return rowBytes * height;
}

FrameConverter::FrameConverter(const SourceFormat &format, unsigned int width, unsigned int height,
                               std::size_t rowBytes, const std::atomic<bool> *stop)
    : m_format(format),
      m_width(width),
      m_height(height),
      m_rowBytes(checkedRowBytes(rowBytes, std::size_t{width} * format.rowBytes)),
      m_expected(isCompressed(format) ? 0 : sourceBytes(format, m_rowBytes, height)),
      m_frameBytes(std::size_t{width} * height * pixelBytes(format.pixelFormat)),
      m_stop(stop)
{
}

bool FrameConverter::passesThrough() const
{
    return m_format.passesThrough && m_rowBytes == std::size_t{m_width} * m_format.rowBytes;
}

Conversion FrameConverter::convert(const std::uint8_t *source, std::size_t bytes,
                                   std::uint8_t *frame)
{
    m_fault.clear();
    if (bytes == 0)
        return Conversion::kUnusable;
    if (isCompressed(m_format))
        return decodeJpeg(source, bytes, frame);
    const bool complete = bytes >= m_expected;
    if (hasPlanes(m_format)) {
        // The colours come last: without them no row can be converted.
        if (!complete)
            return Conversion::kUnusable;
        convertPlanes(source, frame);
        return Conversion::kComplete;
    }
    const std::size_t rows = complete ? m_height : bytes / m_rowBytes;
    convertRows(source, rows, frame);
    const std::size_t written = m_frameBytes / m_height * rows;
    std::memset(frame + written, 0, m_frameBytes - written);
    return complete ? Conversion::kComplete : Conversion::kShort;
}

Conversion FrameConverter::decodeJpeg(const std::uint8_t *source, std::size_t bytes,
                                      std::uint8_t *frame)
{
    JpegDecoder decoder(JpegDecoder::Damage::kTolerated, {kLongestDecoding, m_stop});
    bool done = decoder.readHeader(source, bytes);
    if (done && (decoder.width() != m_width || decoder.height() != m_height)) {
        m_fault = "it has " + std::to_string(decoder.width()) + "x" +
                  std::to_string(decoder.height()) + " pixels";
        return Conversion::kUnusable;
    }
    done = done && decoder.decode(frame);
    m_fault = decoder.error();
    if (!done)
        return Conversion::kUnusable;
    return decoder.isDamaged() ? Conversion::kDamaged : Conversion::kComplete;
}

const std::uint8_t *FrameConverter::packed(const std::uint8_t *source, std::size_t rows)
{
    const std::size_t tight = std::size_t{m_width} * m_format.rowBytes;
    if (tight == m_rowBytes)
        return source;
    m_scratch.resize(tight * rows);
    for (std::size_t y = 0; y < rows; ++y)
        std::memcpy(m_scratch.data() + tight * y, source + m_rowBytes * y, tight);
    return m_scratch.data();
}

void FrameConverter::convertRows(const std::uint8_t *source, std::size_t rows, std::uint8_t *frame)
{
    if (rows == 0)
        return;
    const std::size_t pixels = rows * m_width;
    const std::uint8_t *pixel = packed(source, rows);
    const auto height = static_cast<unsigned int>(rows);
    switch (m_format.code) {
        case V4L2_PIX_FMT_Z16:
            convertDepth(pixel, pixels, frame);
            break;
        case V4L2_PIX_FMT_YUYV:
            yuyvToRgb(pixel, m_width, height, frame);
            break;
        case V4L2_PIX_FMT_UYVY:
            uyvyToRgb(pixel, m_width, height, frame);
            break;
        default:
            std::memcpy(frame, pixel, pixels * m_format.rowBytes);
    }
}

void FrameConverter::convertPlanes(const std::uint8_t *source, std::uint8_t *frame)
{
    const std::size_t rows = m_height + m_height / 2;
    // The conversion only reads the planes, although it does not declare them const.
    auto *planes = const_cast<std::uint8_t *>(
        m_format.code == V4L2_PIX_FMT_NV21 ? packed(source, rows) : swapped(source, rows));
    YUVNV21ToRGB888(frame, planes, static_cast<int>(m_width), static_cast<int>(m_height));
}

const std::uint8_t *FrameConverter::swapped(const std::uint8_t *source, std::size_t rows)
{
    m_scratch.resize(m_width * rows);
    for (std::size_t y = 0; y < rows; ++y) {
        const std::uint8_t *row = source + m_rowBytes * y;
        std::uint8_t *out = m_scratch.data() + std::size_t{m_width} * y;
        if (y < m_height) {
            std::memcpy(out, row, m_width);
            continue;
        }
        for (std::size_t x = 0; x + 1 < m_width; x += 2) {
            out[x] = row[x + 1];
            out[x + 1] = row[x];
        }
    }
    return m_scratch.data();
}

}  // namespace nubrix::uvc
