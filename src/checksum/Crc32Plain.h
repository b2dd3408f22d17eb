// CRC-32/MPEG-2 in plain C++: what the vectorised forms are held to, and used where there is none.
#pragma once

#include <cstddef>

namespace nubrix {

/// Goes on from `crc`, which is 0xffffffff at the start of a message, over `size` bytes:
/// most significant bit first, polynomial 0x04c11db7, no final inversion. Thread-safe.
unsigned int crc32Plain(unsigned int crc, const unsigned char *data, std::size_t size);

}  // namespace nubrix
