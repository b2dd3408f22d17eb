// Files and folders that commands write.
#pragma once

#include <string>
#include <string_view>

namespace nubrix::tool {

/// Makes a folder and those it lies in, unless they are there. Throws a Failure that names the
/// folder and the cause.
void makeFolder(const std::string &folder);

/// Writes a file, in place of the one that may be there. Throws a Failure that names the file and
/// the cause; what was written then stays.
void writeFile(const std::string &path, std::string_view content);

/// Appends the lowest `count` bytes of a number.
inline void putLittle(std::string &bytes, unsigned long long value, int count)
{
    for (int i = 0; i < count; ++i)
        bytes += static_cast<char>(value >> (8 * i) & 0xff);
}

}  // namespace nubrix::tool
