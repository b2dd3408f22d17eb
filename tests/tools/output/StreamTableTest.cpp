#include "output/StreamTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace nubrix::tool {
namespace {

using testing::HasSubstr;

StreamRow row(const char *name, std::uint64_t frames)
{
    StreamFigures figures;
    figures.frames = frames;
    figures.framesPerSecond = 29.97;
    figures.gaps = 2;
    figures.lost = 5;
    figures.damaged = 1;
    figures.ageMedianUs = 812;
    figures.age99PercentUs = 1204;
    return {name, figures};
}

TEST(StreamTableTest, TheSummaryHasATitleAndALineForEachStream)
{
    EXPECT_EQ(StreamTable::summary({row("color", 90), row("light-ir", 1234567)}),
              "stream      frames  frames/s   gaps   lost  damaged  median age/us      99 %/us\n"
              "color           90      30.0      2      5        1            812         1204\n"
              "light-ir   1234567      30.0      2      5        1            812         1204\n");
}

TEST(StreamTableTest, FramesOfARecordingHaveNoAge)
{
    StreamRow played = row("depth", 90);
    played.figures.hasAge = false;
    EXPECT_EQ(StreamTable::summary({played}),
              "stream      frames  frames/s   gaps   lost  damaged  median age/us      99 %/us\n"
              "depth           90      30.0      2      5        1              -            -\n");
}

TEST(StreamTableTest, TheLiveTableIsDrawnOverThePreviousOne)
{
    StreamTable table;
    testing::internal::CaptureStdout();
    table.drawLive({row("color", 10), row("depth", 20)}, 1000000);
    const std::string first = testing::internal::GetCapturedStdout();
    EXPECT_EQ(first, StreamTable::summary({row("color", 10), row("depth", 20)}));

    testing::internal::CaptureStdout();
    table.drawLive({row("color", 11), row("depth", 21)}, 2000000);
    const std::string second = testing::internal::GetCapturedStdout();
    EXPECT_EQ(second.substr(0, 8), "\033[3A\r\033[J");
    EXPECT_THAT(second, HasSubstr("color           11"));
}

TEST(StreamTableTest, TheLiveTableShowsTheRateOfTheLastSecond)
{
    StreamTable table;
    testing::internal::CaptureStdout();
    for (std::uint64_t tick = 0; tick < 20; ++tick)  // 5 a second; first 10, then 60 frames/s
        table.drawLive({row("color", tick < 10 ? tick * 2 : 20 + (tick - 10) * 12)}, tick * 200000);
    const std::string drawn = testing::internal::GetCapturedStdout();
    const std::string last = drawn.substr(drawn.rfind("color"));
    EXPECT_THAT(last, HasSubstr("128      60.0"));
}

TEST(StreamTableTest, ClearingRemovesTheTableOnce)
{
    StreamTable table;
    testing::internal::CaptureStdout();
    table.clearLive();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");

    testing::internal::CaptureStdout();
    table.drawLive({row("color", 1)}, 1);
    table.clearLive();
    table.clearLive();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              StreamTable::summary({row("color", 1)}) + "\033[2A\r\033[J");
}

}  // namespace
}  // namespace nubrix::tool
