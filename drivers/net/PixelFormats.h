// The pixel formats that network cameras send and what becomes of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace nubrix::net {

/// How the pixels of a format lie.
enum class Layout {
    kDepth,   ///< 16-bit counts along the axis of view
    kPlain,   ///< as frames have them
    kBgr,     ///< 3 bytes: blue, green, red
    kYuyv,    ///< Y0 U Y1 V
    kUyvy,    ///< U Y0 V Y1
    kMosaic,  ///< one byte a pixel, of one colour
};

/// One format of the GenICam standard, for one stream.
struct PixelFormat {
    std::uint32_t code;
    const char *name;
    unsigned int streamType;
    unsigned int pixelFormat;  ///< what frames have
    Layout layout;
    unsigned int bytes;  ///< of a pixel
    int redX;            ///< where red is in the first two pixels of the first two rows of a mosaic
    int redY;
};

/// The format of a code for a stream; nothing when the stream cannot be had of it. Thread-safe.
const PixelFormat *findPixelFormat(std::uint32_t code, unsigned int streamType);
/// Of a name. Thread-safe.
const PixelFormat *findPixelFormat(const std::string &name, unsigned int streamType);

/// The name of a code in the standard, or the code itself when it is not known here. Thread-safe.
std::string nameOfPixelFormat(std::uint32_t code);

/// Of two formats for the same stream the one with the smaller rank is the better. Thread-safe.
std::ptrdiff_t rankOf(const PixelFormat &format);

}  // namespace nubrix::net
