// When frames are delivered: by the clock in real time, by their return in free pacing.
#include <gmock/gmock.h>

#include <deque>
#include <thread>

#include "tests/drivers/virtual/VirtualCameraFixture.h"

namespace nubrix::virtual_camera {
namespace {

using testing::ElementsAre;

using VirtualPacingTest = VirtualCameraTest;

std::uint64_t usOf(std::chrono::steady_clock::time_point moment)
{
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(moment.time_since_epoch()).count());
}

void expectEveryIndexOnce(const FrameSink &sink)
{
    const auto indices = sink.indices();
    for (unsigned int i = 0; i < indices.size(); ++i)
        ASSERT_EQ(indices[i], i);
}

TEST_F(VirtualPacingTest, InRealTimeFramesAreStampedWithTheirScheduledTimes)
{
    useDefault();
    NubrixBaseDevice &device = openSmall(60);
    const auto before = std::chrono::steady_clock::now();
    TestStream stream(device, NUBRIX_STREAM_IR);
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(stream.sink().await(12));
    ASSERT_EQ(stream.stop(), 0);
    const auto frames = stream.sink().frames();
    const typedefNubrixFrame &first = frames.front().record;
    EXPECT_GE(stampOf(first), usOf(before));
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const typedefNubrixFrame &record = frames[i].record;
        EXPECT_EQ(stampOf(record) - stampOf(first),
                  record.frameIndex * 1000000ULL / 60 - first.frameIndex * 1000000ULL / 60);
        EXPECT_LE(stampOf(record), usOf(frames[i].arrival)) << "a frame came before its time";
        if (i > 0) {
            EXPECT_GT(record.frameIndex, frames[i - 1].record.frameIndex);
        }
    }
}

TEST_F(VirtualPacingTest, StreamsOfOneRateHaveTheSameIndexAtTheSameTime)
{
    useDefault();
    NubrixBaseDevice &device = openSmall(60);
    TestStream depth(device, NUBRIX_STREAM_DEPTH);
    TestStream ir(device, NUBRIX_STREAM_IR);
    ASSERT_EQ(depth.start(), 0);
    ASSERT_TRUE(depth.sink().await(3));
    ASSERT_EQ(ir.start(), 0);
    // Both have frames of the time when both ran, however slow the machine is.
    ASSERT_TRUE(ir.sink().await(3));
    ASSERT_TRUE(depth.sink().await(depth.sink().count() + 3));
    ASSERT_EQ(depth.stop(), 0);
    ASSERT_EQ(ir.stop(), 0);
    EXPECT_GE(ir.sink().indices().front(), 2U);
    const auto epochOf = [](const Received &frame) {
        return stampOf(frame.record) - frame.record.frameIndex * 1000000ULL / 60;
    };
    const std::uint64_t epoch = epochOf(depth.sink().frames().front());
    for (const Received &frame : depth.sink().frames())
        EXPECT_EQ(epochOf(frame), epoch);
    for (const Received &frame : ir.sink().frames())
        EXPECT_EQ(epochOf(frame), epoch);
}

TEST_F(VirtualPacingTest, IndicesRestartWhenNoStreamRuns)
{
    useDefault();
    NubrixBaseDevice &device = openSmall(5);
    TestStream stream(device, NUBRIX_STREAM_IR);
    for (int run = 0; run < 2; ++run) {
        ASSERT_EQ(stream.start(), 0);
        ASSERT_TRUE(stream.sink().await(2));
        ASSERT_EQ(stream.stop(), 0);
        // Only a delay of a fifth of a second would miss the first frame.
        EXPECT_LE(stream.sink().indices().front(), 5U);
        EXPECT_GE(stream.sink().indices().back(), 1U);
        stream.sink().clear();
    }
}

TEST_F(VirtualPacingTest, InRealTimeAFrameIsDroppedAndCountedWhenThePoolIsExhausted)
{
    useDefault();
    NubrixBaseDevice &device = openSmall(60);
    TestStream stream(device, NUBRIX_STREAM_IR, 2);
    std::mutex lock;
    std::vector<NubrixFrameRef *> held;
    std::atomic<bool> hold{true};
    stream.sink().onFrame = [&](NubrixFrameRef *frame) {
        if (!hold)
            return;
        const std::lock_guard<std::mutex> guard(lock);
        frame->incRef();
        held.push_back(frame);
    };
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(stream.pool().awaitRefused(3));
    EXPECT_EQ(stream.sink().count(), 2U);
    hold = false;
    {
        const std::lock_guard<std::mutex> guard(lock);
        for (NubrixFrameRef *frame : held)
            frame->release();
    }
    ASSERT_TRUE(stream.sink().await(3));
    ASSERT_EQ(stream.stop(), 0);
    const auto indices = stream.sink().indices();
    EXPECT_GE(indices[2], indices[1] + 4) << "the lost frames count";
}

TEST_F(VirtualPacingTest, InFreePacingNoFrameIsLostOrRepeated)
{
    NubrixBaseDevice &device = openFreePacing();
    TestStream stream(device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(stream.sink().await(200));
    ASSERT_EQ(stream.stop(), 0);
    expectEveryIndexOnce(stream.sink());
}

TEST_F(VirtualPacingTest, InFreePacingTheNextFrameWaitsUntilTheLastOneIsReleased)
{
    NubrixBaseDevice &device = openFreePacing();
    TestStream stream(device, NUBRIX_STREAM_DEPTH);
    std::mutex lock;
    std::condition_variable arrived;
    std::deque<NubrixFrameRef *> queue;
    bool ending = false;
    std::atomic<int> mostInUse{0};
    stream.sink().onFrame = [&](NubrixFrameRef *frame) {
        mostInUse = std::max(mostInUse.load(), stream.pool().inUse());
        frame->incRef();
        const std::lock_guard<std::mutex> guard(lock);
        queue.push_back(frame);
        arrived.notify_one();
    };
    std::thread consumer([&] {
        std::unique_lock<std::mutex> guard(lock);
        while (true) {
            arrived.wait(guard, [&] { return !queue.empty() || ending; });
            if (queue.empty())
                return;
            NubrixFrameRef *frame = queue.front();
            queue.pop_front();
            guard.unlock();
            std::this_thread::sleep_for(std::chrono::microseconds(300));  // a slow consumer
            frame->release();
            guard.lock();
        }
    });
    EXPECT_EQ(stream.start(), 0);
    EXPECT_TRUE(stream.sink().await(50));
    EXPECT_EQ(stream.stop(), 0);
    {
        const std::lock_guard<std::mutex> guard(lock);
        ending = true;
        arrived.notify_one();
    }
    consumer.join();
    EXPECT_EQ(mostInUse, 1);
    expectEveryIndexOnce(stream.sink());
}

TEST_F(VirtualPacingTest, InFreePacingEveryStartBeginsWithFrameZero)
{
    NubrixBaseDevice &device = openFreePacing();
    TestStream stream(device, NUBRIX_STREAM_IR);
    for (int run = 0; run < 3; ++run) {
        ASSERT_EQ(stream.start(), 0);
        ASSERT_TRUE(stream.sink().await(3));
        ASSERT_EQ(stream.stop(), 0);
        EXPECT_EQ(stream.sink().indices().front(), 0U);
        stream.sink().clear();
    }
}

}  // namespace
}  // namespace nubrix::virtual_camera
