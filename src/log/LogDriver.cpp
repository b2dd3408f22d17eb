#include "log/LogDriver.h"

#include <dlfcn.h>

#include <atomic>
#include <string>

#include "base/LibraryFolder.h"
#include "base/LogCall.h"
#include "nubrix/log_driver.h"

namespace nubrix {

namespace {

struct LogFunctions {
    decltype(&::nubrixLogWrite) write;
    decltype(&::nubrixLogSimplify) simplify;
    decltype(&::nubrixLogErrno) lastError;
    decltype(&::nubrixLogConfigFileWriter) configFileWriter;
    decltype(&::nubrixLogConfigConsoleWriter) configConsoleWriter;
    decltype(&::nubrixLogSetFilePathEntry) setFilePathEntry;
    decltype(&::nubrixLogSetlogLevel) setLogLevel;
    decltype(&::nubrixLogSetMaxSize) setMaxSize;
    decltype(&::nubrixLogGetGlobalLevel) getGlobalLevel;
};

void *g_handle = nullptr;  // non-null while loaded
LogFunctions g_functions = {};
std::atomic<const LogFunctions *> g_loaded{nullptr};

template <class Function>
bool resolve(Function &function, const char *name)
{
    function = reinterpret_cast<Function>(dlsym(g_handle, name));
    return function != nullptr;
}

bool resolveAll(LogFunctions &functions)
{
    return resolve(functions.write, "nubrixLogWrite") &&
           resolve(functions.simplify, "nubrixLogSimplify") &&
           resolve(functions.lastError, "nubrixLogErrno") &&
           resolve(functions.configFileWriter, "nubrixLogConfigFileWriter") &&
           resolve(functions.configConsoleWriter, "nubrixLogConfigConsoleWriter") &&
           resolve(functions.setFilePathEntry, "nubrixLogSetFilePathEntry") &&
           resolve(functions.setLogLevel, "nubrixLogSetlogLevel") &&
           resolve(functions.setMaxSize, "nubrixLogSetMaxSize") &&
           resolve(functions.getGlobalLevel, "nubrixLogGetGlobalLevel");
}

template <class Function, class... Arguments>
int call(Function LogFunctions::*function, Arguments... arguments)
{
    const LogFunctions *const functions = g_loaded.load(std::memory_order_acquire);
    return functions ? (functions->*function)(arguments...) : 0;
}

}  // namespace

int loadLogDriver(const char *moduleName)
{
    if (g_handle)
        return 0;
    const char *const file = "libNubrixLogDriver.so";
    const std::string folder = libraryFolder();
    const std::string path =
        (liesInPlugInFolder(folder, file) ? folder + kPlugInFolder : folder) + file;
    g_handle = dlopen(path.c_str(), RTLD_NOW);
    if (!g_handle)
        return -1;
    if (!resolveAll(g_functions)) {
        g_functions = {};
        dlclose(g_handle);
        g_handle = nullptr;
        return -1;
    }
    g_loaded.store(&g_functions, std::memory_order_release);
    setLogSink({g_functions.simplify, g_functions.write}, moduleName);
    return 0;
}

int unloadLogDriver()
{
    if (!g_handle)
        return 0;
    setLogSink({}, nullptr);
    g_loaded.store(nullptr, std::memory_order_release);
    // Kept: one pointer stays stale; nothing calls it. See docs/oddities.md.
    const auto stale = g_functions.getGlobalLevel;
    g_functions = {};
    g_functions.getGlobalLevel = stale;
    dlclose(g_handle);
    g_handle = nullptr;
    return 0;
}

int logConfigFileWriter(int enable)
{
    return call(&LogFunctions::configFileWriter, enable);
}

int logConfigConsoleWriter(int enable)
{
    return call(&LogFunctions::configConsoleWriter, enable);
}

int logSetFilePath(const char *folder)
{
    return call(&LogFunctions::setFilePathEntry, folder);
}

int logSetLevel(int level)
{
    return call(&LogFunctions::setLogLevel, level);
}

}  // namespace nubrix
