// Puts numbers into files, least significant byte first.
#pragma once

#include <cstdint>

namespace nubrix {

/// Fills a buffer from its start; the caller provides enough space.
class LittleEndianWriter final {
public:
    explicit LittleEndianWriter(unsigned char *out) : m_out(out) {}

    void put16(std::uint32_t value)
    {
        *m_out++ = static_cast<unsigned char>(value);
        *m_out++ = static_cast<unsigned char>(value >> 8);
    }
    void put32(std::uint32_t value)
    {
        put16(value & 0xffff);
        put16(value >> 16);
    }

private:
    unsigned char *m_out;
};

}  // namespace nubrix
