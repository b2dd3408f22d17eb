// The console, the levels, and loading and unloading.
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <memory>
#include <thread>

#include "tests/Paths.h"
#include "tests/drivers/log/LoadedLogPlugin.h"

static bool g_threadsNeverStop = false;

// LeakSanitizer calls this; it cannot examine threads that run meanwhile.
extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off()
{
    return g_threadsNeverStop;
}

namespace nubrix {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

class LogPluginTest : public LogPluginFixture {
protected:
    std::vector<std::string> shown(int level, const char *text)
    {
        return texts(console([&] { m_plugin.simplify("Module", level, text); }));
    }

    LoadedLogPlugin m_plugin;
};

TEST_F(LogPluginTest, ALineShowsTimeLevelModuleAndThread)
{
    const std::string line = console([&] { m_plugin.simplify("Module", 3, "some text"); });
    EXPECT_THAT(line, MatchesRegex("\\[[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}"
                                   "\\.[0-9]{6}\\] \\[error\\] \\[Module\\] \\[[0-9]+\\] "
                                   "some text\n"));
    const std::string thread = std::to_string(gettid());
    EXPECT_THAT(line, HasSubstr("[" + thread + "] some text"));
}

TEST_F(LogPluginTest, EachLevelHasItsWord)
{
    ASSERT_EQ(m_plugin.setLevel(0), 0);
    const char *const words[] = {"trace", "info", "warning", "error", "milestone"};
    for (int level = 0; level <= 4; ++level) {
        EXPECT_THAT(console([&] { m_plugin.simplify("M", level, "text"); }),
                    HasSubstr(std::string(" [") + words[level] + "] [M] "));
    }
}

TEST_F(LogPluginTest, ALevelOutOfRangeIsShownAsTheNearest)
{
    ASSERT_EQ(m_plugin.setLevel(0), 0);
    EXPECT_THAT(console([&] { m_plugin.simplify("M", 9, "text"); }), HasSubstr("[milestone]"));
    EXPECT_EQ(console([&] { m_plugin.simplify("M", -1, "text"); }), "");
}

TEST_F(LogPluginTest, MessagesBelowTheThresholdAreNotShown)
{
    EXPECT_EQ(m_plugin.level(), 3);
    for (int threshold = 0; threshold <= 4; ++threshold) {
        ASSERT_EQ(m_plugin.setLevel(threshold), 0);
        EXPECT_EQ(m_plugin.level(), threshold);
        for (int level = 0; level <= 4; ++level)
            EXPECT_EQ(shown(level, "text").size(), level >= threshold ? 1U : 0U);
    }
}

TEST_F(LogPluginTest, AThresholdOutOfRangeIsRefused)
{
    ASSERT_EQ(m_plugin.setLevel(2), 0);
    EXPECT_EQ(m_plugin.setLevel(5), -1);
    EXPECT_EQ(m_plugin.setLevel(-1), -1);
    EXPECT_EQ(m_plugin.level(), 2);
}

TEST_F(LogPluginTest, TrailingLineEndsMakeNoEmptyLine)
{
    EXPECT_THAT(shown(3, "text\n"), ElementsAre("text"));
    EXPECT_THAT(shown(3, "text\r\n\n"), ElementsAre("text"));
    EXPECT_THAT(shown(3, " text "), ElementsAre(" text "));
}

TEST_F(LogPluginTest, AnEmptyMessageIsNotShown)
{
    EXPECT_EQ(console([&] {
                  EXPECT_EQ(m_plugin.simplify("Module", 4, ""), 0);
                  EXPECT_EQ(m_plugin.simplify("Module", 4, "\n"), 0);
              }),
              "");
}

TEST_F(LogPluginTest, TextIsNotTakenForAFormat)
{
    EXPECT_THAT(shown(3, "%s %d {} {0}"), ElementsAre("%s %d {} {0}"));
}

TEST_F(LogPluginTest, ALongTextIsNotCut)
{
    const std::string text(100000, 'x');
    EXPECT_THAT(shown(3, text.c_str()), ElementsAre(text));
}

TEST_F(LogPluginTest, NullPointersAreRefused)
{
    EXPECT_EQ(console([&] {
                  EXPECT_EQ(m_plugin.simplify("Module", 4, nullptr), -1);
                  EXPECT_EQ(m_plugin.write("Module", 1, 2, 3, 4, nullptr), -1);
              }),
              "");
    EXPECT_THAT(console([&] { EXPECT_EQ(m_plugin.simplify(nullptr, 4, "text"), 0); }),
                HasSubstr("[milestone] [] "));
    EXPECT_EQ(m_plugin.setFolder(nullptr), -1);
    EXPECT_EQ(m_plugin.setFolder(""), -1);
}

TEST_F(LogPluginTest, TheFourWordsPrecedeTheText)
{
    EXPECT_EQ(console([&] { EXPECT_EQ(m_plugin.write("M", 1, 2, 3, 4, "text"), 0); }), "");
    ASSERT_EQ(m_plugin.setLevel(1), 0);
    const std::string line =
        console([&] { EXPECT_EQ(m_plugin.write("M", 1, -2, 3, 4, "text"), 0); });
    EXPECT_THAT(line, HasSubstr("[info] [M]"));
    EXPECT_THAT(texts(line), ElementsAre("1 -2 3 4 text"));
}

TEST_F(LogPluginTest, TheConsoleCanBeTurnedOffAndOn)
{
    EXPECT_EQ(m_plugin.configConsole(0), 0);
    EXPECT_THAT(shown(4, "off"), ElementsAre());
    EXPECT_EQ(m_plugin.configConsole(7), 0);
    EXPECT_THAT(shown(4, "on"), ElementsAre("on"));
}

TEST_F(LogPluginTest, TheCallersErrnoIsKept)
{
    ASSERT_EQ(m_plugin.setFolder("/dev/null/below"), -1);
    ASSERT_NE(m_plugin.lastErrno(), 0);
    console([&] {
        errno = EDOM;
        m_plugin.simplify("Module", 4, "text");
        m_plugin.setFolder("/dev/null/below");
    });
    EXPECT_EQ(errno, EDOM);
}

using LogPluginLoadingTest = LogPluginFixture;
using LogPluginExitTest = LogPluginFixture;

TEST_F(LogPluginLoadingTest, UnloadingLeavesNothingBehind)
{
    const auto openFiles = [] {
        const std::filesystem::directory_iterator files("/proc/self/fd");
        return std::distance(begin(files), end(files));
    };
    const auto before = openFiles();
    for (int i = 0; i < 50; ++i) {
        LoadedLogPlugin plugin;
        plugin.configConsole(0);
        plugin.setFolder(m_folder.path().c_str());
        plugin.configFile(1);
        ASSERT_EQ(plugin.simplify("Module", 4, "text"), 0);
    }
    EXPECT_EQ(openFiles(), before);
    EXPECT_EQ(dlopen(paths::kLogPlugin, RTLD_NOW | RTLD_NOLOAD), nullptr);
    EXPECT_THAT(readFile("/proc/self/maps"), Not(HasSubstr("libNubrixLogDriver")));
}

TEST_F(LogPluginLoadingTest, ReloadingReadsEverySettingAgain)
{
    {
        LoadedLogPlugin plugin;
        ASSERT_EQ(plugin.setLevel(0), 0);
        ASSERT_EQ(plugin.setFolder("/dev/null/below"), -1);
        ASSERT_NE(plugin.lastErrno(), 0);
    }
    LoadedLogPlugin plugin;
    EXPECT_EQ(plugin.level(), 3);
    EXPECT_EQ(plugin.lastErrno(), 0);
}

// Never unloaded, as in a process that exits without releasing the library.
LoadedLogPlugin *g_left = nullptr;

void logAtExit()
{
    g_left->simplify("Module", 4, "last words");
}

TEST_F(LogPluginExitTest, MessagesLoggedDuringExitAreShown)
{
    EXPECT_EXIT(
        {
            std::atexit(logAtExit);
            g_left = new LoadedLogPlugin;
            std::exit(0);
        },
        testing::ExitedWithCode(0), "last words");
}

TEST_F(LogPluginExitTest, AThreadMayLogWhileTheProcessExits)
{
    EXPECT_EXIT(
        {
            g_left = new LoadedLogPlugin;
            g_left->configConsole(0);
            g_left->setFolder(m_folder.path().c_str());
            g_left->configFile(1);
            g_threadsNeverStop = true;
            static std::atomic<int> count{0};
            for (int i = 0; i < 2; ++i) {
                std::thread([] {
                    for (;;) {
                        g_left->simplify("Module", 4, "text");
                        ++count;
                    }
                }).detach();
            }
            while (count < 100)
                std::this_thread::yield();
            std::exit(0);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace nubrix
