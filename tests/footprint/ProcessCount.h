// What this process has, as the kernel counts it.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace nubrix {

inline long entriesOf(const char *folder)
{
    const std::filesystem::directory_iterator all(folder);
    return std::distance(begin(all), end(all));
}

inline long threadCount()
{
    return entriesOf("/proc/self/task");
}

inline long descriptorCount()
{
    return entriesOf("/proc/self/fd");
}

/// In KiB; -1 when the kernel does not report it.
inline long residentMemory()
{
    std::ifstream lines("/proc/self/smaps_rollup");
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("Rss:", 0) == 0)
            return std::stol(line.substr(4));
    }
    return -1;
}

}  // namespace nubrix
