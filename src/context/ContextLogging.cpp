// The settings of the log.
#include <dlfcn.h>

#include <cstdio>
#include <cstring>

#include "base/LibraryFolder.h"
#include "base/LogCall.h"
#include "config/LayeredIni.h"
#include "context/ContextGuards.h"
#include "log/LogDriver.h"

std::string NUBRIX_WORKING_PATH;
char NUBRIX_INI_FILE_PATH[256];

namespace nubrix {

namespace {

constexpr unsigned int kHighestLevel = kLogMilestone;
constexpr int kDefaultLevel = kLogError;

}  // namespace

int Context::GetConfigFileBasePath(char *buffer, unsigned int size)
{
    const std::string folder = libraryFolder();
    if (folder.empty()) {
        const char *const cause = dlerror();
        logPrint(kLogMilestone, "  get the dl info: %s Failed\n", cause ? cause : "");
        return -1;
    }
    std::snprintf(buffer, size, "%s", folder.c_str());
    return 0;
}

int Context::initConfigFilePath()
{
    char path[sizeof(NUBRIX_INI_FILE_PATH)] = {};
    GetConfigFileBasePath(path, sizeof(path));
    // Others may be reading the exported values: write them only when they change.
    if (NUBRIX_WORKING_PATH != path)
        NUBRIX_WORKING_PATH = path;
    const std::size_t length = std::strlen(path);
    std::snprintf(path + length, sizeof(path) - length, "nubrixLog.ini");
    if (std::strcmp(NUBRIX_INI_FILE_PATH, path) != 0)
        std::memcpy(NUBRIX_INI_FILE_PATH, path, sizeof(path));
    return 0;
}

int Context::readConfigLogMode()
{
    const LayeredIni settings(NUBRIX_INI_FILE_PATH, "Log");
    const int console = settings.readInt("LogConsole", 1);
    int level = settings.readInt("LogLevel", kDefaultLevel);
    const int file = settings.readInt("LogFile", 0);
    logConfigFileWriter(file >= 1 ? 1 : 0);
    logConfigConsoleWriter(console >= 1 ? 1 : 0);
    if (static_cast<unsigned int>(level) > kHighestLevel)
        level = kDefaultLevel;
    return logSetLevel(level);
}

int Context::setLogFileSavePath(const char *folder)
{
    return guarded([&] {
        const int result = folder ? logSetFilePath(folder) : 0;
        initConfigFilePath();
        readConfigLogMode();
        return result;
    });
}

int Context::setLogFolder(const char *folder)
{
    return guarded([&] { return logSetFilePath(folder); });
}

int Context::setLogLevel(unsigned int level)
{
    if (level > kHighestLevel) {
        logPrint(kLogError, "Log level set error : %d\n", static_cast<int>(level));
        return -1;
    }
    return logSetLevel(static_cast<int>(level));
}

int Context::logInfo(NubrixLogLevel /*level*/, const char * /*format*/, ...)
{
    // Kept: the entry point is there and does nothing. See docs/oddities.md.
    return 0;
}

}  // namespace nubrix
