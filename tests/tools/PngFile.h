// Reads a PNG file back, independently of the code that wrote it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace nubrix {

struct PngFile {
    unsigned int width = 0;
    unsigned int height = 0;
    int colourType = -1;  // of libpng; -1: it could not be read
    int bits = 0;
    std::vector<std::uint16_t> samples;  // as in the file, row by row

    bool isRgb8() const;
    bool isGrey8() const;
    bool isGrey16() const;
};

PngFile readPng(const std::string &path);

}  // namespace nubrix
