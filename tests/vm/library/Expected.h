// What the library should deliver of the software camera's frames.
#pragma once

#include <nubrix/nubrix.h>

#include <string>

#include "../camera/FrameContent.h"

namespace nubrix::vm {

struct Kind {
    unsigned int streamType;
    unsigned int pixelFormat;  // as the library delivers it
    PixelFormat source;        // as it leaves the camera
};

/// The stream "depth", "color" or "ir" of a camera with this set of formats. Throws
/// std::runtime_error when there is none.
Kind kindOf(const std::string &stream, const std::string &formats);

/// Empty when every byte of the frame is that of its index; else what is wrong.
std::string difference(const Kind &kind, FrameSize size, const typedefNubrixFrame &frame);

}  // namespace nubrix::vm
