#include "virtual/FirmwareImage.h"

#include <zlib.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

namespace nubrix {

namespace {

constexpr char kMagic[] = "NUBRIXFW";

std::uint32_t numberAt(const std::vector<std::uint8_t> &bytes, std::size_t at, unsigned int size)
{
    std::uint32_t number = 0;
    for (unsigned int i = 0; i < size; ++i)
        number |= std::uint32_t{bytes[at + i]} << (8U * i);
    return number;
}

}  // namespace

std::string FirmwareImage::versionText(const std::array<unsigned short, 3> &version)
{
    return std::to_string(version[0]) + "." + std::to_string(version[1]) + "." +
           std::to_string(version[2]);
}

std::uint32_t FirmwareImage::crcOf(const std::vector<std::uint8_t> &bytes)
{
    return static_cast<std::uint32_t>(
        crc32(0, bytes.data(), static_cast<unsigned int>(bytes.size())));
}

std::variant<FirmwareImage, std::string> FirmwareImage::read(const std::string &path)
{
    const auto wrong = [&path](const std::string &what) { return "\"" + path + "\" " + what; };
    std::error_code error;
    const std::uintmax_t length = std::filesystem::file_size(path, error);
    if (error)
        return wrong("cannot be read: " + error.message());
    if (length > kHeaderBytes + kMostBytes)
        return wrong("is no firmware image: it is larger than 64 MiB");
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(length));
    std::ifstream file(path, std::ios::binary);
    if (!file.read(reinterpret_cast<char *>(bytes.data()), static_cast<std::streamsize>(length)))
        return wrong("cannot be read: " + std::generic_category().message(errno));
    if (bytes.size() < kHeaderBytes || std::memcmp(bytes.data(), kMagic, 8) != 0)
        return wrong("is no firmware image");
    const std::uint32_t size = numberAt(bytes, 16, 4);
    if (numberAt(bytes, 14, 2) != 0 || numberAt(bytes, 24, 4) != 0 || numberAt(bytes, 28, 4) != 0)
        return wrong("has a header of an unknown kind");
    if (size == 0 || size != bytes.size() - kHeaderBytes) {
        return wrong("should hold " + std::to_string(size) + " bytes of firmware, and holds " +
                     std::to_string(bytes.size() - kHeaderBytes));
    }
    FirmwareImage image;
    for (unsigned int i = 0; i < 3; ++i)
        image.version[i] = static_cast<unsigned short>(numberAt(bytes, 8 + 2 * i, 2));
    image.crc = numberAt(bytes, 20, 4);
    image.firmware.assign(std::next(bytes.begin(), kHeaderBytes), bytes.end());
    if (crcOf(image.firmware) != image.crc)
        return wrong("is damaged: its checksum does not match");
    return image;
}

}  // namespace nubrix
