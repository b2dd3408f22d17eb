#include "base/LogCall.h"

#include <gmock/gmock.h>

#include <new>
#include <string>
#include <thread>
#include <vector>

namespace nubrix {
namespace {

struct Logged {
    std::string module;
    std::vector<int> numbers;  // the level, or the four words
    std::string text;
};

std::vector<Logged> g_logged;

int takeSimple(const char *module, int level, const char *text)
{
    g_logged.push_back({module, {level}, text});
    return 17;
}

int takeWords(const char *module, int w1, int w2, int w3, int w4, const char *text)
{
    g_logged.push_back({module, {w1, w2, w3, w4}, text});
    return -18;
}

class LogCallTest : public testing::Test {
protected:
    LogCallTest() { setLogSink({&takeSimple, &takeWords}, "module"); }
    ~LogCallTest() override
    {
        setLogSink({}, "");
        g_logged.clear();
    }
    static Logged last() { return g_logged.empty() ? Logged{} : g_logged.back(); }
};

TEST_F(LogCallTest, WithoutAPlugInNothingHappens)
{
    setLogSink({}, nullptr);
    EXPECT_EQ(logPrint(kLogMilestone, "text %d", 1), 0);
    EXPECT_EQ(logWrite(1, 2, 3, 4, "text %d", 1), 0);
    logEmptyLine();
    EXPECT_TRUE(g_logged.empty());
}

TEST_F(LogCallTest, TheTextIsFormattedAndTheAnswerPassedOn)
{
    EXPECT_EQ(logPrint(kLogError, "frame %u of %s", 3U, "depth"), 17);
    EXPECT_EQ(last().module, "module");
    EXPECT_EQ(last().numbers, std::vector<int>{3});
    EXPECT_EQ(last().text, "frame 3 of depth");
}

TEST_F(LogCallTest, NoLevelIsFilteredAndNoLineEndAdded)
{
    for (int level = -1; level <= 5; ++level) {
        EXPECT_EQ(logPrint(level, "a"), 17);
        EXPECT_EQ(last().numbers, std::vector<int>{level});
    }
    EXPECT_EQ(last().text, "a");
    logPrint(kLogInfo, "with its own\n");
    EXPECT_EQ(last().text, "with its own\n");
}

TEST_F(LogCallTest, AnEmptyLineIsAnEmptyTextAtLevelOne)
{
    logEmptyLine();
    ASSERT_EQ(g_logged.size(), 1U);
    EXPECT_EQ(last().numbers, std::vector<int>{1});
    EXPECT_EQ(last().text, "");
}

TEST_F(LogCallTest, ATextIsCutAfter2047Characters)
{
    const std::string fits(2047, 'x');
    logPrint(kLogInfo, "%s", fits.c_str());
    EXPECT_EQ(last().text, fits);
    logPrint(kLogInfo, "%sy", fits.c_str());
    EXPECT_EQ(last().text, fits);
    logPrint(kLogInfo, "%s", std::string(3000, 'x').c_str());
    EXPECT_EQ(last().text, fits);
    logWrite(0, 0, 0, 0, "%s", std::string(3000, 'x').c_str());
    EXPECT_EQ(last().text, fits);
}

TEST_F(LogCallTest, FourWordsOfTheCallerArePassedThrough)
{
    EXPECT_EQ(logWrite(1, -2, 3, 2147483647, "frame %d", 4), -18);
    EXPECT_EQ(last().module, "module");
    EXPECT_EQ(last().numbers, (std::vector<int>{1, -2, 3, 2147483647}));
    EXPECT_EQ(last().text, "frame 4");
}

TEST_F(LogCallTest, TheModuleNameHas63CharactersAndStaysWithoutANewOne)
{
    setLogSink({&takeSimple, nullptr}, std::string(100, 'm').c_str());
    logPrint(kLogInfo, "a");
    EXPECT_EQ(last().module, std::string(63, 'm'));
    setLogSink({&takeSimple, nullptr}, nullptr);
    logPrint(kLogInfo, "a");
    EXPECT_EQ(last().module, std::string(63, 'm'));
    EXPECT_EQ(logWrite(1, 2, 3, 4, "a"), 0);
}

int takeNothing(const char * /*module*/, int /*level*/, const char *text)
{
    return static_cast<int>(std::char_traits<char>::length(text));
}

TEST_F(LogCallTest, APlugInThatThrowsLogsNothing)
{
    setLogSink({[](const char *, int, const char *) -> int { throw std::bad_alloc(); },
                [](const char *, int, int, int, int, const char *) -> int { throw 1; }},
               nullptr);
    EXPECT_EQ(logPrint(kLogError, "a"), -1);
    EXPECT_EQ(logWrite(1, 2, 3, 4, "a"), -1);
}

TEST_F(LogCallTest, TheSinkMayChangeWhileOthersLog)
{
    setLogSink({&takeNothing, nullptr}, nullptr);
    std::thread logging([] {
        for (int i = 0; i < 2000; ++i) {
            const int answer = logPrint(kLogInfo, "%s", "four");
            EXPECT_TRUE(answer == 4 || answer == 0) << answer;
        }
    });
    for (int i = 0; i < 2000; ++i)
        setLogSink({i % 2 == 0 ? nullptr : &takeNothing, nullptr}, nullptr);
    logging.join();
}

}  // namespace
}  // namespace nubrix
