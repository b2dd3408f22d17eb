#include "record/RecordFolder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "base/FileWrapper.h"
#include "base/LogCall.h"

namespace nubrix {

namespace {

bool isFolder(const std::string &path)
{
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool makeMissingLevels(const std::string &prefix)
{
    for (std::size_t slash = prefix.find('/', 1); slash != std::string::npos;
         slash = prefix.find('/', slash + 1)) {
        const std::string level = prefix.substr(0, slash);
        if (access(level.c_str(), F_OK) != 0 && mkdir(level.c_str(), 0755) != 0) {
            std::perror("mkdir error");
            return false;
        }
    }
    return true;
}

// Kept: the second mkdir is meant to fail, because the level is there by now. See docs/oddities.md.
bool createDirectory(const std::string &prefix)
{
    return makeMissingLevels(prefix) && mkdir(prefix.c_str(), 0777) != 0;
}

bool createEveryLevel(const std::string &folder)
{
    for (std::size_t slash = folder.find('/', 1); slash != std::string::npos;
         slash = folder.find('/', slash + 1)) {
        const std::string prefix = folder.substr(0, slash + 1);
        if (!isFolder(prefix) && !createDirectory(prefix)) {
            logPrint(kLogError, "Error occurs in createDirectory:%s", prefix.c_str());
            return false;
        }
    }
    return true;
}

int join(std::string folder, const std::string &name, char *out, unsigned int capacity)
{
    if (folder.back() != '/' && folder.back() != '\\')
        folder += '/';
    folder += name;
    if (folder.size() > capacity) {
        logPrint(kLogError, "Dir + name length more than 255!");
        return -1;
    }
    std::memcpy(out, folder.c_str(), folder.size() + 1);
    return 0;
}

}  // namespace

int createRecordFolder(const char *path, char *out, unsigned int capacity)
{
    std::string normal = path ? path : "";
    if (normal.size() > kMaxRecordPath) {
        logPrint(kLogError, "file path:%s length:%d more than 255, not support!", normal.c_str(),
                 static_cast<int>(normal.size()));
        return -1;
    }
    logPrint(kLogInfo, "Begin check record directory:%s", normal.c_str());
    std::replace(normal.begin(), normal.end(), '\\', '/');
    const std::size_t lastSlash = normal.rfind('/');
    const bool bare = lastSlash == std::string::npos;
    const std::string folder = bare ? "./" : normal.substr(0, lastSlash + 1);
    const std::string name = bare ? normal : normal.substr(lastSlash + 1);
    logPrint(kLogInfo, "FileDir:%s, file name:%s", folder.c_str(), name.c_str());
    if (!createEveryLevel(folder))
        return 0;
    char resolved[kMaxRecordPath + 1] = {};
    if (const int failed = getFullPathName(folder.c_str(), resolved, kMaxRecordPath)) {
        logPrint(kLogError, "get full path name failed!%s", folder.c_str());
        return failed;
    }
    return join(resolved, name, out, capacity);
}

}  // namespace nubrix
