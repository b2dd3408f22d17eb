// Images as PNG and BMP files.
#pragma once

#include <string>

#include "output/FrameImage.h"

namespace nubrix::tool {

/// Writes an image as PNG and replaces an existing file. Throws a std::runtime_error that names the
/// file and the cause, and then leaves no file behind.
void writePng(const std::string &path, const Image &image);

/// Writes an image with 8-bit samples as a 24-bit bitmap; rows are padded to multiples of 4 bytes.
/// Throws a std::runtime_error that names the file and the cause.
void writeBmp(const std::string &path, const Image &image);

}  // namespace nubrix::tool
