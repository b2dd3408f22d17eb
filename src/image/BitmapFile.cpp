#include "image/BitmapFile.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <memory>
#include <vector>

#include "base/LittleEndian.h"

namespace nubrix {

namespace {

constexpr std::uint32_t kHeaderSize = 54;
constexpr std::uint32_t kInfoSize = 40;

struct CloseFile {
    void operator()(std::FILE *file) const { std::fclose(file); }
};

std::array<unsigned char, kHeaderSize> bitmapHeader(const typedefNubrixFrame &frame,
                                                    std::uint32_t pixelBytes)
{
    std::array<unsigned char, kHeaderSize> header = {};  // what is not written stays 0
    LittleEndianWriter out(header.data());
    out.put16(0x4d42);
    out.put32(pixelBytes + kHeaderSize);
    out.put32(0);
    out.put32(kHeaderSize);
    out.put32(kInfoSize);
    out.put32(static_cast<std::uint32_t>(frame.width));
    out.put32(static_cast<std::uint32_t>(frame.height));
    out.put16(1);
    out.put16(24);
    out.put32(0);
    out.put32(pixelBytes);
    return header;
}

void swapRow(const unsigned char *rgb, unsigned char *bgr, std::size_t bytes)
{
    for (std::size_t i = 0; i < bytes; i += 3) {
        bgr[i] = rgb[i + 2];
        bgr[i + 1] = rgb[i + 1];
        bgr[i + 2] = rgb[i];
    }
}

}  // namespace

bool writeBitmap(const std::string &path, const typedefNubrixFrame &frame)
{
    const auto rowBytes = static_cast<std::size_t>(frame.width) * 3;
    std::vector<unsigned char> bgr(rowBytes);  // before the file, which is not lost when it throws
    std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.c_str(), "wb"));
    if (!file)
        return false;
    const auto rows = static_cast<std::size_t>(frame.height);
    const auto header = bitmapHeader(frame, static_cast<std::uint32_t>(rowBytes * rows));
    std::fwrite(header.data(), 1, header.size(), file.get());
    const auto *const pixels = static_cast<const unsigned char *>(frame.data);
    for (std::size_t row = rows; row-- > 0;) {
        swapRow(pixels + row * rowBytes, bgr.data(), rowBytes);
        std::fwrite(bgr.data(), 1, bgr.size(), file.get());
    }
    const bool written = std::ferror(file.get()) == 0;
    return std::fclose(file.release()) == 0 && written;
}

std::string bitmapNameOfNow()
{
    const std::time_t now = std::time(nullptr);
    tm local = {};
    localtime_r(&now, &local);
    char name[128];
    std::snprintf(name, sizeof(name), "%d%02d%02d%02d%02d%02d.bmp", local.tm_year + 1900,
                  local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
    return name;
}

}  // namespace nubrix
