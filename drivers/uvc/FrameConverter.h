// The pixel formats that cameras offer, and their conversion to frames.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "nubrix/types.h"

namespace nubrix::uvc {

/// A pixel format of the kernel.
struct SourceFormat {
    std::uint32_t code;        ///< V4L2_PIX_FMT_...
    unsigned int streamType;   ///< the stream that has it
    unsigned int pixelFormat;  ///< of the frames
    bool passesThrough;        ///< frames have the same bytes
    unsigned int
        rowBytes;  ///< bytes of a pixel in a row (of the first plane), 0 for compressed formats
};

/// The format of a V4L2 code; null when the driver does not know it. Thread-safe.
const SourceFormat *findSourceFormat(std::uint32_t code);
/// Of two formats for the same stream, the one with the smaller rank costs less. Thread-safe.
int rankOf(const SourceFormat &format);

/// Whether the colours are a second plane of half the height. Thread-safe.
bool hasPlanes(const SourceFormat &format);
/// Whether the format is compressed, so that images have no rows. Thread-safe.
bool isCompressed(const SourceFormat &format);

/// Bytes of a complete uncompressed image. Thread-safe.
std::size_t sourceBytes(const SourceFormat &format, std::size_t rowBytes, std::size_t height);

/// Whether images of a size can exist: formats that share colours between two columns or rows need
/// even sizes. Thread-safe.
bool isSizeAllowed(const SourceFormat &format, unsigned int width, unsigned int height);

/// The result of a conversion.
enum class Conversion {
    kComplete,
    kShort,     ///< pixels at the end are missing and set to 0
    kDamaged,   ///< pixels are guessed
    kUnusable,  ///< no frame can be delivered
};

/// Converts the images of one mode of one node to frames. Not thread-safe.
class FrameConverter {
public:
    /// `rowBytes`: distance of rows in the source; 0 for compressed formats. `stop`, which may be
    /// null, ends a long conversion when another thread sets it.
    FrameConverter(const SourceFormat &format, unsigned int width, unsigned int height,
                   std::size_t rowBytes, const std::atomic<bool> *stop = nullptr);

    /// Bytes of a frame.
    std::size_t frameBytes() const { return m_frameBytes; }
    /// Whether frames have the same bytes as the source.
    bool passesThrough() const;

    /// Writes frameBytes() to `frame`.
    Conversion convert(const std::uint8_t *source, std::size_t bytes, std::uint8_t *frame);
    /// Why the last image could not be converted; empty when the reason is obvious.
    const std::string &fault() const { return m_fault; }

private:
    Conversion decodeJpeg(const std::uint8_t *source, std::size_t bytes, std::uint8_t *frame);
    /// The source without padding between its rows.
    const std::uint8_t *packed(const std::uint8_t *source, std::size_t rows);
    void convertRows(const std::uint8_t *source, std::size_t rows, std::uint8_t *frame);
    /// As packed, of an NV12 image, with the order of colours of NV21.
    const std::uint8_t *swapped(const std::uint8_t *source, std::size_t rows);
    void convertPlanes(const std::uint8_t *source, std::uint8_t *frame);

    const SourceFormat m_format;
    const unsigned int m_width;
    const unsigned int m_height;
    const std::size_t m_rowBytes;
    const std::size_t m_expected;
    const std::size_t m_frameBytes;
    const std::atomic<bool> *const m_stop;
    std::string m_fault;
    std::vector<std::uint8_t> m_scratch;
};

}  // namespace nubrix::uvc
