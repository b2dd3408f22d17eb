#include "log/LogDriver.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

#include "base/LogCall.h"
#include "nubrix/log_driver.h"
#include "tests/TemporaryFolder.h"
#include "tests/fakes/SystemCalls.h"

namespace nubrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> g_plugInCalls;

int called(const std::string &call, int result)
{
    g_plugInCalls.push_back(call);
    return result;
}

int writeWords(const char *module, int w1, int w2, int w3, int w4, const char *text)
{
    return called(
        std::string("write ") + module + " " + std::to_string(w1 + w2 + w3 + w4) + " " + text, 11);
}
int simplify(const char *module, int level, const char *text)
{
    return called(std::string("simplify ") + module + " " + std::to_string(level) + " " + text, 12);
}
int fileWriter(int enable)
{
    return called("file " + std::to_string(enable), 13);
}
int consoleWriter(int enable)
{
    return called("console " + std::to_string(enable), 14);
}
int filePath(const char *folder)
{
    return called(std::string("folder ") + (folder ? folder : "(null)"), 15);
}
int setLevel(int level)
{
    return called("level " + std::to_string(level), 16);
}
int never()
{
    return called("never", 17);
}
int neverSize(unsigned int /*megabytes*/)
{
    return called("never", 18);
}

struct Symbol {
    const char *name;
    void *function;
};

template <class Function>
void *address(Function *function)
{
    return reinterpret_cast<void *>(function);
}

// In the order in which the library resolves them.
const std::vector<Symbol> kSymbols = {
    {"nubrixLogWrite", address(&writeWords)},
    {"nubrixLogSimplify", address(&simplify)},
    {"nubrixLogErrno", address(&never)},
    {"nubrixLogConfigFileWriter", address(&fileWriter)},
    {"nubrixLogConfigConsoleWriter", address(&consoleWriter)},
    {"nubrixLogSetFilePathEntry", address(&filePath)},
    {"nubrixLogSetlogLevel", address(&setLevel)},
    {"nubrixLogSetMaxSize", address(&neverSize)},
    {"nubrixLogGetGlobalLevel", address(&never)},
};

// Stands in for the loader and the plug-in; what the library asks of the loader is recorded.
class LogDriverTest : public testing::Test {
protected:
    LogDriverTest()
    {
        g_plugInCalls.clear();
        m_calls.dladdr = [this](const void *, Dl_info *info) {
            info->dli_fname = m_library.c_str();
            return m_loaderKnowsTheLibrary ? 1 : 0;
        };
        m_calls.dlopen = [this](const char *path, int mode) -> void * {
            m_asked.push_back(std::string("open ") + path + " " + std::to_string(mode));
            return m_plugInExists ? this : nullptr;
        };
        m_calls.dlsym = [this](void *library, const char *name) -> void * {
            EXPECT_EQ(library, this);
            m_asked.emplace_back(name);
            for (const Symbol &symbol : kSymbols) {
                if (name == std::string(symbol.name) && name != m_missing)
                    return symbol.function;
            }
            return nullptr;
        };
        m_calls.dlclose = [this](void *library) {
            EXPECT_EQ(library, this);
            m_asked.emplace_back("close");
            return 0;
        };
    }
    ~LogDriverTest() override { unloadLogDriver(); }

    static void expectSilence()
    {
        g_plugInCalls.clear();
        EXPECT_EQ(logPrint(kLogError, "text"), 0);
        EXPECT_EQ(logWrite(1, 2, 3, 4, "text"), 0);
        EXPECT_EQ(logConfigFileWriter(1), 0);
        EXPECT_EQ(logConfigConsoleWriter(1), 0);
        EXPECT_EQ(logSetFilePath("/tmp"), 0);
        EXPECT_EQ(logSetLevel(2), 0);
        EXPECT_THAT(g_plugInCalls, IsEmpty());
    }

    std::string m_library = "/opt/camera/libNubrix.so.2";
    bool m_loaderKnowsTheLibrary = true;
    bool m_plugInExists = true;
    std::string m_missing;
    std::vector<std::string> m_asked;
    SystemCalls m_calls;
    const SystemCallsInForce m_inForce{m_calls};
};

TEST_F(LogDriverTest, ThePlugInIsLoadedFromTheLibrarysFolderAndResolvedInOrder)
{
    EXPECT_EQ(loadLogDriver("module"), 0);
    std::vector<std::string> expected{"open /opt/camera/libNubrixLogDriver.so 2"};
    for (const Symbol &symbol : kSymbols)
        expected.emplace_back(symbol.name);
    EXPECT_EQ(m_asked, expected);
    EXPECT_THAT(g_plugInCalls, IsEmpty());
}

TEST_F(LogDriverTest, WhenTheLibraryDoesNotKnowItsFolderTheBareNameIsLoaded)
{
    m_loaderKnowsTheLibrary = false;
    m_plugInExists = false;
    EXPECT_EQ(loadLogDriver("module"), -1);
    EXPECT_THAT(m_asked, ElementsAre("open libNubrixLogDriver.so 2"));
}

TEST_F(LogDriverTest, TheFolderOfPlugInsServesWhenThereIsNoneNextToTheLibrary)
{
    TemporaryFolder folder;
    m_library = folder.path() / "libNubrix.so.2";
    std::filesystem::create_directory(folder.path() / "nubrix");
    const std::string installed = folder.file("nubrix/libNubrixLogDriver.so", "");
    EXPECT_EQ(loadLogDriver("module"), 0);
    EXPECT_EQ(m_asked.front(), "open " + installed + " 2");
    EXPECT_EQ(unloadLogDriver(), 0);

    const std::string nextToTheLibrary = folder.file("libNubrixLogDriver.so", "");
    m_asked.clear();
    EXPECT_EQ(loadLogDriver("module"), 0);
    EXPECT_EQ(m_asked.front(), "open " + nextToTheLibrary + " 2");
}

TEST_F(LogDriverTest, WithoutAPlugInNoCallLogsAnything)
{
    m_plugInExists = false;
    EXPECT_EQ(loadLogDriver("module"), -1);
    EXPECT_THAT(m_asked, ElementsAre("open /opt/camera/libNubrixLogDriver.so 2"));
    expectSilence();
    EXPECT_EQ(unloadLogDriver(), 0);
    m_plugInExists = true;
    EXPECT_EQ(loadLogDriver("module"), 0);
    EXPECT_EQ(logPrint(kLogInfo, "a"), 12);
}

class MissingSymbolTest : public LogDriverTest, public testing::WithParamInterface<std::size_t> {};

TEST_P(MissingSymbolTest, MeansThatNoneIsUsed)
{
    m_missing = kSymbols[GetParam()].name;
    EXPECT_EQ(loadLogDriver("module"), -1);
    std::vector<std::string> expected{"open /opt/camera/libNubrixLogDriver.so 2"};
    for (std::size_t i = 0; i <= GetParam(); ++i)
        expected.emplace_back(kSymbols[i].name);
    expected.emplace_back("close");
    EXPECT_EQ(m_asked, expected);
    expectSilence();
    m_missing.clear();
    EXPECT_EQ(loadLogDriver("module"), 0);
}

INSTANTIATE_TEST_SUITE_P(EachOfTheNine, MissingSymbolTest,
                         testing::Range(std::size_t{0}, std::size_t{9}));

TEST_F(LogDriverTest, EachCallReachesItsFunctionAndTheResultIsPassedOn)
{
    ASSERT_EQ(loadLogDriver("module"), 0);
    EXPECT_EQ(logWrite(1, 2, 3, 4, "words %d", 1), 11);
    EXPECT_EQ(logPrint(kLogError, "text %d", 2), 12);
    EXPECT_EQ(logConfigFileWriter(1), 13);
    EXPECT_EQ(logConfigConsoleWriter(0), 14);
    EXPECT_EQ(logSetFilePath("/var/log"), 15);
    EXPECT_EQ(logSetFilePath(nullptr), 15);
    EXPECT_EQ(logSetLevel(4), 16);
    EXPECT_THAT(g_plugInCalls,
                ElementsAre("write module 10 words 1", "simplify module 3 text 2", "file 1",
                            "console 0", "folder /var/log", "folder (null)", "level 4"));
}

TEST_F(LogDriverTest, ASecondLoadChangesNothingNotEvenTheName)
{
    ASSERT_EQ(loadLogDriver("first"), 0);
    m_asked.clear();
    EXPECT_EQ(loadLogDriver("second"), 0);
    EXPECT_THAT(m_asked, IsEmpty());
    logPrint(kLogInfo, "a");
    EXPECT_THAT(g_plugInCalls, ElementsAre("simplify first 1 a"));
}

TEST_F(LogDriverTest, UnloadingClosesThePlugInOnceAndSilencesTheLog)
{
    ASSERT_EQ(loadLogDriver("first"), 0);
    m_asked.clear();
    EXPECT_EQ(unloadLogDriver(), 0);
    EXPECT_THAT(m_asked, ElementsAre("close"));
    expectSilence();
    EXPECT_EQ(unloadLogDriver(), 0);
    EXPECT_THAT(m_asked, ElementsAre("close"));
}

TEST_F(LogDriverTest, AfterUnloadingItLoadsAgainUnderANewName)
{
    ASSERT_EQ(loadLogDriver("first"), 0);
    unloadLogDriver();
    EXPECT_EQ(loadLogDriver("second"), 0);
    logPrint(kLogInfo, "a");
    EXPECT_THAT(g_plugInCalls, ElementsAre("simplify second 1 a"));
}

}  // namespace
}  // namespace nubrix
