#include "virtual/VirtualStream.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cstring>
#include <deque>
#include <functional>
#include <future>
#include <thread>
#include <utility>

#include "tests/drivers/virtual/VirtualCameraFixture.h"
#include "virtual/SceneRenderer.h"

namespace nubrix {
namespace {

using testing::ElementsAre;

constexpr const char *kFree = R"({"pacing": "free"})";

std::uint64_t stampOf(const typedefNubrixFrame &record)
{
    return (std::uint64_t{record.timestampHigh} << 32U) | record.timestampLow;
}

std::uint64_t usOf(std::chrono::steady_clock::time_point moment)
{
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(moment.time_since_epoch()).count());
}

class VirtualStreamTest : public VirtualCameraTest {
protected:
    /// Opens the first camera with small pictures, which suit slow machines.
    NubrixBaseDevice &openSmall(int frameRate = 60)
    {
        NubrixBaseDevice &device = *open();
        for (const unsigned int streamType :
             {NUBRIX_STREAM_COLOR, NUBRIX_STREAM_DEPTH, NUBRIX_STREAM_IR, NUBRIX_STREAM_LIGHT_IR})
            setMode(device, streamType, 320, 240, frameRate);
        return device;
    }
};

TEST_F(VirtualStreamTest, EveryStreamDeliversThePicturesOfTheScene)
{
    useScenario(kFree);
    NubrixBaseDevice &device = openSmall();
    for (const unsigned int streamType :
         {NUBRIX_STREAM_COLOR, NUBRIX_STREAM_DEPTH, NUBRIX_STREAM_IR, NUBRIX_STREAM_LIGHT_IR}) {
        PixelStream stream(device, streamType);
        ASSERT_EQ(stream.start(), 0);
        ASSERT_TRUE(stream.sink().await(3));
        ASSERT_EQ(stream.stop(), 0);
        const SceneRenderer renderer(streamType, 320, 240);
        std::vector<std::uint8_t> expected(renderer.size());
        for (const Received &frame : stream.sink().frames()) {
            renderer.renderInFull(frame.record.frameIndex, expected.data());
            ASSERT_EQ(frame.pixels, expected) << "stream " << streamType;
        }
    }
}

TEST_F(VirtualStreamTest, FillsTheRecordOfEachFrame)
{
    useScenario(kFree);
    NubrixBaseDevice &device = openSmall();
    TestStream stream(device, NUBRIX_STREAM_COLOR);
    EXPECT_EQ(stream->getFrameBufferSize(), 320U * 240U * 3U);
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(stream.sink().await(1));
    ASSERT_EQ(stream.stop(), 0);
    const typedefNubrixFrame record = stream.sink().frames().front().record;
    EXPECT_EQ(record.pixelFormat, NUBRIX_PIXEL_RGB888);
    EXPECT_EQ(record.streamType, NUBRIX_STREAM_COLOR);
    EXPECT_EQ(record.frameIndex, 0U);
    EXPECT_EQ(record.flags, 0U);
    EXPECT_EQ(record.width, 320);
    EXPECT_EQ(record.height, 240);
    EXPECT_EQ(record.dataSize, 320U * 240U * 3U);
    EXPECT_EQ(record.reserved, 0U);
}

TEST_F(VirtualStreamTest, InRealTimeFramesAreStampedWithTheirScheduledTimes)
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

TEST_F(VirtualStreamTest, StreamsOfOneRateHaveTheSameIndexAtTheSameTime)
{
    useDefault();
    NubrixBaseDevice &device = openSmall(60);
    TestStream depth(device, NUBRIX_STREAM_DEPTH);
    TestStream ir(device, NUBRIX_STREAM_IR);
    ASSERT_EQ(depth.start(), 0);
    ASSERT_TRUE(depth.sink().await(3));
    ASSERT_EQ(ir.start(), 0);
    // Both have frames from when both ran, however slow the machine is.
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

TEST_F(VirtualStreamTest, IndicesBeginAnewWhenNoStreamRan)
{
    useDefault();
    NubrixBaseDevice &device = openSmall(5);
    TestStream stream(device, NUBRIX_STREAM_IR);
    for (int run = 0; run < 2; ++run) {
        ASSERT_EQ(stream.start(), 0);
        ASSERT_TRUE(stream.sink().await(2));
        ASSERT_EQ(stream.stop(), 0);
        // A fifth of a second of delay would be needed to miss the first frame.
        EXPECT_LE(stream.sink().indices().front(), 5U);
        EXPECT_GE(stream.sink().indices().back(), 1U);
        stream.sink().clear();
    }
}

TEST_F(VirtualStreamTest, InRealTimeAFrameThatFindsNoRoomIsLostAndCounted)
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

TEST_F(VirtualStreamTest, InFreePacingNoFrameIsLostOrRepeated)
{
    useScenario(kFree);
    NubrixBaseDevice &device = openSmall();
    TestStream stream(device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(stream.sink().await(200));
    ASSERT_EQ(stream.stop(), 0);
    const auto indices = stream.sink().indices();
    for (unsigned int i = 0; i < indices.size(); ++i)
        ASSERT_EQ(indices[i], i);
}

TEST_F(VirtualStreamTest, InFreePacingTheNextFrameWaitsUntilTheLastOneIsGivenBack)
{
    useScenario(kFree);
    NubrixBaseDevice &device = openSmall();
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
    const auto indices = stream.sink().indices();
    for (unsigned int i = 0; i < indices.size(); ++i)
        ASSERT_EQ(indices[i], i);
}

TEST_F(VirtualStreamTest, InFreePacingEveryStartBeginsWithFrameZero)
{
    useScenario(kFree);
    NubrixBaseDevice &device = openSmall();
    TestStream stream(device, NUBRIX_STREAM_IR);
    for (int run = 0; run < 3; ++run) {
        ASSERT_EQ(stream.start(), 0);
        ASSERT_TRUE(stream.sink().await(3));
        ASSERT_EQ(stream.stop(), 0);
        EXPECT_EQ(stream.sink().indices().front(), 0U);
        stream.sink().clear();
    }
}

TEST_F(VirtualStreamTest, StopDoesNotWaitForAFrameThatIsHeld)
{
    useScenario(kFree);
    NubrixBaseDevice &device = openSmall();
    TestStream stream(device, NUBRIX_STREAM_IR);
    std::atomic<NubrixFrameRef *> held{nullptr};
    stream.sink().onFrame = [&](NubrixFrameRef *frame) {
        frame->incRef();
        held = frame;
    };
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(stream.sink().await(1));
    EXPECT_EQ(stream.stop(), 0);
    EXPECT_EQ(stream.sink().count(), 1U);
    EXPECT_EQ(stream.pool().inUse(), 1);
    EXPECT_EQ(held.load()->release(), 0) << "the driver still holds the frame";
}

TEST_F(VirtualStreamTest, StopDoesNotWaitForRoomInThePool)
{
    useScenario(kFree);
    NubrixBaseDevice &device = openSmall();
    TestStream stream(device, NUBRIX_STREAM_IR, 0);
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(stream.pool().awaitRefused(3));
    EXPECT_EQ(stream.stop(), 0);
    EXPECT_EQ(stream.sink().count(), 0U);
}

TEST_F(VirtualStreamTest, TheCallbackIsNotCalledOnceStopHasReturned)
{
    useScenario(kFree);
    NubrixBaseDevice &device = openSmall();
    TestStream stream(device, NUBRIX_STREAM_IR);
    std::atomic<int> inside{0};
    std::atomic<bool> mayCome{false};
    std::atomic<int> tooLate{0};
    stream.sink().onFrame = [&](NubrixFrameRef *) {
        ++inside;
        if (!mayCome)
            ++tooLate;
        std::this_thread::yield();
        --inside;
    };
    for (int run = 0; run < 50; ++run) {
        stream.sink().clear();
        mayCome = true;
        ASSERT_EQ(stream.start(), 0);
        ASSERT_TRUE(stream.sink().await(2));
        ASSERT_EQ(stream.stop(), 0);
        EXPECT_EQ(inside, 0);
        mayCome = false;
    }
    EXPECT_EQ(tooLate, 0);
}

TEST_F(VirtualStreamTest, ABufferThatIsTooSmallIsNotWrittenTo)
{
    useDefault();
    NubrixBaseDevice &device = openSmall(60);
    NubrixBaseStream *stream = nullptr;
    ASSERT_EQ(device.createStream(NUBRIX_STREAM_IR, &stream), 0);
    FakePool pool(320 * 240 - 1);
    FrameSink sink;
    stream->setFrameAllocator(&pool);
    stream->setFrameCallback(&FrameSink::receive, &sink);
    ASSERT_EQ(stream->start(), 0);
    ASSERT_TRUE(pool.awaitHandedOut(3));
    EXPECT_EQ(stream->stop(), 0);
    EXPECT_EQ(sink.count(), 0U);
    EXPECT_EQ(pool.inUse(), 0);
    EXPECT_EQ(device.destroyStream(&stream), 0);
}

TEST_F(VirtualStreamTest, StartsAndStopsOnlyWhenItCan)
{
    useScenario(kFree);
    NubrixBaseDevice &device = openSmall();
    NubrixBaseStream *stream = nullptr;
    FakePool pool(320 * 240);
    FrameSink sink;
    ASSERT_EQ(device.createStream(NUBRIX_STREAM_IR, &stream), 0);
    EXPECT_EQ(stream->stop(), 0) << "it does not run";
    EXPECT_EQ(stream->start(), -2) << "there is no pool";
    EXPECT_EQ(stream->setFrameAllocator(&pool), 0);
    EXPECT_EQ(stream->start(), -2) << "there is no callback";
    EXPECT_EQ(stream->setFrameCallback(&FrameSink::receive, &sink), 0);
    EXPECT_EQ(stream->start(), 0);
    EXPECT_EQ(stream->start(), -2) << "it runs";
    EXPECT_EQ(stream->setFrameAllocator(&pool), -2);
    EXPECT_EQ(stream->setFrameCallback(&FrameSink::receive, &sink), -2);
    EXPECT_EQ(stream->stop(), 0);
    EXPECT_EQ(stream->stop(), 0);
    EXPECT_EQ(device.destroyStream(&stream), 0);
}

TEST_F(VirtualStreamTest, StopsFromWithinItsFrameCallback)
{
    for (const char *scenario : {kFree, "{}"}) {
        useScenario(scenario);
        NubrixBaseDevice &device = openSmall();
        {
            TestStream stream(device, NUBRIX_STREAM_IR);
            std::atomic<int> status{1};
            stream.sink().onFrame = [&](NubrixFrameRef *) { status = stream.stop(); };
            for (std::size_t run = 1; run <= 3; ++run) {
                ASSERT_EQ(stream.start(), 0);
                ASSERT_TRUE(stream.sink().await(run));
                EXPECT_EQ(status.exchange(1), 0);
            }
            EXPECT_EQ(stream.stop(), 0) << "waits for the callback";
            EXPECT_EQ(stream.pool().inUse(), 0);
            EXPECT_EQ(stream.sink().count(), 3U) << "one of each start";
        }
        m_driver.reset();
    }
}

TEST_F(VirtualStreamTest, StartsAgainFromWithinItsFrameCallback)
{
    useScenario(kFree);
    NubrixBaseDevice &device = openSmall();
    TestStream stream(device, NUBRIX_STREAM_IR);
    std::atomic<int> restarts{0};
    stream.sink().onFrame = [&](NubrixFrameRef *frame) {
        if (frame->frame().frameIndex != 2 || restarts == 20)
            return;
        ++restarts;
        EXPECT_EQ(stream.stop(), 0);
        EXPECT_EQ(stream->start(), 0);
    };
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(stream.sink().await(100));
    EXPECT_EQ(stream.stop(), 0);
    EXPECT_EQ(restarts, 20);
}

/// A stream whose first frame ends something, on the stream's own thread.
class EndingStream {
public:
    EndingStream(NubrixBaseDevice &device, std::function<int()> end) : m_end(std::move(end))
    {
        EXPECT_EQ(device.createStream(NUBRIX_STREAM_IR, &stream), 0);
        m_sink.onFrame = [this](NubrixFrameRef *) {
            m_mayEnd.get_future().wait();
            EXPECT_EQ(m_end(), 0);
            m_ended.set_value();
            m_mayReturn.get_future().wait();
        };
        stream->setFrameCallback(&FrameSink::receive, &m_sink);
        stream->setFrameAllocator(&m_pool);
    }
    /// Until `stream` has been ended; its thread is still in the callback.
    void run()
    {
        ASSERT_EQ(stream->start(), 0);
        m_mayEnd.set_value();
        ASSERT_EQ(m_ended.get_future().wait_for(kDeadline), std::future_status::ready);
    }
    void letReturn() { m_mayReturn.set_value(); }
    FakePool &pool() { return m_pool; }
    FrameSink &sink() { return m_sink; }

    NubrixBaseStream *stream = nullptr;

private:
    const std::function<int()> m_end;
    FakePool m_pool{320 * 240};
    FrameSink m_sink;
    std::promise<void> m_mayEnd;
    std::promise<void> m_ended;
    std::promise<void> m_mayReturn;
};

TEST_F(VirtualStreamTest, IsDestroyedFromWithinItsFrameCallback)
{
    for (const char *scenario : {kFree, "{}"}) {
        useScenario(scenario);
        NubrixBaseDevice &device = openSmall();
        NubrixBaseStream **stream = nullptr;
        EndingStream ending(device, [&] { return device.destroyStream(stream); });
        stream = &ending.stream;
        ending.run();
        EXPECT_EQ(ending.stream, nullptr);
        {
            // There is space for another one at once.
            TestStream next(device, NUBRIX_STREAM_IR);
            ASSERT_EQ(next.start(), 0);
            EXPECT_TRUE(next.sink().await(3));
        }
        EXPECT_EQ(ending.pool().inUse(), 1) << "of the frame that is being delivered";
        ending.letReturn();
        m_driver.reset();
        EXPECT_EQ(ending.pool().inUse(), 0);
        EXPECT_EQ(ending.sink().count(), 1U);
    }
}

TEST_F(VirtualStreamTest, ClosesItsCameraFromWithinItsFrameCallback)
{
    for (const char *scenario : {kFree, "{}"}) {
        useScenario(scenario);
        NubrixBaseDevice *device = &openSmall();
        EndingStream ending(*device, [&] { return m_driver->closeDevice(&device); });
        ending.run();
        EXPECT_EQ(device, nullptr);
        EXPECT_NE(open(), nullptr) << "it is free again";
        ending.letReturn();
        m_driver.reset();
        EXPECT_EQ(ending.pool().inUse(), 0);
        EXPECT_EQ(ending.sink().count(), 1U);
    }
}

TEST_F(VirtualStreamTest, TheDriverWaitsForAFrameCallbackThatDestroyedItsStream)
{
    useScenario(kFree);
    NubrixBaseDevice &device = openSmall();
    NubrixBaseStream **stream = nullptr;
    EndingStream ending(device, [&] { return device.destroyStream(stream); });
    stream = &ending.stream;
    ending.run();
    auto gone = std::async(std::launch::async, [&] { m_driver.reset(); });
    EXPECT_EQ(gone.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    ending.letReturn();
    EXPECT_EQ(gone.wait_for(kDeadline), std::future_status::ready);
}

TEST_F(VirtualStreamTest, AllFourStreamsRunAtOnceInModesOfTheirOwn)
{
    useScenario(kFree);
    NubrixBaseDevice &device = openSmall();
    setMode(device, NUBRIX_STREAM_COLOR, 640, 400, 30);
    TestStream color(device, NUBRIX_STREAM_COLOR);
    TestStream depth(device, NUBRIX_STREAM_DEPTH);
    TestStream ir(device, NUBRIX_STREAM_IR);
    TestStream lightIr(device, NUBRIX_STREAM_LIGHT_IR);
    for (TestStream *stream : {&color, &depth, &ir, &lightIr})
        ASSERT_EQ(stream->start(), 0);
    for (TestStream *stream : {&color, &depth, &ir, &lightIr})
        ASSERT_TRUE(stream->sink().await(5));
    for (TestStream *stream : {&color, &depth, &ir, &lightIr})
        ASSERT_EQ(stream->stop(), 0);
    EXPECT_EQ(color.sink().frames().front().record.width, 640);
    EXPECT_EQ(depth.sink().frames().front().record.width, 320);
}

TEST_F(VirtualStreamTest, TwoHundredLivesLeaveNothingBehind)
{
    useScenario(kFree);
    for (int life = 0; life < 200; ++life) {
        NubrixBaseDevice *device = open();
        ASSERT_NE(device, nullptr);
        setMode(*device, NUBRIX_STREAM_IR, 320, 240, 60);
        {
            TestStream stream(*device, NUBRIX_STREAM_IR);
            ASSERT_EQ(stream.start(), 0);
            ASSERT_TRUE(stream.sink().await(1));
        }
        ASSERT_EQ(m_driver->closeDevice(&device), 0);
    }
}

}  // namespace
}  // namespace nubrix
