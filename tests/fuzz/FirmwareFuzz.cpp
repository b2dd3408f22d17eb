// Any bytes at all as a firmware image: what is accepted is valid, and nothing else is refused.
#include <cstring>
#include <string>
#include <string_view>
#include <variant>

#include "tests/fuzz/FuzzTarget.h"
#include "tests/fuzz/MemoryFile.h"
#include "virtual/VirtualUpgrade.h"

namespace nubrix::virtual_camera {
namespace {

constexpr std::size_t kHeader = 32;

std::uint32_t byteAt(const std::string &bytes, std::size_t at)
{
    return static_cast<unsigned char>(bytes[at]);
}

std::uint32_t wordAt(const std::string &bytes, std::size_t at)
{
    return byteAt(bytes, at) | byteAt(bytes, at + 1) << 8U | byteAt(bytes, at + 2) << 16U |
           byteAt(bytes, at + 3) << 24U;
}

void putWord(std::string &bytes, std::size_t at, std::uint32_t word)
{
    for (unsigned int i = 0; i < 4; ++i)
        bytes[at + i] = static_cast<char>(word >> (8U * i));
}

/// Bit by bit, and not with the library that the driver uses.
std::uint32_t crcOf(std::string_view bytes)
{
    std::uint32_t crc = ~0U;
    for (const char byte : bytes) {
        crc ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1U) ^ ((crc & 1U) != 0 ? 0xedb88320U : 0U);
    }
    return ~crc;
}

bool isSound(const std::string &bytes)
{
    return bytes.size() > kHeader && bytes.compare(0, 8, "NUBRIXFW") == 0 && bytes[14] == 0 &&
           bytes[15] == 0 && wordAt(bytes, 16) == bytes.size() - kHeader &&
           wordAt(bytes, 24) == 0 && wordAt(bytes, 28) == 0 &&
           wordAt(bytes, 20) == crcOf(std::string_view(bytes).substr(kHeader));
}

void check(const std::string &bytes)
{
    const MemoryFile file(bytes);
    const auto read = FirmwareImage::read(file.path());
    require(std::holds_alternative<FirmwareImage>(read) == isSound(bytes),
            "sound images and no others are accepted");
    if (const auto *wrong = std::get_if<std::string>(&read)) {
        require(wrong->rfind("\"" + std::string(file.path()) + "\" ", 0) == 0,
                "what is wrong begins with the path");
        return;
    }
    const auto &image = std::get<FirmwareImage>(read);
    require(
        image.firmware.size() == bytes.size() - kHeader &&
            std::memcmp(image.firmware.data(), bytes.data() + kHeader, image.firmware.size()) == 0,
        "the firmware is what follows the header");
    for (std::size_t i = 0; i < 3; ++i) {
        require(image.version[i] == (byteAt(bytes, 8 + 2 * i) | byteAt(bytes, 9 + 2 * i) << 8U),
                "the version is the header's");
    }
}

}  // namespace
}  // namespace nubrix::virtual_camera

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t sizeBytes)
{
    using namespace nubrix;
    using namespace nubrix::virtual_camera;
    std::string bytes(reinterpret_cast<const char *>(data), sizeBytes);
    check(bytes);
    if (bytes.size() <= kHeader)
        return 0;
    // A fuzzer does not find a checksum; the header may be wrong all the same.
    putWord(bytes, 16, static_cast<std::uint32_t>(bytes.size() - kHeader));
    putWord(bytes, 20, crcOf(std::string_view(bytes).substr(kHeader)));
    check(bytes);
    return 0;
}
