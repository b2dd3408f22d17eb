// The real log plug-in, loaded the way the library loads it.
#pragma once

#include <dlfcn.h>
#include <gmock/gmock.h>

#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "nubrix/log_driver.h"
#include "tests/Paths.h"
#include "tests/TemporaryFolder.h"

namespace nubrix {

class LoadedLogPlugin {
public:
    explicit LoadedLogPlugin(const std::string &path = paths::kLogPlugin)
        : m_handle(dlopen(path.c_str(), RTLD_NOW))
    {
        if (!m_handle)
            throw std::runtime_error(dlerror());
        find(simplify, "nubrixLogSimplify");
        find(write, "nubrixLogWrite");
        find(lastErrno, "nubrixLogErrno");
        find(configFile, "nubrixLogConfigFileWriter");
        find(configConsole, "nubrixLogConfigConsoleWriter");
        find(setFolder, "nubrixLogSetFilePathEntry");
        find(setLevel, "nubrixLogSetlogLevel");
        find(setMaxSize, "nubrixLogSetMaxSize");
        find(level, "nubrixLogGetGlobalLevel");
    }
    ~LoadedLogPlugin() { dlclose(m_handle); }
    LoadedLogPlugin(const LoadedLogPlugin &) = delete;
    LoadedLogPlugin &operator=(const LoadedLogPlugin &) = delete;

    decltype(&nubrixLogSimplify) simplify = nullptr;
    decltype(&nubrixLogWrite) write = nullptr;
    decltype(&nubrixLogErrno) lastErrno = nullptr;
    decltype(&nubrixLogConfigFileWriter) configFile = nullptr;
    decltype(&nubrixLogConfigConsoleWriter) configConsole = nullptr;
    decltype(&nubrixLogSetFilePathEntry) setFolder = nullptr;
    decltype(&nubrixLogSetlogLevel) setLevel = nullptr;
    decltype(&nubrixLogSetMaxSize) setMaxSize = nullptr;
    decltype(&nubrixLogGetGlobalLevel) level = nullptr;

private:
    template <typename Function>
    void find(Function &function, const char *name)
    {
        function = reinterpret_cast<Function>(dlsym(m_handle, name));
        if (!function)
            throw std::runtime_error(name);
    }

    void *m_handle;
};

/// A test with a folder of its own and none of the plug-in's environment variables.
class LogPluginFixture : public testing::Test {
protected:
    LogPluginFixture()
    {
        for (const char *name : {"NUBRIX_LOG_LEVEL", "NUBRIX_LOG_CONSOLE", "NUBRIX_LOG_FILE"})
            unsetenv(name);
    }

    /// Stderr while `action` runs.
    template <typename Action>
    static std::string console(Action action)
    {
        testing::internal::CaptureStderr();
        action();
        return testing::internal::GetCapturedStderr();
    }

    /// The name of the newest log file.
    static std::string logName()
    {
        return std::string("nubrix-") + program_invocation_short_name + ".log";
    }

    /// The text after the four brackets of each line.
    static std::vector<std::string> texts(const std::string &log)
    {
        std::vector<std::string> found;
        std::size_t at = 0;
        for (std::size_t end; (end = log.find('\n', at)) != std::string::npos; at = end + 1) {
            const std::string line = log.substr(at, end - at);
            std::size_t text = 0;
            for (int bracket = 0; bracket < 4; ++bracket)
                text = line.find("] ", text) + 2;
            found.push_back(line.substr(text));
        }
        return found;
    }

    TemporaryFolder m_folder;
};

}  // namespace nubrix
