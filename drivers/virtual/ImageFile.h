// Reads image files.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace nubrix {

struct Image {
    unsigned int width = 0;
    unsigned int height = 0;
    std::vector<std::uint8_t> pixels;  ///< rows from top to bottom without padding
    std::string error;                 ///< what is wrong with the file; empty: nothing
};

/// A PNG of any kind or a JPEG (told apart by their content) as red, green, blue. 8-bit values are
/// those of the file: nothing is converted for the sake of a display. Thread-safe.
Image readColorImage(const std::string &path);

/// A 16-bit grey PNG as 16-bit values in the machine's byte order. Thread-safe.
Image readDepthImage(const std::string &path);

}  // namespace nubrix
