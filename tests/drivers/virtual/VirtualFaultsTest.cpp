// Every fault of a scenario, from the view of a driver's user.
#include <gmock/gmock.h>

#include <atomic>

#include "tests/drivers/virtual/VirtualCameraFixture.h"

namespace nubrix::virtual_camera {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

class VirtualFaultsTest : public VirtualCameraTest {
protected:
    /// One camera in free pacing with small frames and these faults.
    NubrixBaseDevice &openWith(const std::string &faults)
    {
        useScenario(R"({"pacing": "free", "faults": [)" + faults + "]}");
        return openSmall();
    }

    static std::vector<unsigned int> indicesOf(const std::vector<Received> &frames)
    {
        std::vector<unsigned int> indices;
        for (const Received &frame : frames)
            indices.push_back(frame.record.frameIndex);
        return indices;
    }
};

constexpr unsigned int kSize = 320 * 240;

TEST_F(VirtualFaultsTest, DroppedFramesCountInTheIndex)
{
    NubrixBaseDevice &device = openWith(R"({"type": "drop", "at_frame": 2, "count": 3})");
    TestStream stream(device, NUBRIX_STREAM_IR);
    for (int i = 0; i < 2; ++i)
        EXPECT_THAT(indicesOf(run(stream, 5)), ElementsAre(0, 1, 5, 6, 7));
}

TEST_F(VirtualFaultsTest, AStreamThatDropsEveryFrameCanBeStopped)
{
    NubrixBaseDevice &device = openWith(R"({"type": "drop", "at_frame": 1, "count": 1000000000})");
    TestStream stream(device, NUBRIX_STREAM_IR);
    EXPECT_THAT(indicesOf(run(stream, 1)), ElementsAre(0));
}

TEST_F(VirtualFaultsTest, AFaultOfOneStreamLeavesTheOtherAlone)
{
    NubrixBaseDevice &device =
        openWith(R"({"type": "drop", "at_frame": 1, "count": 2, "stream": "depth"})");
    TestStream depth(device, NUBRIX_STREAM_DEPTH);
    TestStream ir(device, NUBRIX_STREAM_IR);
    EXPECT_THAT(indicesOf(run(depth, 3)), ElementsAre(0, 3, 4));
    EXPECT_THAT(indicesOf(run(ir, 3)), ElementsAre(0, 1, 2));
}

TEST_F(VirtualFaultsTest, ShortFramesHoldFewerBytes)
{
    NubrixBaseDevice &device = openWith(R"({"type": "short_frame", "at_frame": 1, "bytes": 10},
        {"type": "short_frame", "at_frame": 2, "count": 2})");
    TestStream stream(device, NUBRIX_STREAM_IR);
    const auto frames = run(stream, 5);
    EXPECT_THAT(indicesOf(frames), ElementsAre(0, 1, 2, 3, 4));
    const unsigned int sizes[] = {kSize, 10, kSize / 2, kSize / 2, kSize};
    const unsigned int flags[] = {0, 1, 1, 1, 0};
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(frames[i].record.dataSize, sizes[i]) << i;
        EXPECT_EQ(frames[i].record.flags, flags[i]) << i;
    }
}

TEST_F(VirtualFaultsTest, AShortFrameIsNeverLongerThanACompleteOne)
{
    NubrixBaseDevice &device =
        openWith(R"({"type": "short_frame", "at_frame": 0, "bytes": 16000000})");
    TestStream stream(device, NUBRIX_STREAM_IR);
    EXPECT_EQ(run(stream, 1).front().record.dataSize, kSize);
}

TEST_F(VirtualFaultsTest, EmptyFramesHoldNothing)
{
    NubrixBaseDevice &device = openWith(R"({"type": "empty_frame", "at_frame": 1})");
    TestStream stream(device, NUBRIX_STREAM_IR);
    const auto frames = run(stream, 3);
    EXPECT_EQ(frames[1].record.dataSize, 0U);
    EXPECT_EQ(frames[1].record.flags, 2U);
    EXPECT_EQ(frames[1].record.frameIndex, 1U);
    EXPECT_EQ(frames[2].record.dataSize, kSize);
    EXPECT_EQ(frames[2].record.flags, 0U);
}

TEST_F(VirtualFaultsTest, FramesOfAWrongTypeClaimToBeOfAnotherStream)
{
    NubrixBaseDevice &device = openWith(R"({"type": "wrong_type", "at_frame": 1, "as": "light-ir"},
        {"type": "wrong_type", "at_frame": 2})");
    TestStream ir(device, NUBRIX_STREAM_IR);
    const auto frames = run(ir, 4);
    const unsigned int types[] = {NUBRIX_STREAM_IR, NUBRIX_STREAM_LIGHT_IR, NUBRIX_STREAM_DEPTH,
                                  NUBRIX_STREAM_IR};
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_EQ(frames[i].record.streamType, types[i]) << i;
    EXPECT_EQ(frames[1].record.flags, 4U);
    TestStream depth(device, NUBRIX_STREAM_DEPTH);
    EXPECT_EQ(run(depth, 3)[2].record.streamType, NUBRIX_STREAM_COLOR);
}

TEST_F(VirtualFaultsTest, TheClockJumpsForGood)
{
    NubrixBaseDevice &device =
        openWith(R"({"type": "clock_jump", "at_frame": 2, "by_ms": -3600000})");
    TestStream stream(device, NUBRIX_STREAM_IR);
    const auto frames = run(stream, 5);
    constexpr std::uint64_t kHour = 3600000000U;
    EXPECT_GE(stampOf(frames[1].record), stampOf(frames[0].record));
    EXPECT_LT(stampOf(frames[2].record), stampOf(frames[1].record));
    EXPECT_GE(stampOf(frames[2].record) + kHour, stampOf(frames[1].record));
    EXPECT_GE(stampOf(frames[4].record), stampOf(frames[3].record));
    EXPECT_LT(stampOf(frames[4].record), stampOf(frames[1].record));
}

TEST_F(VirtualFaultsTest, AStallInFreePacingDelaysAndDropsNothing)
{
    NubrixBaseDevice &device = openWith(R"({"type": "stall", "at_frame": 2, "duration_ms": 40})");
    TestStream stream(device, NUBRIX_STREAM_IR);
    const auto frames = run(stream, 4);
    EXPECT_THAT(indicesOf(frames), ElementsAre(0, 1, 2, 3));
    EXPECT_GE(frames[2].arrival - frames[1].arrival, std::chrono::milliseconds(40));
    EXPECT_GE(stampOf(frames[2].record) - stampOf(frames[1].record), 40000U);
}

TEST_F(VirtualFaultsTest, InRealTimeTheFramesOfAStallAreLost)
{
    useScenario(
        R"({"faults": [{"type": "stall", "at_frame": 2, "duration_ms": 200, "stream": "ir"}]})");
    NubrixBaseDevice &device = openSmall();
    TestStream stream(device, NUBRIX_STREAM_IR);
    ASSERT_EQ(stream.start(), 0);
    // Frames 0 and 1 come before the stall, unless the machine is slow and skips them.
    ASSERT_TRUE(stream.sink().await(3));
    ASSERT_EQ(stream.stop(), 0);
    auto indices = stream.sink().indices();
    std::erase_if(indices, [](unsigned int index) { return index < 2; });
    EXPECT_GE(indices.front(), 2U + 12U) << "200 ms at 60 frames a second";
}

TEST_F(VirtualFaultsTest, AStallForEverCanBeStopped)
{
    NubrixBaseDevice &device = openWith(R"({"type": "stall", "at_frame": 1})");
    TestStream stream(device, NUBRIX_STREAM_IR);
    EXPECT_THAT(indicesOf(run(stream, 1)), ElementsAre(0));
    EXPECT_EQ(stream.sink().count(), 1U);
}

TEST_F(VirtualFaultsTest, KeepAliveFailsFromAFrameOn)
{
    NubrixBaseDevice &device = openWith(R"({"type": "keep_alive_fail", "at_frame": 3})");
    TestStream stream(device, NUBRIX_STREAM_IR);
    std::atomic<int> aliveAt2{-1};
    stream.sink().onFrame = [&](NubrixFrameRef *frame) {
        if (frame->frame().frameIndex == 2)
            aliveAt2 = device.keepLiveState();
    };
    EXPECT_NE(device.keepLiveState(), 0);
    run(stream, 4);
    EXPECT_EQ(aliveAt2, 1);
    EXPECT_EQ(device.keepLiveState(), 0);
    EXPECT_EQ(device.deviceState(), 0);
}

TEST_F(VirtualFaultsTest, OpeningFailsForTheCountOfTheScenario)
{
    useScenario(R"({"faults": [{"type": "open_fail", "count": 2, "status": -5}]})");
    NubrixBaseDevice *device = nullptr;
    EXPECT_EQ(m_driver->openDevice(kFirstUri, &device), -5);
    EXPECT_EQ(m_driver->openDeviceByFd(0x1209, 1, 3, nullptr, &device), -5);
    EXPECT_EQ(device, nullptr);
    EXPECT_EQ(m_driver->openDevice(kFirstUri, &device), 0);
}

TEST_F(VirtualFaultsTest, StartingFailsForTheCountOfTheScenario)
{
    NubrixBaseDevice &device =
        openWith(R"({"type": "start_fail", "stream": "ir", "attempt": 2, "status": 7})");
    TestStream stream(device, NUBRIX_STREAM_IR);
    run(stream, 1);
    EXPECT_EQ(stream.start(), 7);
    EXPECT_EQ(stream.stop(), 0);
    EXPECT_EQ(device.setFrameMode(NUBRIX_STREAM_IR, {NUBRIX_PIXEL_GREY8, 320, 240, 30}, false), 0)
        << "a stream that failed to start does not run";
    run(stream, 1);
}

TEST_F(VirtualFaultsTest, TheBufferSizeChangesOnARestart)
{
    NubrixBaseDevice &device = openWith(R"({"type": "buffer_size_change", "bytes": 1000})");
    TestStream stream(device, NUBRIX_STREAM_IR);
    EXPECT_EQ(stream->getFrameBufferSize(), kSize);
    EXPECT_EQ(run(stream, 1).front().record.dataSize, kSize);
    EXPECT_EQ(stream->getFrameBufferSize(), kSize + 1000);
    EXPECT_EQ(run(stream, 1).front().record.dataSize, kSize);
    EXPECT_EQ(stream.pool().getFrameBufferSize(), kSize + 1000);
    EXPECT_EQ(stream->getFrameBufferSize(), kSize + 1000);
}

TEST_F(VirtualFaultsTest, FaultsByTimeHappenToo)
{
    NubrixBaseDevice &device = openWith(
        R"({"type": "drop", "at_ms": 0, "count": 2}, {"type": "empty_frame", "at_ms": 0},
           {"type": "clock_jump", "at_ms": 0, "by_ms": 86400000},
           {"type": "keep_alive_fail", "at_ms": 0})");
    EXPECT_EQ(device.keepLiveState(), 0);
    TestStream stream(device, NUBRIX_STREAM_IR);
    const auto frames = run(stream, 3);
    EXPECT_THAT(indicesOf(frames), ElementsAre(2, 3, 4));
    EXPECT_EQ(frames[0].record.dataSize, kSize) << "the first frame, the empty one, was dropped";
    const auto now =
        static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(
                                       std::chrono::steady_clock::now().time_since_epoch())
                                       .count());
    EXPECT_GT(stampOf(frames[0].record), now + 80000000000U);
    EXPECT_THAT(indicesOf(run(stream, 3)), ElementsAre(0, 1, 2)) << "once only";
}

TEST_F(VirtualFaultsTest, EveryRunOfAFaultyStreamIsTheSame)
{
    const std::string faults = R"({"type": "drop", "at_frame": 3, "count": 4},
        {"type": "short_frame", "at_frame": 9, "count": 3}, {"type": "empty_frame", "at_frame": 14},
        {"type": "wrong_type", "at_frame": 16}, {"type": "drop", "at_frame": 18})";
    std::vector<std::vector<unsigned int>> stories;
    for (int life = 0; life < 3; ++life) {
        NubrixBaseDevice &device = openWith(faults);
        TestStream stream(device, NUBRIX_STREAM_IR);
        std::vector<unsigned int> story;
        for (const Received &frame : run(stream, 20)) {
            for (const unsigned int word : {frame.record.frameIndex, frame.record.dataSize,
                                            frame.record.streamType, frame.record.flags})
                story.push_back(word);
        }
        stories.push_back(story);
    }
    EXPECT_EQ(stories[1], stories[0]);
    EXPECT_EQ(stories[2], stories[0]);
}

TEST_F(VirtualFaultsTest, FaultsOfOneCameraLeaveTheOthersAlone)
{
    useScenario(R"({"pacing": "free", "cameras": ["A", {"serial": "B", "faults": [
        {"type": "open_fail"}]}], "faults": [{"type": "drop", "at_frame": 0}]})");
    NubrixBaseDevice *device = nullptr;
    EXPECT_EQ(m_driver->openDevice("usb:virtual-B", &device), -1);
    EXPECT_EQ(m_driver->openDevice("usb:virtual-A", &device), 0);
    TestStream stream(*device, NUBRIX_STREAM_IR);
    EXPECT_THAT(indicesOf(run(stream, 2)), ElementsAre(1, 2)) << "faults of all concern both";
}

}  // namespace
}  // namespace nubrix::virtual_camera
