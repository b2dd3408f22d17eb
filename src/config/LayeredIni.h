// An INI file of settings, and the administrator's file of the same name.
#pragma once

#include <string>

#include "nubrix/ini.h"

namespace nubrix {

/// Folders with a "/" at their ends.
struct SettingsFolders {
    std::string administrator = NUBRIX_SETTINGS_FOLDER;
    std::string packages = "/usr/";  // what packages install; the library writes nothing there
};

/// One section of an INI file. Its entries are overridden by those of the file of the same name in
/// the administrator's folder, which is never written. Not thread-safe: two writers of one file can
/// lose an update.
class LayeredIni {
public:
    /// The file need not exist.
    LayeredIni(const std::string &file, const std::string &section,
               const SettingsFolders &folders = {});

    /// The administrator's entry; without one the file's, without that `initial`. Writes `initial`
    /// into the file when it has no such entry, unless the file is below the folder of packages.
    int readInt(const char *key, int initial) const;

private:
    const std::string m_file;
    const std::string m_section;
    const std::string m_administratorsFile;
    const bool m_isPackaged;
};

}  // namespace nubrix
