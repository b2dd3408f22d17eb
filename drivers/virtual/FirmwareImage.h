// The firmware image files that virtual cameras take.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace nubrix {

/// A file: 32 bytes of header, then the firmware. All numbers are little-endian.
///
///     0   8  "NUBRIXFW"
///     8   6  version: three 16-bit numbers
///     14  2  0
///     16  4  size of the firmware in bytes, at least 1, at most 64 MiB
///     20  4  its CRC-32, as zlib's crc32 computes it
///     24  8  0
struct FirmwareImage {
    static constexpr std::uint32_t kHeaderBytes = 32;
    static constexpr std::uint32_t kMostBytes = 64U << 20U;

    std::array<unsigned short, 3> version;
    std::uint32_t crc = 0;
    std::vector<std::uint8_t> firmware;

    /// Reads and checks a file; the text says what is wrong with it.
    static std::variant<FirmwareImage, std::string> read(const std::string &path);
    /// "2.1.0".
    static std::string versionText(const std::array<unsigned short, 3> &version);
    static std::uint32_t crcOf(const std::vector<std::uint8_t> &bytes);
};

}  // namespace nubrix
