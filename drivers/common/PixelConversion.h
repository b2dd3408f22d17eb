// Conversions of camera formats to RGB888 by the library, for the frame converters of drivers.
#pragma once

#include <cstdint>

#include "nubrix/image.h"

namespace nubrix {

/// Writes width * height RGB888 pixels from YUYV; the width is even. Thread-safe.
inline void yuyvToRgb(const std::uint8_t *source, unsigned int width, unsigned int height,
                      std::uint8_t *rgb)
{
    // The library only reads the source, although it does not declare it const.
    YUV422ToRGB(rgb, const_cast<std::uint8_t *>(source), width, height);
}

/// Writes width * height RGB888 pixels from UYVY; the width is even. Thread-safe.
inline void uyvyToRgb(const std::uint8_t *source, unsigned int width, unsigned int height,
                      std::uint8_t *rgb)
{
    const unsigned int pixels = width * height;
    unsigned int consumed = 0;
    unsigned int produced = 3 * pixels;
    YUV422ToRGB888(source, rgb, 2 * pixels, &consumed, &produced);
}

}  // namespace nubrix
