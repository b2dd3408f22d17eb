#include "config/LayeredIni.h"

#include <climits>

#include "base/FileWrapper.h"

namespace nubrix {

namespace {

// The length of the path of the file's folder, with its "/"; 0 for a file of the current folder.
std::size_t folderLength(const std::string &file)
{
    return file.rfind('/') + 1;
}

// Symbolic links count as what they lead to: /lib is a link into /usr.
bool isBelow(const std::string &tree, const std::string &file)
{
    const std::size_t length = folderLength(file);
    const std::string folder = length == 0 ? "." : file.substr(0, length);
    char resolved[PATH_MAX + 1] = {};
    if (getFullPathName(folder.c_str(), resolved, PATH_MAX) != 0)
        return false;  // nothing can be written there
    return (std::string(resolved) + "/").compare(0, tree.size(), tree) == 0;
}

}  // namespace

LayeredIni::LayeredIni(const std::string &file, const std::string &section,
                       const SettingsFolders &folders)
    : m_file(file),
      m_section(section),
      m_administratorsFile(folders.administrator + file.substr(folderLength(file))),
      m_isPackaged(isBelow(folders.packages, file))
{
}

int LayeredIni::readInt(const char *key, int initial) const
{
    int value = initial;
    if (nubrixReadInt(m_file.c_str(), m_section.c_str(), key, &value) != 0 && !m_isPackaged)
        nubrixWriteInt(m_file.c_str(), m_section.c_str(), key, initial);
    nubrixReadInt(m_administratorsFile.c_str(), m_section.c_str(), key, &value);
    return value;
}

}  // namespace nubrix
