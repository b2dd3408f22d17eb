#include "virtual/Scenario.h"

#include <gtest/gtest.h>

#include "nubrix/types.h"

namespace nubrix::virtual_camera {
namespace {

Scenario parsed(const std::string &text, const std::string &folder = "/folder")
{
    const auto result = parseScenario(text, folder);
    if (const auto *error = std::get_if<ScenarioError>(&result)) {
        ADD_FAILURE() << error->text("scenario");
        return {};
    }
    return std::get<Scenario>(result);
}

TEST(ScenarioTest, AnEmptyScenarioIsOneCameraOfTheSceneInRealTime)
{
    const Scenario scenario = parsed("{}");
    ASSERT_EQ(scenario.cameras.size(), 1U);
    EXPECT_EQ(scenario.cameras[0].serial, "VIRT0001");
    EXPECT_TRUE(scenario.cameras[0].plugged);
    EXPECT_TRUE(scenario.cameras[0].faults.empty());
    EXPECT_EQ(scenario.pacing, Pacing::kRealtime);
    EXPECT_FALSE(scenario.images);
    EXPECT_EQ(scenario.frameRate, 30);
}

TEST(ScenarioTest, ANumberOfCamerasNumbersThem)
{
    const Scenario scenario = parsed(R"({"cameras": 16})");
    ASSERT_EQ(scenario.cameras.size(), 16U);
    EXPECT_EQ(scenario.cameras[0].serial, "VIRT0001");
    EXPECT_EQ(scenario.cameras[15].serial, "VIRT0016");
}

TEST(ScenarioTest, AListOfCamerasNamesThem)
{
    const Scenario scenario = parsed(
        R"({"cameras": ["a-1_.Z", {}, {"serial": "C", "plugged": false,
            "faults": [{"type": "open_fail"}]}]})");
    ASSERT_EQ(scenario.cameras.size(), 3U);
    EXPECT_EQ(scenario.cameras[0].serial, "a-1_.Z");
    EXPECT_EQ(scenario.cameras[1].serial, "VIRT0002");
    EXPECT_TRUE(scenario.cameras[1].plugged);
    EXPECT_EQ(scenario.cameras[2].serial, "C");
    EXPECT_FALSE(scenario.cameras[2].plugged);
    ASSERT_EQ(scenario.cameras[2].faults.size(), 1U);
    EXPECT_EQ(scenario.cameras[2].faults[0].type, FaultType::kOpenFail);
}

TEST(ScenarioTest, ReadsPacingAndFrameRate)
{
    EXPECT_EQ(parsed(R"({"pacing": "free"})").pacing, Pacing::kFree);
    EXPECT_EQ(parsed(R"({"pacing": "realtime"})").pacing, Pacing::kRealtime);
    EXPECT_EQ(parsed(R"({"frame_rate": 1})").frameRate, 1);
    EXPECT_EQ(parsed(R"({"frame_rate": 120})").frameRate, 120);
}

TEST(ScenarioTest, ReadsTheImages)
{
    const Scenario scenario = parsed(R"({"source": "images", "images": {
        "folder": "/images", "repeat": "once", "depth_unit_mm": 0.2,
        "intrinsics": {"fx": 525, "fy": 524.5, "cx": 319.5, "cy": -1}}})");
    ASSERT_TRUE(scenario.images);
    EXPECT_EQ(scenario.images->folder, "/images");
    EXPECT_EQ(scenario.images->folderLine, 2);
    EXPECT_FALSE(scenario.images->loop);
    EXPECT_EQ(scenario.images->depthUnitMm, 0.2);
    ASSERT_TRUE(scenario.images->intrinsics);
    EXPECT_EQ(scenario.images->intrinsics->fx, 525.0F);
    EXPECT_EQ(scenario.images->intrinsics->fy, 524.5F);
    EXPECT_EQ(scenario.images->intrinsics->cx, 319.5F);
    EXPECT_EQ(scenario.images->intrinsics->cy, -1.0F);
}

TEST(ScenarioTest, ImagesLoopInMillimetresBeginningFromTheFolderOfTheScenario)
{
    const Scenario scenario =
        parsed(R"({"source": "images", "images": {"folder": "a/b"}})", "/home/x");
    ASSERT_TRUE(scenario.images);
    EXPECT_EQ(scenario.images->folder, "/home/x/a/b");
    EXPECT_TRUE(scenario.images->loop);
    EXPECT_EQ(scenario.images->depthUnitMm, 1.0);
    EXPECT_FALSE(scenario.images->intrinsics);
}

TEST(ScenarioTest, ReadsTheRecording)
{
    const Scenario scenario = parsed(R"({"source": "recording", "recording": {
        "file": "/data/room.bin", "repeat": "loop", "depth_unit_mm": 0.25,
        "intrinsics": {"fx": 1, "fy": 2, "cx": 3, "cy": 4}}})");
    ASSERT_TRUE(scenario.recording);
    EXPECT_FALSE(scenario.images);
    EXPECT_EQ(scenario.recording->file, "/data/room.bin");
    EXPECT_TRUE(scenario.recording->loop);
    EXPECT_EQ(scenario.recording->depthUnitMm, 0.25);
    EXPECT_EQ(scenario.recording->intrinsics->cy, 4);
}

TEST(ScenarioTest, ARecordingIsPlayedOnceInSixteenthsOfAMillimetre)
{
    const Scenario scenario =
        parsed(R"({"source": "recording", "recording": {"file": "room.bin"}})", "/scenarios");
    ASSERT_TRUE(scenario.recording);
    EXPECT_EQ(scenario.recording->file, "/scenarios/room.bin");
    EXPECT_EQ(scenario.recording->fileLine, 1);
    EXPECT_FALSE(scenario.recording->loop);
    EXPECT_EQ(scenario.recording->depthUnitMm, 0.0625);
    EXPECT_FALSE(scenario.recording->intrinsics);
}

TEST(ScenarioTest, FaultsOfAllCamerasComeBeforeTheirOwn)
{
    const Scenario scenario = parsed(R"({"cameras": [{"faults": [{"type": "drop", "at_ms": 7}]},
        {}], "faults": [{"type": "open_fail"}, {"type": "start_fail"}]})");
    ASSERT_EQ(scenario.cameras[0].faults.size(), 3U);
    EXPECT_EQ(scenario.cameras[0].faults[0].type, FaultType::kOpenFail);
    EXPECT_EQ(scenario.cameras[0].faults[1].type, FaultType::kStartFail);
    EXPECT_EQ(scenario.cameras[0].faults[2].type, FaultType::kDrop);
    EXPECT_EQ(scenario.cameras[1].faults.size(), 2U);
}

Fault fault(const std::string &text)
{
    const Scenario scenario = parsed(R"({"faults": [)" + text + "]}");
    return scenario.cameras.at(0).faults.at(0);
}

TEST(ScenarioTest, ReadsEveryTypeOfFault)
{
    const std::pair<const char *, FaultType> types[] = {
        {R"("unplug", "at_ms": 1)", FaultType::kUnplug},
        {R"("plug", "at_ms": 1)", FaultType::kPlug},
        {R"("stall", "at_ms": 1)", FaultType::kStall},
        {R"("drop", "at_ms": 1)", FaultType::kDrop},
        {R"("short_frame", "at_ms": 1)", FaultType::kShortFrame},
        {R"("empty_frame", "at_ms": 1)", FaultType::kEmptyFrame},
        {R"("wrong_type", "at_ms": 1)", FaultType::kWrongType},
        {R"("clock_jump", "at_ms": 1, "by_ms": 1)", FaultType::kClockJump},
        {R"("keep_alive_fail", "at_ms": 1)", FaultType::kKeepAliveFail},
        {R"("open_fail", "at_ms": 1)", FaultType::kOpenFail},
        {R"("start_fail", "at_ms": 1)", FaultType::kStartFail},
        {R"("buffer_size_change")", FaultType::kBufferSizeChange}};
    for (const auto &[text, type] : types)
        EXPECT_EQ(fault(R"({"type": )" + std::string(text) + "}").type, type) << text;
}

TEST(ScenarioTest, ReadsTheDetailsOfFaults)
{
    const Fault drop = fault(R"({"type": "drop", "at_frame": 9, "count": 3, "stream": "depth"})");
    EXPECT_EQ(drop.atFrame, 9U);
    EXPECT_FALSE(drop.atMs);
    EXPECT_EQ(drop.count, 3U);
    EXPECT_EQ(drop.streamType, NUBRIX_STREAM_DEPTH);
    const Fault stall = fault(R"({"type": "stall", "at_ms": 5, "duration_ms": 8, "stream": "ir"})");
    EXPECT_EQ(stall.atMs, 5U);
    EXPECT_EQ(stall.duration, 8U);
    EXPECT_EQ(stall.streamType, NUBRIX_STREAM_IR);
    EXPECT_EQ(fault(R"({"type": "plug", "after_ms": 6})").afterMs, 6U);
    EXPECT_EQ(fault(R"({"type": "short_frame", "at_ms": 0, "bytes": 0})").bytes, 0U);
    EXPECT_EQ(fault(R"({"type": "wrong_type", "at_ms": 0, "as": "light-ir"})").asType,
              NUBRIX_STREAM_LIGHT_IR);
    EXPECT_EQ(fault(R"({"type": "clock_jump", "at_ms": 0, "by_ms": -4})").jumpMs, -4);
    const Fault start = fault(R"({"type": "start_fail", "attempt": 2, "count": 4, "status": 7,
        "stream": "color"})");
    EXPECT_EQ(start.attempt, 2U);
    EXPECT_EQ(start.count, 4U);
    EXPECT_EQ(start.status, 7);
    EXPECT_EQ(start.streamType, NUBRIX_STREAM_COLOR);
    const Fault buffer =
        fault(R"({"type": "buffer_size_change", "start": 3, "count": 1, "bytes": 64})");
    EXPECT_EQ(buffer.attempt, 3U);
    EXPECT_EQ(buffer.count, 1U);
    EXPECT_EQ(buffer.bytes, 64U);
}

TEST(ScenarioTest, FaultsHaveDefaults)
{
    const Fault drop = fault(R"({"type": "drop", "at_frame": 0})");
    EXPECT_EQ(drop.count, 1U);
    EXPECT_EQ(drop.streamType, 0U);
    const Fault open = fault(R"({"type": "open_fail"})");
    EXPECT_EQ(open.attempt, 1U);
    EXPECT_EQ(open.count, 1U);
    EXPECT_EQ(open.status, -1);
    const Fault buffer = fault(R"({"type": "buffer_size_change"})");
    EXPECT_EQ(buffer.attempt, 2U);
    EXPECT_EQ(buffer.bytes, 4096U);
    EXPECT_GT(buffer.count, 1000000U);
    EXPECT_FALSE(fault(R"({"type": "stall", "at_ms": 1})").duration);
}

TEST(ScenarioErrorTest, ReadsAsOneLine)
{
    EXPECT_EQ((ScenarioError{"a.b", 7, "is wrong"}).text("file"), "file:7: a.b: is wrong");
    EXPECT_EQ((ScenarioError{"", 7, "is wrong"}).text("file"), "file:7: is wrong");
    EXPECT_EQ((ScenarioError{"", 0, "is wrong"}).text("file"), "file: is wrong");
    EXPECT_EQ((ScenarioError{"a\nb", 1, "is\twrong"}).text("file"), "file:1: a?b: is?wrong");
}

}  // namespace
}  // namespace nubrix::virtual_camera
