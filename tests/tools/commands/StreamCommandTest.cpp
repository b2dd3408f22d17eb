#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include <csignal>
#include "tests/TemporaryFolder.h"
#include "tests/tools/ImageFile.h"
#include "tests/tools/ToolProcess.h"

namespace nubrix::tool {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

// Frames that are generated quickly, even under an emulator.
constexpr const char *kSmallMode = "320x240@60";

nlohmann::json streamsOf(const ToolResult &result)
{
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    return result.json()["streams"];
}

std::vector<std::string> typesOf(const nlohmann::json &streams)
{
    std::vector<std::string> types;
    for (const nlohmann::json &stream : streams)
        types.push_back(stream["type"]);
    return types;
}

/// Both ways to receive frames.
class StreamDeliveryTest : public testing::TestWithParam<const char *> {};

TEST_P(StreamDeliveryTest, EveryStreamHasTheRequestedFrames)
{
    const nlohmann::json streams = streamsOf(
        runVirtual({"stream", GetParam(), "--mode", kSmallMode, "--frames", "10", "--json"}));
    EXPECT_THAT(typesOf(streams), ElementsAre("color", "depth", "ir"));
    for (const nlohmann::json &stream : streams) {
        EXPECT_EQ(stream["frames"], 10);
        EXPECT_EQ(stream["damaged"], 0);
        EXPECT_GE(stream["lost"], stream["gaps"]);
        EXPECT_GT(stream["fps"], 0);
        EXPECT_LT(stream["fps"], 300);
        EXPECT_GT(stream["age_us"]["p50"], 0);
        EXPECT_GE(stream["age_us"]["p99"], stream["age_us"]["p50"]);
        EXPECT_FALSE(stream.contains("saved"));
    }
}

TEST_P(StreamDeliveryTest, OnlyTheSelectedStreamsRun)
{
    const nlohmann::json streams =
        streamsOf(runVirtual({"stream", GetParam(), "--mode", kSmallMode, "--streams",
                              "light-ir,depth", "--frames", "2", "--json"}));
    EXPECT_THAT(typesOf(streams), ElementsAre("depth", "light-ir"));
}

TEST_P(StreamDeliveryTest, ItEndsAfterTheRequestedTime)
{
    const nlohmann::json streams =
        streamsOf(runVirtual({"stream", GetParam(), "--streams", "ir", "--mode", kSmallMode,
                              "--seconds", "2.5", "--json"}));
    EXPECT_GE(streams[0]["frames"], 2);
    EXPECT_LE(streams[0]["frames"], 200);
}

TEST_P(StreamDeliveryTest, TheFirstAndTheLastFrameAreSavedAsImages)
{
    const TemporaryFolder folder;
    const std::string target = folder.path() / "new" / "images";
    const nlohmann::json streams = streamsOf(runVirtual(
        {"stream", GetParam(), "--mode", kSmallMode, "--frames", "5", "--json", "--save", target}));
    ASSERT_EQ(streams.size(), 3U);
    const auto paths = [&](const Words &names) {
        Words all;
        for (const std::string &name : names)
            all.push_back(target + "/" + name + ".png");
        return nlohmann::json(all);
    };
    EXPECT_EQ(streams[0]["saved"], paths({"color-first", "color-last"}));
    EXPECT_EQ(streams[1]["saved"],
              paths({"depth-first", "depth-first-color", "depth-last", "depth-last-color"}));
    EXPECT_EQ(streams[2]["saved"], paths({"ir-first", "ir-last"}));
    for (const char *which : {"first", "last"}) {
        const ImageFile color = readImage(target + "/color-" + which + ".png");
        const ImageFile depth = readImage(target + "/depth-" + which + ".png");
        const ImageFile ir = readImage(target + "/ir-" + which + ".png");
        EXPECT_TRUE(color.isRgb8() && depth.isGrey16() && ir.isGrey8());
        EXPECT_TRUE(readImage(target + "/depth-" + which + "-color.png").isRgb8());
        for (const ImageFile &file : {color, depth, ir}) {
            EXPECT_EQ(file.width, 320U);
            EXPECT_EQ(file.height, 240U);
        }
    }
}

TEST_P(StreamDeliveryTest, ACameraCanBeSelected)
{
    const nlohmann::json streams =
        streamsOf(runVirtual({"stream", "usb:virtual-VIRT0001", GetParam(), "--streams", "color",
                              "--frames", "1", "--json"}));
    EXPECT_EQ(streams[0]["frames"], 1);
    EXPECT_EQ(streams[0]["fps"], 0);
}

INSTANTIATE_TEST_SUITE_P(BothWays, StreamDeliveryTest, testing::Values("--callback", "--poll"),
                         [](const auto &way) { return std::string(way.param).substr(2); });

TEST(StreamCommandTest, WithoutATerminalItPrintsOneSummary)
{
    const ToolResult result =
        runVirtual({"stream", "--streams", "color,ir", "--mode", kSmallMode, "--frames", "20"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, testing::StartsWith("stream "));
    EXPECT_THAT(result.out, HasSubstr("\ncolor           20 "));
    EXPECT_THAT(result.out, HasSubstr("\nir              20 "));
    EXPECT_THAT(result.out, Not(HasSubstr("\033")));
    // A slow machine may lose frames: an indented line for each cause follows.
    const std::string table =
        result.out.substr(0, std::min(result.out.find("\n  "), result.out.size() - 1) + 1);
    EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 3);
}

TEST_P(StreamDeliveryTest, TheLedgerAccountsForEveryFrame)
{
    const nlohmann::json streams =
        streamsOf(runVirtual({"stream", GetParam(), "--streams", "ir", "--mode", kSmallMode,
                              "--frames", "10", "--json"}));
    const nlohmann::json ledger = streams[0]["ledger"];
    const auto count = [&](const char *name) { return ledger[name].get<unsigned long long>(); };
    EXPECT_GE(count("handed_over"), 10U);
    EXPECT_EQ(count("handed_over"),
              count("delivered") + count("replaced") + count("discarded") + count("queued"));
    EXPECT_EQ(count("delivered"), count("released") + count("held"));
    EXPECT_TRUE(ledger["driver"].is_object());
    EXPECT_TRUE(streams[0]["losses"].is_array());
}

TEST(StreamCommandTest, TheSavedPathsArePrinted)
{
    const TemporaryFolder folder;
    const std::string target = folder.path();
    const ToolResult result =
        runVirtual({"stream", "--streams", "depth", "--frames", "1", "--save", target});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out,
                testing::EndsWith("saved " + target + "/depth-first.png\nsaved " + target +
                                  "/depth-first-color.png\nsaved " + target +
                                  "/depth-last.png\nsaved " + target + "/depth-last-color.png\n"));
}

TEST(StreamCommandTest, AnUnsupportedModeIsReportedWithItsFieldAndTheNearestOne)
{
    struct Case {
        const char *mode;
        const char *text;
    };
    for (const Case &each :
         {Case{
              "640x480@25",
              "mode 640x480@25 is not available for color: frame rate 25 is not offered at 640x480 "
              "(offered: 5, 15, 30, 60); nearest mode: 640x480@30"},
          Case{"640x481@30", "height 481 is not offered with width 640 (offered: 400, 480)"},
          Case{"1920x1080@30", "nearest mode: 1280x800@30"}}) {
        const ToolResult result = runVirtual({"stream", "--mode", each.mode, "--frames", "1"});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.err, HasSubstr(each.text));
    }
}

TEST(StreamCommandTest, AnUnknownCameraIsAFailureWithTheReason)
{
    const ToolResult result = runVirtual({"stream", "usb:nobody", "--frames", "1", "--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err,
              "nubrix: openDevice (usb:nobody): no such camera (status -4, error 0x80300208); "
              "run 'nubrix list' for those that are attached\n");
}

TEST(StreamCommandTest, AFolderThatCannotBeCreatedIsReportedBeforeAnyStreamRuns)
{
    const TemporaryFolder folder;
    const std::string file = folder.file("file", "");
    const ToolResult result = runVirtual({"stream", "--frames", "1", "--save", file + "/under"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("cannot create the folder " + file + "/under"));
}

// Starts a redraw of the live table: above its title and the lines of two streams.
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
}  // namespace nubrix::tool
