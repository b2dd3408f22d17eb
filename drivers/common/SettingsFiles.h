// The settings files of a plug-in. The tool includes this header too, so it depends on nothing else
// of the drivers.
#pragma once

#include <dlfcn.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "nubrix/ini.h"

namespace nubrix {

/// The paths of the settings file `name`: next to this plug-in, under the path by which it was
/// loaded, and in the administrator's folder. Each overrides the one before it, entry by entry. The
/// files need not exist. Thread-safe.
inline std::vector<std::string> settingsFiles(const std::string &name)
{
    std::vector<std::string> files;
    Dl_info self = {};
    if (dladdr(reinterpret_cast<void *>(&settingsFiles), &self) != 0 && self.dli_fname) {
        const std::string plugin = self.dli_fname;
        files.push_back(plugin.substr(0, plugin.rfind('/') + 1) + name);
    }
    files.push_back(NUBRIX_SETTINGS_FOLDER + name);
    return files;
}

/// A file of text. `fault` is empty if the file could be read or does not exist, otherwise why it
/// could not.
struct TextFile {
    std::string text;
    std::string fault;
};

/// Thread-safe.
inline TextFile readTextFile(const std::string &path)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE *)> file(std::fopen(path.c_str(), "re"),
                                                                &std::fclose);
    if (!file)
        return {{}, errno == ENOENT || errno == ENOTDIR ? "" : std::strerror(errno)};
    TextFile read;
    std::array<char, 4096> part;
    while (const std::size_t size = std::fread(part.data(), 1, part.size(), file.get()))
        read.text.append(part.data(), size);
    if (std::ferror(file.get()) != 0)
        read.fault = std::strerror(errno);
    return read;
}

/// Why a settings file cannot be used: "cannot be read: Permission denied". Empty if it can be used
/// or does not exist. Thread-safe.
inline std::string settingsFault(const std::string &path)
{
    const TextFile file = readTextFile(path);
    const auto has = [&file](char character) {
        return file.text.find(character) != std::string::npos;
    };
    if (!file.fault.empty())
        return "cannot be read: " + file.fault;
    if (has('\0'))
        return "is not a text file";
    if (has('=') && !has('['))
        return "has entries, but no section";
    return {};
}

}  // namespace nubrix
