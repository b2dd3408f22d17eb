// Texts in the records of the interface.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>

namespace nubrix {

/// Fills a field with a text and zeros; cuts between characters. Thread-safe.
template <std::size_t N>
void copyText(char (&field)[N], const std::string &text)
{
    std::size_t size = std::min(text.size(), N - 1);
    while (size < text.size() && size > 0 &&
           (static_cast<unsigned char>(text[size]) & 0xc0U) == 0x80)
        --size;
    std::memset(field, 0, N);
    std::memcpy(field, text.data(), size);
}

}  // namespace nubrix
