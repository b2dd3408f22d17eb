// Numbers as files hold them: the lowest byte first.
#pragma once

#include <string>

namespace nubrix {

/// Appends the lowest `count` bytes of a number.
inline void putLittle(std::string &bytes, unsigned long long value, int count)
{
    for (int i = 0; i < count; ++i)
        bytes += static_cast<char>(value >> (8 * i) & 0xff);
}

}  // namespace nubrix
