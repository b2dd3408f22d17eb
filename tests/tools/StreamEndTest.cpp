#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "ToolProcess.h"
#include "tests/TemporaryFolder.h"

namespace nubrix {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

// Begins a new picture of the live table: over its head and the lines of two streams.
constexpr const char *kRedraw = "\033[3A\r\033[J";

class StreamEndTest : public testing::TestWithParam<const char *> {};

TEST_P(StreamEndTest, ASignalEndsItCleanlyWithASummary)
{
    for (const int number : {SIGINT, SIGTERM}) {
        ToolProcess tool(
            virtualCommand({"--verbose", "stream", GetParam(), "--streams", "color,ir", "--json"}));
        ASSERT_TRUE(tool.waitForOutput("Open ir stream succeed"));
        tool.signal(number);
        const ToolResult result = tool.finish();
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.json()["streams"].size(), 2U);
        EXPECT_FALSE(result.json().contains("error"));
        EXPECT_THAT(result.err, HasSubstr("Finish close device"));
    }
}

TEST_P(StreamEndTest, OnATerminalATableIsRedrawnUntilCtrlC)
{
    ToolProcess::Options run;
    run.onTerminal = true;
    ToolProcess tool(virtualCommand({"stream", GetParam(), "--streams", "color,ir"}), run);
    ASSERT_TRUE(tool.waitForOutput(kRedraw, 5));
    tool.type("\x03");
    const ToolResult result = tool.finish();
    EXPECT_EQ(result.status, 0);
    // The last table is cleared and followed by the summary.
    const std::string end = result.out.substr(result.out.rfind(kRedraw));
    EXPECT_THAT(end, AllOf(HasSubstr("stream "), HasSubstr("\r\ncolor "), HasSubstr("\r\nir ")));
}

INSTANTIATE_TEST_SUITE_P(BothWays, StreamEndTest, testing::Values("--callback", "--poll"),
                         [](const auto &way) { return std::string(way.param).substr(2); });

TEST(StreamEndTest, JsonOnATerminalHasNoTable)
{
    ToolProcess::Options run;
    run.onTerminal = true;
    const ToolResult result =
        ToolProcess(virtualCommand({"stream", "--seconds", "1", "--streams", "ir", "--json"}), run)
            .finish();
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, Not(HasSubstr("\033")));
    EXPECT_EQ(result.json()["streams"][0]["type"], "ir");
}

}  // namespace
}  // namespace nubrix
