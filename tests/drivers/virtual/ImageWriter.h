// Writes image files for tests.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace nubrix {

/// Writes a PNG of 8 or 16 bits per sample; the rows hold samples without padding, 16-bit ones in
/// the machine's byte order. `colorType` is one of libpng's (2 RGB, 0 grey, 6 RGBA, 4 grey with
/// alpha).
void writePng(const std::string &path, unsigned int width, unsigned int height, int bitDepth,
              int colorType, const std::vector<std::uint8_t> &rows, bool interlaced = false);

/// Writes a PNG of one byte per pixel, an index into a palette of colours (three bytes each).
void writePalettePng(const std::string &path, unsigned int width, unsigned int height,
                     const std::vector<std::uint8_t> &rows,
                     const std::vector<std::uint8_t> &palette);

/// Writes a JPEG of the best quality without chroma subsampling; components 3 (RGB) or 1 (grey).
void writeJpeg(const std::string &path, unsigned int width, unsigned int height, int components,
               const std::vector<std::uint8_t> &rows);

/// Test images in which every pixel differs from its neighbours.
std::vector<std::uint8_t> colorPattern(unsigned int width, unsigned int height, unsigned int seed);
std::vector<std::uint8_t> depthPattern(unsigned int width, unsigned int height, unsigned int seed);

}  // namespace nubrix
