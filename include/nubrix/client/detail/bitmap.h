// Writes a colour frame as a 24-bit bitmap, as NubrixBaseContext::takePhoto does, which cannot
// choose the camera.
#pragma once

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "nubrix/client/frame.h"
#include "nubrix/image.h"

namespace nubrix {
namespace client {
namespace detail {

inline constexpr std::size_t kBitmapHeaderBytes = 54;

inline std::array<unsigned char, kBitmapHeaderBytes> bitmapHeader(const Image<RGB888Pixel> &image)
{
    std::array<unsigned char, kBitmapHeaderBytes> header{};
    const auto put32 = [&header](std::size_t at, std::size_t value) {
        for (std::size_t i = 0; i < 4; ++i)
            header[at + i] = static_cast<unsigned char>(value >> (8 * i) & 0xFF);
    };
    const std::size_t pixelBytes = image.bytesPerRow * static_cast<std::size_t>(image.height);
    header[0] = 'B';
    header[1] = 'M';
    put32(2, kBitmapHeaderBytes + pixelBytes);
    put32(10, kBitmapHeaderBytes);
    put32(14, 40);  // bytes of the description that follows
    put32(18, static_cast<std::size_t>(image.width));
    put32(22, static_cast<std::size_t>(image.height));
    header[26] = 1;   // plane
    header[28] = 24;  // bits of a pixel
    put32(34, pixelBytes);
    return header;
}

inline bool writePixels(std::FILE *file, const Image<RGB888Pixel> &image)
{
    std::vector<unsigned char> line(image.bytesPerRow);
    for (int y = image.height; y-- > 0;) {  // from bottom to top
        unsigned char *out = line.data();
        for (int x = 0; x < image.width; ++x) {
            const RGB888Pixel &pixel = image(x, y);
            *out++ = pixel.b;
            *out++ = pixel.g;
            *out++ = pixel.r;
        }
        if (std::fwrite(line.data(), 1, line.size(), file) != line.size())
            return false;
    }
    return true;
}

inline void writeBitmap(const std::string &path, const Frame &frame)
{
    const Image<RGB888Pixel> image = frame.image<RGB888Pixel>();
    const auto header = bitmapHeader(image);
    std::unique_ptr<std::FILE, int (*)(std::FILE *)> file(std::fopen(path.c_str(), "wb"),
                                                          &std::fclose);
    const bool written =
        file && std::fwrite(header.data(), 1, header.size(), file.get()) == header.size() &&
        writePixels(file.get(), image);
    if (written && std::fclose(file.release()) == 0)
        return;
    const std::string cause = std::error_code(errno, std::generic_category()).message();
    fail("photo", -4, 0,
         "photo (" + path + "): the file cannot be written: " + cause + "; choose another path");
}

}  // namespace detail
}  // namespace client
}  // namespace nubrix
