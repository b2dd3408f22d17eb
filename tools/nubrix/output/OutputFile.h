// Output files and folders, and numbers in binary files.
#pragma once

#include <string>
#include <string_view>

namespace nubrix::tool {

/// Creates a folder and its parents unless they exist. Throws a std::runtime_error that names the
/// folder and the cause.
void makeFolder(const std::string &folder);

/// Writes a file and replaces an existing one. Throws a std::runtime_error that names the file and
/// the cause, and then leaves an incomplete file.
void writeFile(const std::string &path, std::string_view content);

/// Appends the lowest `count` bytes of a number, the lowest first.
inline void putLittle(std::string &bytes, unsigned long long value, int count)
{
    for (int i = 0; i < count; ++i)
        bytes += static_cast<char>(value >> (8 * i) & 0xff);
}

}  // namespace nubrix::tool
