// Texts that came from a device or a file, made safe to print and to pass on. The tool includes
// this header too, so it depends on nothing else of the drivers.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

namespace nubrix {

/// Bytes of the UTF-8 character at the start of a text that is not empty, 0 if it is invalid: cut,
/// longer than necessary, half of a surrogate pair or beyond the last code point. Thread-safe.
inline std::size_t characterSize(std::string_view text) noexcept
{
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char first = byte(0);
    if (first < 0x80)
        return 1;
    const std::size_t size = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
    if (first < 0xc2 || first > 0xf4 || text.size() < size)
        return 0;
    for (std::size_t i = 1; i < size; ++i) {
        if ((byte(i) & 0xc0U) != 0x80)
            return 0;
    }
    const unsigned char second = byte(1);
    const bool valid = !(first == 0xe0 && second < 0xa0) && !(first == 0xed && second > 0x9f) &&
                       !(first == 0xf0 && second < 0x90) && !(first == 0xf4 && second > 0x8f);
    return valid ? size : 0;
}

/// Replaces each control character (U+0000 to U+001F, U+007F to U+009F), which a terminal would
/// obey, and each byte that is not UTF-8 by '?'. Returns the new size, which is not larger. Thread-
/// safe.
inline std::size_t cleanInPlace(char *text, std::size_t size) noexcept
{
    std::size_t kept = 0;
    for (std::size_t at = 0; at < size;) {
        const std::size_t bytes = characterSize({text + at, size - at});
        const auto last = static_cast<unsigned char>(text[bytes == 2 ? at + 1 : at]);
        const bool isControl = bytes == 1 ? last < 0x20 || last == 0x7f
                                          : bytes == 2 && text[at] == '\xc2' && last < 0xa0;
        if (bytes == 0 || isControl) {
            text[kept++] = '?';
        } else {
            std::memmove(text + kept, text + at, bytes);
            kept += bytes;
        }
        at += std::max<std::size_t>(bytes, 1);
    }
    return kept;
}

/// The text after cleanInPlace. Thread-safe.
inline std::string cleanText(std::string_view text)
{
    std::string clean(text);
    clean.resize(cleanInPlace(clean.data(), clean.size()));
    return clean;
}

/// The cleaned text of a field, which need not be terminated. Thread-safe.
template <std::size_t N>
std::string fieldText(const char (&field)[N])
{
    return cleanText({field, static_cast<std::size_t>(std::find(field, field + N, '\0') - field)});
}

/// Fills a field with the cleaned text and zeros; cuts it between characters. Thread-safe.
template <std::size_t N>
void copyText(char (&field)[N], std::string_view text)
{
    const std::string clean = cleanText(text);
    std::size_t size = std::min(clean.size(), N - 1);
    while (size < clean.size() && size > 0 &&
           (static_cast<unsigned char>(clean[size]) & 0xc0U) == 0x80)
        --size;
    std::memset(field, 0, N);
    std::memcpy(field, clean.data(), size);
}

}  // namespace nubrix
