// Decodes the pictures of a motion JPEG stream.
#pragma once

#include <cstddef>
#include <cstdint>

namespace nubrix {

enum class Decoded {
    kWhole,    ///< every pixel is there
    kDamaged,  ///< some pixels are guessed
    kNothing,  ///< no picture of that size could be made of it
};

/// Writes width * height RGB888 pixels. Takes pictures without Huffman tables, as cameras send
/// them. Thread-safe.
Decoded decodeJpeg(const std::uint8_t *jpeg, std::size_t bytes, std::uint8_t *rgb,
                   unsigned int width, unsigned int height);

}  // namespace nubrix
