// Writes image files for tests.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace nubrix {

/// A PNG of 8 or 16 bits a sample; the rows hold samples without padding, 16-bit ones in the
/// machine's order. `colorType` is one of libpng's (2 RGB, 0 grey, 6 RGBA, 4 grey with alpha).
void writePng(const std::string &path, unsigned int width, unsigned int height, int bitDepth,
              int colorType, const std::vector<std::uint8_t> &rows, bool interlaced = false);

/// A PNG of one byte a pixel that stands for a colour of a palette (three bytes each).
void writePalettePng(const std::string &path, unsigned int width, unsigned int height,
                     const std::vector<std::uint8_t> &rows,
                     const std::vector<std::uint8_t> &palette);

/// A JPEG of the best quality without colour subsampling; components 3 (RGB) or 1 (grey).
void writeJpeg(const std::string &path, unsigned int width, unsigned int height, int components,
               const std::vector<std::uint8_t> &rows);

/// Test pictures that tell every pixel from its neighbours.
std::vector<std::uint8_t> colorPattern(unsigned int width, unsigned int height, unsigned int seed);
std::vector<std::uint8_t> depthPattern(unsigned int width, unsigned int height, unsigned int seed);

}  // namespace nubrix
