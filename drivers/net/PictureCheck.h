// Whether a picture is what a camera was asked for.
#pragma once

#include <cstddef>
#include <string>

#include "net/GLibPtr.h"
#include "net/PixelFormats.h"
#include "nubrix/types.h"

namespace nubrix::net {

enum class Fault {
    kNone,
    kGaps,       ///< not all of it came, and its shape is not known
    kLost,       ///< given up
    kMisshapen,  ///< of another size or format, of several parts, with gaps between its rows
};

/// `bytes` are those of a whole picture. Not thread-safe.
Fault faultOf(ArvBuffer &buffer, const PixelFormat &format, const typedefNubrixFrameMode &mode,
              std::size_t bytes);

/// What a misshapen picture is: "640x480 Mono8 in 307200 bytes", "of several parts". Not
/// thread-safe.
std::string shapeOf(ArvBuffer &buffer);

}  // namespace nubrix::net
