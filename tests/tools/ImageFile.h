// Image files, read and written by the image libraries without the code of the tool.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace nubrix {

struct ImageFile {
    unsigned int width = 0;
    unsigned int height = 0;
    unsigned int channels = 0;           // 0: the file could not be read
    unsigned int bits = 0;               // of a sample
    std::vector<std::uint16_t> samples;  // as in the file, row by row

    bool isRgb8() const { return channels == 3 && bits == 8; }
    bool isGrey8() const { return channels == 1 && bits == 8; }
    bool isGrey16() const { return channels == 1 && bits == 16; }
    bool operator==(const ImageFile &) const = default;
};

/// Reads a PNG or, by its name, a JPEG file.
ImageFile readImage(const std::string &path);

void writePng(const std::string &path, const ImageFile &image);
void writeJpeg(const std::string &path, const ImageFile &image);

}  // namespace nubrix
