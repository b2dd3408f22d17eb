// The pixel formats that cameras offer and what becomes of them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace nubrix {

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
bool isPossible(const SourceFormat &format, unsigned int width, unsigned int height);

}  // namespace nubrix
