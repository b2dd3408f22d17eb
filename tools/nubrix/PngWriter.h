// Pictures as PNG files.
#pragma once

#include <string>

#include "FrameImage.h"

namespace nubrix {

/// Writes pictures; each call writes one file.
class PngWriter {
public:
    /// Replaces the file if there is one. Throws a Failure that names the file and the cause, and
    /// then leaves no file behind.
    static void write(const std::string &path, const Image &image);
};

}  // namespace nubrix
