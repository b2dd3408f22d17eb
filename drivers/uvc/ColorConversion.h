// From the pixels of colour cameras to RGB888. All images are without gaps between their rows, and
// of even width.
#pragma once

#include <cstdint>

namespace nubrix {

/// Y0 U Y1 V for two pixels. Thread-safe.
void yuyvToRgb(const std::uint8_t *yuyv, std::uint8_t *rgb, unsigned int width,
               unsigned int height);
/// U Y0 V Y1 for two pixels. Thread-safe.
void uyvyToRgb(const std::uint8_t *uyvy, std::uint8_t *rgb, unsigned int width,
               unsigned int height);
/// A plane of Y, then at half size pairs of V and U. Thread-safe.
void nv21ToRgb(const std::uint8_t *nv21, std::uint8_t *rgb, unsigned int width,
               unsigned int height);

}  // namespace nubrix
