// What the library should deliver of the software camera's pictures.
#pragma once

#include <nubrix/nubrix.h>

#include <string>

#include "../camera/Picture.h"

namespace nubrix::vm {

struct Kind {
    unsigned int streamType;
    unsigned int pixelFormat;  // as the library delivers it
    PixelFormat source;        // as it leaves the camera
};

/// The stream "depth", "color" or "ir" of a camera with this set of formats. Throws
/// std::runtime_error when there is none.
Kind kindOf(const std::string &stream, const std::string &formats);

/// Nothing when the frame is the picture of its own index, byte for byte; else what is wrong.
std::string difference(const Kind &kind, PictureSize size, const typedefNubrixFrame &frame);

}  // namespace nubrix::vm
