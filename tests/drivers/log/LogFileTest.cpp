// The log file: when it is created, how it is rotated, and what happens when it cannot be written.
#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <map>
#include <thread>

#include "tests/drivers/log/LoadedLogPlugin.h"

namespace nubrix {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class LogFileTest : public LogPluginFixture {
protected:
    LogFileTest()
    {
        m_plugin.configConsole(0);
        m_plugin.setFolder(m_folder.path().c_str());
        m_plugin.configFile(1);
    }

    int log(const std::string &text) { return m_plugin.simplify("Module", 4, text.c_str()); }
    std::string logPath() const { return m_folder.file(logName()); }
    std::vector<std::string> logged() const { return texts(readFile(logPath())); }
    std::vector<std::filesystem::path> files() const
    {
        std::vector<std::filesystem::path> found;
        for (const auto &entry : std::filesystem::directory_iterator(m_folder.path()))
            found.push_back(entry.path());
        std::sort(found.begin(), found.end());
        return found;
    }
    /// Logs until a message reaches the file again; returns the number of lost messages.
    int logUntilTaken()
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        int lost = 0;
        while (log("again") != 0 && std::chrono::steady_clock::now() < deadline)
            ++lost;
        return lost;
    }

    LoadedLogPlugin m_plugin;
};

TEST_F(LogFileTest, TheFileIsCreatedByTheFirstMessage)
{
    EXPECT_TRUE(files().empty());
    EXPECT_EQ(m_plugin.simplify("Module", 2, "below the threshold"), 0);
    EXPECT_EQ(log(""), 0);
    EXPECT_EQ(log("\n"), 0);
    EXPECT_TRUE(files().empty());

    EXPECT_EQ(log("first"), 0);
    EXPECT_THAT(readFile(logPath()),
                testing::MatchesRegex("\\[[-0-9: .]+\\] \\[milestone\\] \\[Module\\] \\[[0-9]+\\] "
                                      "first\n"));
    EXPECT_EQ(log("second"), 0);
    EXPECT_THAT(logged(), ElementsAre("first", "second"));
    EXPECT_EQ(files().size(), 1U);
    EXPECT_EQ(m_plugin.lastErrno(), 0);
}

TEST_F(LogFileTest, ConsoleAndFileShowTheSameLine)
{
    m_plugin.configConsole(1);
    const std::string line = console([&] { log("text"); });
    EXPECT_EQ(texts(line).size(), 1U);
    EXPECT_EQ(readFile(logPath()), line);
}

TEST_F(LogFileTest, TheFileIsUnchangedWhileItIsTurnedOff)
{
    log("one");
    EXPECT_EQ(m_plugin.configFile(0), 0);
    EXPECT_EQ(log("two"), 0);
    EXPECT_EQ(m_plugin.configFile(1), 0);
    EXPECT_EQ(log("three"), 0);
    EXPECT_THAT(logged(), ElementsAre("one", "three"));
}

TEST_F(LogFileTest, AnotherFolderIsUsedFromTheNextMessageOn)
{
    log("here");
    const std::string below = m_folder.file("new/folder");
    EXPECT_EQ(m_plugin.setFolder(below.c_str()), 0);
    EXPECT_FALSE(std::filesystem::exists(below));
    EXPECT_EQ(log("there"), 0);
    EXPECT_THAT(logged(), ElementsAre("here"));
    EXPECT_THAT(texts(readFile(below + "/" + logName())), ElementsAre("there"));
}

TEST_F(LogFileTest, AFolderThatIsAFileIsRefusedAndTheOldOneStays)
{
    const std::string file = m_folder.file("file");
    writeFile(file, "");
    EXPECT_EQ(m_plugin.setFolder(file.c_str()), -1);
    EXPECT_EQ(m_plugin.lastErrno(), ENOTDIR);
    EXPECT_EQ(log("text"), 0);
    EXPECT_THAT(logged(), ElementsAre("text"));
}

TEST_F(LogFileTest, AFullFileIsRotatedAndNoMessageIsLost)
{
    ASSERT_EQ(m_plugin.setMaxSize(1), 0);
    const std::string filler(1000, 'x');
    constexpr int kMessages = 2500;
    for (int i = 0; i < kMessages; ++i)
        ASSERT_EQ(log(std::to_string(i) + " " + filler), 0);

    const std::string stem = logName().substr(0, logName().size() - 4);
    int expected = 0;
    for (const std::string &name : {stem + ".2.log", stem + ".1.log", stem + ".log"}) {
        const std::string content = readFile(m_folder.file(name));
        EXPECT_LE(content.size(), 1024U * 1024) << name;
        for (const std::string &text : texts(content))
            ASSERT_EQ(text, std::to_string(expected++) + " " + filler);
    }
    EXPECT_EQ(expected, kMessages);
    EXPECT_EQ(files().size(), 3U);
}

TEST_F(LogFileTest, ThreeOldFilesAreKept)
{
    ASSERT_EQ(m_plugin.setMaxSize(1), 0);
    const std::string half(600 * 1024, 'x');
    for (int i = 0; i < 8; ++i)
        ASSERT_EQ(log(std::to_string(i) + half), 0);
    ASSERT_EQ(files().size(), 4U);
    EXPECT_EQ(logged().at(0).substr(0, 2), "7x");
    EXPECT_EQ(texts(readFile(files().at(2))).at(0).substr(0, 2), "4x");
}

TEST_F(LogFileTest, AMaximumSizeOutOfRangeIsRefused)
{
    EXPECT_EQ(m_plugin.setMaxSize(0), -1);
    EXPECT_EQ(m_plugin.setMaxSize(2048), -1);
    EXPECT_EQ(m_plugin.setMaxSize(~0U), -1);
    EXPECT_EQ(m_plugin.setMaxSize(2047), 0);
    EXPECT_EQ(log("text"), 0);
}

TEST_F(LogFileTest, LinesOfManyThreadsAreNotMixed)
{
    ASSERT_EQ(m_plugin.setMaxSize(100), 0);
    constexpr int kThreads = 8;
    constexpr int kMessages = 200;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([this, thread] {
            for (int i = 0; i < kMessages; ++i)
                log(std::to_string(thread) + ":" + std::to_string(i));
        });
    }
    for (std::thread &thread : threads)
        thread.join();

    std::map<std::string, int> next;
    for (const std::string &text : logged()) {
        const std::string thread = text.substr(0, text.find(':'));
        ASSERT_EQ(text, thread + ":" + std::to_string(next[thread]++));
    }
    EXPECT_EQ(next.size(), static_cast<std::size_t>(kThreads));
    for (const auto &[thread, count] : next)
        EXPECT_EQ(count, kMessages) << thread;
}

TEST_F(LogFileTest, SettingsMayChangeWhileOthersLog)
{
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 3; ++thread) {
        threads.emplace_back([this] {
            for (int i = 0; i < 300; ++i)
                EXPECT_EQ(m_plugin.simplify("Module", i % 5, "text"), 0);
        });
    }
    const std::string other = m_folder.file("other");
    for (int i = 0; i < 100; ++i) {
        m_plugin.setLevel(i % 5);
        m_plugin.configFile(i % 2);
        m_plugin.setMaxSize(1 + static_cast<unsigned int>(i));
        m_plugin.setFolder(i % 3 ? m_folder.path().c_str() : other.c_str());
        m_plugin.lastErrno();
        m_plugin.level();
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(m_plugin.lastErrno(), 0);
}

TEST_F(LogFileTest, AFullDiskIsReportedOnceAndLoggingContinues)
{
    std::filesystem::create_symlink("/dev/full", logPath());
    const std::string reported = console([&] {
        for (int i = 0; i < 1000; ++i)
            EXPECT_EQ(log("text"), -1);
    });
    EXPECT_EQ(reported, "nubrix log: cannot write " + logPath() + ": No space left on device\n");
    EXPECT_EQ(m_plugin.lastErrno(), ENOSPC);
    m_plugin.configConsole(1);
    EXPECT_THAT(texts(console([&] { log("shown"); })), ElementsAre("shown"));
}

TEST_F(LogFileTest, LostMessagesAreCountedInTheFileOnceItCanBeWritten)
{
    std::filesystem::create_symlink("/dev/full", logPath());
    console([&] { EXPECT_EQ(log("lost"), -1); });
    EXPECT_EQ(log("lost"), -1);
    std::filesystem::remove(logPath());
    const int lost = 2 + logUntilTaken();
    EXPECT_THAT(logged(),
                ElementsAre(std::to_string(lost) + " messages could not be written", "again"));
    EXPECT_EQ(log("more"), 0);
    EXPECT_EQ(logged().size(), 3U);
}

TEST_F(LogFileTest, AFileThatCannotBeCreatedIsReportedOnce)
{
    std::filesystem::create_directory(logPath());
    const std::string reported = console([&] {
        for (int i = 0; i < 100; ++i)
            EXPECT_EQ(log("text"), -1);
    });
    EXPECT_EQ(reported, "nubrix log: cannot write " + logPath() + ": Is a directory\n");
    EXPECT_EQ(m_plugin.lastErrno(), EISDIR);
}

TEST_F(LogFileTest, AFailureAfterNewSettingsIsReportedAgain)
{
    std::filesystem::create_directory(logPath());
    const std::string twice = console([&] {
        log("text");
        m_plugin.configFile(0);
        m_plugin.configFile(1);
        log("text");
    });
    EXPECT_EQ(std::count(twice.begin(), twice.end(), '\n'), 2);
}

TEST_F(LogFileTest, AnEmptyFileIsRemovedWhenWritingFails)
{
    rlimit old = {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    const std::string reported = console([&] {
        rlimit none = old;
        none.rlim_cur = 0;
        setrlimit(RLIMIT_FSIZE, &none);
        EXPECT_EQ(log("text"), -1);
        setrlimit(RLIMIT_FSIZE, &old);
    });
    std::signal(SIGXFSZ, oldHandler);
    EXPECT_EQ(m_plugin.lastErrno(), EFBIG);
    EXPECT_TRUE(files().empty());
}

}  // namespace
}  // namespace nubrix
