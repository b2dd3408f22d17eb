// A log plug-in around a FakeLog, which the test gets hold of through one more function.
#include <string>

#include "nubrix/log_driver.h"
#include "tests/fakes/FakeLog.h"

namespace {

nubrix::FakeLog g_log;

int setting(const std::string &text)
{
    g_log.addSetting(text);
    return g_log.result;
}

}  // namespace

extern "C" {

NUBRIX_API nubrix::FakeLog *nubrixTestLog();

nubrix::FakeLog *nubrixTestLog()
{
    return &g_log;
}

int nubrixLogSimplify(const char *module, int level, const char *text)
{
    g_log.add(module, level, text);
    return g_log.result;
}

int nubrixLogWrite(const char *module, int, int, int, int, const char *text)
{
    g_log.add(module, -1, text);
    return g_log.result;
}

int nubrixLogErrno()
{
    return setting("errno");
}

int nubrixLogConfigFileWriter(int enable)
{
    return setting("file " + std::to_string(enable));
}

int nubrixLogConfigConsoleWriter(int enable)
{
    return setting("console " + std::to_string(enable));
}

int nubrixLogSetFilePathEntry(const char *folder)
{
    return setting(std::string("folder ") + (folder ? folder : "(null)"));
}

int nubrixLogSetlogLevel(int level)
{
    return setting("level " + std::to_string(level));
}

int nubrixLogSetMaxSize(unsigned int megabytes)
{
    return setting("size " + std::to_string(megabytes));
}

int nubrixLogGetGlobalLevel()
{
    return setting("global level");
}
}
