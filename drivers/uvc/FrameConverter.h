// The pixel formats that cameras offer, and their conversion to frames.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "nubrix/types.h"

namespace nubrix::uvc {

/// One format of the kernel's.
struct SourceFormat {
    std::uint32_t code;        ///< V4L2_PIX_FMT_...
    unsigned int streamType;   ///< the stream it is for
    unsigned int pixelFormat;  ///< what frames have
    bool passesThrough;        ///< frames have the very same bytes
    unsigned int rowBytes;     ///< of a pixel in a row (of the first plane), 0 for compressed ones
};

/// Nothing for a format that the driver does not know. Thread-safe.
const SourceFormat *findSourceFormat(std::uint32_t code);
/// Of two formats for the same stream the one with the smaller rank costs less. Thread-safe.
int rankOf(const SourceFormat &format);

/// Its colours are a second plane of half the height. Thread-safe.
bool hasPlanes(const SourceFormat &format);
/// Its pictures have no rows. Thread-safe.
bool isCompressed(const SourceFormat &format);

/// Bytes that a whole uncompressed picture of a camera has. Thread-safe.
std::size_t sourceBytes(const SourceFormat &format, std::size_t rowBytes, std::size_t height);

/// Whether a picture of a size can be: colours of two pixels, or of two rows, come together.
/// Thread-safe.
bool isSizeAllowed(const SourceFormat &format, unsigned int width, unsigned int height);

/// What came of a picture.
enum class Conversion {
    kComplete,
    kShort,     ///< pixels at the end are missing: 0
    kDamaged,   ///< pixels are guessed
    kUnusable,  ///< there is nothing to deliver
};

/// Converts the pictures of one mode of one node. Not thread-safe.
class FrameConverter {
public:
    /// `rowBytes`: from row to row in the source; 0 for compressed formats. `stop`, which may be
    /// null, ends a conversion that takes long when it is set on another thread.
    FrameConverter(const SourceFormat &format, unsigned int width, unsigned int height,
                   std::size_t rowBytes, const std::atomic<bool> *stop = nullptr);

    /// Of a frame.
    std::size_t frameBytes() const { return m_frameBytes; }
    /// Frames have the very bytes of the source.
    bool passesThrough() const;

    /// Writes frameBytes() to `frame`.
    Conversion convert(const std::uint8_t *source, std::size_t bytes, std::uint8_t *frame);
    /// Why the last frame could not be converted; empty when that is plain.
    const std::string &fault() const { return m_fault; }

private:
    Conversion decodeJpeg(const std::uint8_t *source, std::size_t bytes, std::uint8_t *frame);
    /// The source without gaps between its rows.
    const std::uint8_t *packed(const std::uint8_t *source, std::size_t rows);
    void convertRows(const std::uint8_t *source, std::size_t rows, std::uint8_t *frame);
    /// The same of an NV12 picture, as an NV21 picture.
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
