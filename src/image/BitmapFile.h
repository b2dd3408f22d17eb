// Writes 24-bit bitmap files.
#pragma once

#include <string>

#include "nubrix/types.h"

namespace nubrix {

/// Writes an RGB888 frame as a bitmap: a header of 54 bytes, then the rows from the last to the
/// first in blue, green, red order, not padded (so other programs read widths that are multiples of
/// 4). False when the file cannot be opened or written. Thread-safe.
bool writeBitmap(const std::string &path, const typedefNubrixFrame &frame);

/// A file name of the local time, "20240105090307.bmp".
std::string bitmapNameOfNow();

}  // namespace nubrix
