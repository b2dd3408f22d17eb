#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/TemporaryFolder.h"
#include "tests/tools/ImageFile.h"
#include "tests/tools/ToolProcess.h"

namespace nubrix::tool {
namespace {

using testing::AllOf;
using testing::HasSubstr;

/// The camera delivers each frame as soon as the previous one has been read, so that every run is
/// the same.
class StreamFaultTest : public testing::TestWithParam<const char *> {
protected:
    /// Runs the tool on a small colour stream of a camera with these faults.
    ToolResult stream(const std::string &faults, const Words &options) const
    {
        const std::string scenario =
            m_folder.file("faults.json", R"({"pacing": "free", "faults": [)" + faults + "]}");
        Words words = {"stream", GetParam(),   "--streams", "color",
                       "--mode", "320x240@60", "--json"};
        words.insert(words.end(), options.begin(), options.end());
        return runVirtual(words, scenario);
    }

    TemporaryFolder m_folder;
};

nlohmann::json streamOf(const ToolResult &result)
{
    return result.json()["streams"][0];
}

TEST_P(StreamFaultTest, WithoutFaultsNoFrameIsLost)
{
    const ToolResult result = stream("", {"--frames", "100"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(streamOf(result)["frames"], 100);
    EXPECT_EQ(streamOf(result)["gaps"], 0);
    EXPECT_EQ(streamOf(result)["lost"], 0);
    EXPECT_EQ(streamOf(result)["damaged"], 0);
}

TEST_P(StreamFaultTest, AnUnpluggedCameraEndsItWithTheCause)
{
    const ToolResult result = stream(R"({"type": "unplug", "at_frame": 10})", {"--frames", "1000"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(streamOf(result)["frames"], 10);
    EXPECT_THAT(result.err, AllOf(HasSubstr("the camera is gone: unplugged"),
                                  HasSubstr("(status -9, error 0)")));
    EXPECT_EQ("nubrix: " + result.json()["error"].get<std::string>() + "\n", result.err);
}

TEST_P(StreamFaultTest, AnUnresponsiveCameraEndsItWithTheCause)
{
    const ToolResult result =
        stream(R"({"type": "keep_alive_fail", "at_frame": 20})", {"--frames", "1000000"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err,
                AllOf(HasSubstr("does not answer any more"), HasSubstr("(status -10, error 0)")));
    EXPECT_GE(streamOf(result)["frames"], 19);
}

TEST_P(StreamFaultTest, AStreamThatStallsEndsItWithTheLastIndex)
{
    const auto expectTimeout = [&](int frames, const Words &options, const std::string &last) {
        const std::string at = std::to_string(frames);
        const ToolResult result = stream(R"({"type": "stall", "at_frame": )" + at + "}", options);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(streamOf(result)["frames"], frames);
        EXPECT_EQ(result.err,
                  "nubrix: no frame of color for 5 s, although the camera is connected and "
                  "responds; " +
                      last + "\n");
    };
    expectTimeout(3, {"--frames", "10"}, "the last one had the index 2");
    expectTimeout(0, {}, "none arrived since the stream was opened");
}

TEST_P(StreamFaultTest, NoFrameInTheRequestedTimeIsAFailure)
{
    const ToolResult result = stream(R"({"type": "stall", "at_frame": 0})", {"--seconds", "0.5"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "nubrix: no frame of color arrived in this time\n");
}

TEST_P(StreamFaultTest, AShortStallIsNoFailure)
{
    const ToolResult result =
        stream(R"({"type": "stall", "at_frame": 3, "duration_ms": 700})", {"--frames", "10"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(streamOf(result)["frames"], 10);
}

TEST_P(StreamFaultTest, DroppedFramesAreGapsInTheIndex)
{
    const ToolResult result = stream(R"({"type": "drop", "at_frame": 5, "count": 3},
        {"type": "drop", "at_frame": 12})",
                                     {"--frames", "20"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(streamOf(result)["frames"], 20);
    EXPECT_EQ(streamOf(result)["gaps"], 2);
    EXPECT_EQ(streamOf(result)["lost"], 4);
}

TEST_P(StreamFaultTest, DamagedFramesAreCountedAndNotSaved)
{
    const std::string saved = m_folder.path() / "saved";
    const std::string expected = m_folder.path() / "expected";
    const ToolResult result = stream(R"({"type": "short_frame", "at_frame": 0},
        {"type": "empty_frame", "at_frame": 4}, {"type": "wrong_type", "at_frame": 5},
        {"type": "short_frame", "at_frame": 8, "count": 2})",
                                     {"--frames", "10", "--save", saved});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(streamOf(result)["frames"], 10);
    EXPECT_EQ(streamOf(result)["damaged"], 5);
    EXPECT_EQ(streamOf(result)["gaps"], 0);

    // The first complete frame is number 1, the last number 7.
    ASSERT_EQ(stream("", {"--frames", "2", "--save", expected}).status, 0);
    EXPECT_TRUE(readImage(saved + "/color-first.png") == readImage(expected + "/color-last.png"));
    ASSERT_EQ(stream("", {"--frames", "8", "--save", expected}).status, 0);
    EXPECT_TRUE(readImage(saved + "/color-last.png") == readImage(expected + "/color-last.png"));
}

TEST_P(StreamFaultTest, AStreamOfDamagedFramesOnlyHasNothingToSave)
{
    const ToolResult result = stream(R"({"type": "empty_frame", "at_frame": 0, "count": 5})",
                                     {"--frames", "5", "--save", m_folder.path() / "saved"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(streamOf(result)["damaged"], 5);
    EXPECT_EQ(streamOf(result)["saved"], nlohmann::json::array());
}

TEST_P(StreamFaultTest, ACaptureTimeInTheFutureGivesAgeZero)
{
    const ToolResult result =
        stream(R"({"type": "clock_jump", "at_frame": 0, "by_ms": 500000})", {"--frames", "5"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(streamOf(result)["age_us"]["p99"], 0);
}

TEST_P(StreamFaultTest, ACameraThatDoesNotOpenIsReportedWithItsStatus)
{
    const ToolResult result = stream(R"({"type": "open_fail", "status": -77})", {"--frames", "1"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err,
              "nubrix: openDevice (usb:virtual-VIRT0001): the driver could not open the camera "
              "(status -77, error 0); run 'nubrix doctor'\n");
}

TEST_P(StreamFaultTest, AStreamThatDoesNotStartIsReportedWithItsStatus)
{
    const ToolResult result =
        stream(R"({"type": "start_fail", "stream": "color", "status": -78})", {"--frames", "1"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, AllOf(HasSubstr("openStream (color of usb:virtual-VIRT0001): "),
                                  HasSubstr("(status -78,")));
}

INSTANTIATE_TEST_SUITE_P(BothWays, StreamFaultTest, testing::Values("--callback", "--poll"),
                         [](const auto &way) { return std::string(way.param).substr(2); });

TEST(ScenarioFaultTest, AnUnpluggedCameraIsNotListedButItsDriverIs)
{
    const TemporaryFolder folder;
    const std::string scenario =
        folder.file("off.json", R"({"cameras": [{"serial": "A1", "plugged": false}]})");
    const ToolResult result = runVirtual({"list"}, scenario);
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, AllOf(HasSubstr("no camera found\n"),
                                  HasSubstr("libNubrixUvcDriver.so: loaded from /"),
                                  HasSubstr("/virtual/libNubrixUvcDriver.so\n"),
                                  HasSubstr("libNubrixNetDriver.so: not loaded: ")));
}

TEST(ScenarioFaultTest, EachOfSeveralCamerasCanBeSelected)
{
    const TemporaryFolder folder;
    const std::string scenario = folder.file("two.json", R"({"cameras": ["LEFT", "RIGHT"]})");
    const nlohmann::json cameras = runVirtual({"list", "--json"}, scenario).json()["cameras"];
    ASSERT_EQ(cameras.size(), 2U);
    for (const nlohmann::json &camera : cameras) {
        const ToolResult result = runVirtual({"props", camera["uri"], "--json"}, scenario);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.json()["version"]["serial_number"], camera["serial_number"]);
    }
}

TEST(ScenarioFaultTest, ABadScenarioFailsWithItsLine)
{
    const TemporaryFolder folder;
    const std::string scenario =
        folder.file("bad.json", "{\n  \"cameras\": 1,\n  \"colour\": 2\n}");
    for (const char *command : {"list", "modes", "stream", "props"}) {
        const ToolResult result = runVirtual({command}, scenario);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.err, AllOf(HasSubstr("bad.json:3: colour"),
                                      HasSubstr("initialize: a driver plug-in could not start "
                                                "(status -4, error 0)")));
    }
}

}  // namespace
}  // namespace nubrix::tool
