#include "net/Description.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <string_view>
#include <system_error>

namespace nubrix::net {

namespace {

constexpr std::string_view kLocal = "local:";
constexpr std::string_view kArchive("PK\3\4", 4);
constexpr std::string_view kEntry("PK\1\2", 4);  // of the directory of an archive
constexpr std::size_t kEntryBytes = 46;
constexpr std::size_t kEntrySize = 24;  // where the size of its content is, 4 bytes

/// Takes a hexadecimal number and what ends it, ';', '?' or nothing, off the text.
bool takeNumber(std::string_view &text, std::uint32_t &number)
{
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X'))
        text.remove_prefix(2);
    const char *end = text.data() + text.size();
    const auto [stop, failure] = std::from_chars(text.data(), end, number, 16);
    if (failure != std::errc() || (stop != end && *stop != ';' && *stop != '?'))
        return false;
    text.remove_prefix(static_cast<std::size_t>(stop - text.data()) + (stop == end ? 0 : 1));
    return true;
}

bool isPlain(std::string_view name)
{
    return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
               std::string_view("._-+ ()[],").find(c) != std::string_view::npos;
    });
}

}  // namespace

std::optional<Description> localDescription(const std::string &location)
{
    if (strncasecmp(location.c_str(), kLocal.data(), kLocal.size()) != 0)
        return std::nullopt;
    std::string_view rest(location);
    rest.remove_prefix(kLocal.size());
    rest.remove_prefix(std::min(rest.find_first_not_of('/'), rest.size()));
    const std::string_view name = rest.substr(0, rest.find(';'));
    if (name.size() >= rest.size() || !isPlain(name) || name.find('.') == std::string_view::npos)
        return std::nullopt;
    rest.remove_prefix(name.size() + 1);
    std::uint32_t place = 0;
    std::uint32_t size = 0;
    if (!takeNumber(rest, place) || !takeNumber(rest, size) || size == 0 ||
        size > kLargestDescription || place > UINT32_MAX - size)
        return std::nullopt;
    const bool isArchive = name.size() >= 4 && strncasecmp(&name.back() - 3, ".zip", 4) == 0;
    return Description{place, size, isArchive};
}

bool isDescriptionTooLarge(const std::uint8_t *bytes, std::size_t size)
{
    const std::string_view all(reinterpret_cast<const char *>(bytes), size);
    if (all.substr(0, kArchive.size()) != kArchive)
        return false;
    for (std::size_t at = all.find(kEntry); at != std::string_view::npos;
         at = all.find(kEntry, at + 1)) {
        if (size - at < kEntryBytes)
            return true;
        std::size_t content = 0;
        for (std::size_t i = 4; i-- > 0;)
            content = content << 8U | bytes[at + kEntrySize + i];
        if (content > kLargestDescription)
            return true;
    }
    return false;
}

}  // namespace nubrix::net
