// The functions that the library calls, on one writer per process.
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "common/SettingsFiles.h"
#include "log/LogSettings.h"
#include "log/LogWriter.h"
#include "nubrix/log_driver.h"

using namespace nubrix::log_plugin;

namespace {

constexpr int kInfo = 1;

std::mutex g_lock;
LogWriter *g_writer = nullptr;  // under g_lock
std::atomic<int> g_level{kDefaultLogLevel};

// The library reads the first of them as well, next to itself: in the folder above that of
// installed plug-ins.
std::vector<std::string> filesOfSettings()
{
    std::vector<std::string> files = nubrix::settingsFiles("nubrixLog.ini");
    const std::filesystem::path own = files.front();
    if (files.size() > 1 && own.parent_path().filename() == "nubrix")
        files.front() = (own.parent_path().parent_path() / own.filename()).string();
    return files;
}

// Libraries that are loaded earlier and destroyed later may log until the process exits: therefore
// no static object with a destructor here.
__attribute__((constructor)) void load()
{
    try {
        const LogSettings settings = readLogSettings(filesOfSettings());
        g_level = settings.level;
        g_writer = new LogWriter(settings);
    } catch (const std::exception &) {
        g_writer = nullptr;
    }
}

__attribute__((destructor)) void unload()
{
    // A thread that is still writing during the exit of the process keeps the writer.
    const std::unique_lock<std::mutex> lock(g_lock, std::try_to_lock);
    if (!lock.owns_lock())
        return;
    delete g_writer;
    g_writer = nullptr;
}

// Throws nothing at the library and preserves the caller's errno.
template <typename Operation>
int onWriter(Operation operation)
{
    const int callersErrno = errno;
    int result = 0;
    try {
        const std::lock_guard<std::mutex> lock(g_lock);
        result = g_writer ? operation(*g_writer) : 0;
    } catch (const std::exception &) {
        result = -1;
    }
    errno = callersErrno;
    return result;
}

int writeMessage(const char *module, int level, const std::string &text)
{
    return onWriter(
        [&](LogWriter &writer) { return writer.write(module ? module : "", level, text); });
}

}  // namespace

int nubrixLogSimplify(const char *module, int level, const char *text)
{
    if (!text)
        return -1;
    return level < g_level ? 0 : writeMessage(module, level, text);
}

int nubrixLogWrite(const char *module, int w1, int w2, int w3, int w4, const char *text)
{
    if (!text)
        return -1;
    if (kInfo < g_level)
        return 0;
    std::string words;
    for (const int word : {w1, w2, w3, w4})
        words += std::to_string(word) + " ";
    return writeMessage(module, kInfo, words + text);
}

int nubrixLogErrno()
{
    return onWriter([](const LogWriter &writer) { return writer.lastError(); });
}

int nubrixLogConfigFileWriter(int enable)
{
    return onWriter([&](LogWriter &writer) {
        writer.setFile(enable != 0);
        return 0;
    });
}

int nubrixLogConfigConsoleWriter(int enable)
{
    return onWriter([&](LogWriter &writer) {
        writer.setConsole(enable != 0);
        return 0;
    });
}

int nubrixLogSetFilePathEntry(const char *folder)
{
    if (!folder || !*folder)
        return -1;
    return onWriter([&](LogWriter &writer) { return writer.setFolder(folder); });
}

int nubrixLogSetlogLevel(int level)
{
    if (level < kLowestLogLevel || level > kHighestLogLevel)
        return -1;
    g_level = level;
    return 0;
}

int nubrixLogSetMaxSize(unsigned int megabytes)
{
    return onWriter([&](LogWriter &writer) { return writer.setMaxSize(megabytes); });
}

int nubrixLogGetGlobalLevel()
{
    return g_level;
}
