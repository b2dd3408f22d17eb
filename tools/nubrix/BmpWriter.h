// Pictures as bitmap files that any program reads.
#pragma once

#include <string>

#include "FrameImage.h"

namespace nubrix {

/// Writes a picture with samples of 8 bits as a 24-bit bitmap; its rows are padded to multiples of
/// 4 bytes. Throws a Failure that names the file and the cause.
void writeBmp(const std::string &path, const Image &image);

}  // namespace nubrix
