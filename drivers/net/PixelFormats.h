// The pixel formats of network cameras and the formats of their frames.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace nubrix::net {

/// How the bytes of the pixels are arranged.
enum class Layout {
    kDepth,   ///< 16-bit counts along the optical axis
    kPlain,   ///< the same as in frames
    kBgr,     ///< 3 bytes: blue, green, red
    kYuyv,    ///< Y0 U Y1 V
    kUyvy,    ///< U Y0 V Y1
    kMosaic,  ///< one byte per pixel, of one colour
};

/// One format of the GenICam standard, for one stream.
struct PixelFormat {
    std::uint32_t code;
    const char *name;
    unsigned int streamType;
    unsigned int pixelFormat;  ///< of the frames
    Layout layout;
    unsigned int bytes;  ///< per pixel
    int redX;            ///< where red is within the 2x2 pattern of a mosaic
    int redY;
};

/// The format of a code for a stream; null when the stream cannot have it. Thread-safe.
const PixelFormat *findPixelFormat(std::uint32_t code, unsigned int streamType);
/// The same for the name of a format. Thread-safe.
const PixelFormat *findPixelFormat(const std::string &name, unsigned int streamType);

/// The name of a code in the standard, or the code as a number when it is unknown. Thread-safe.
std::string nameOfPixelFormat(std::uint32_t code);

/// The smaller, the better is the format for its stream. Thread-safe.
std::ptrdiff_t rankOf(const PixelFormat &format);

}  // namespace nubrix::net
