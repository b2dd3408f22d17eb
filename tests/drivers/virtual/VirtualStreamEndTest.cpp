// How streams of the virtual camera stop, also from within their frame callbacks.
#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <future>
#include <thread>
#include <utility>

#include "tests/drivers/virtual/VirtualCameraFixture.h"

namespace nubrix::virtual_camera {
namespace {

using VirtualStreamEndTest = VirtualCameraTest;

TEST_F(VirtualStreamEndTest, StopDoesNotWaitForAFrameThatIsHeld)
{
    NubrixBaseDevice &device = openFreePacing();
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

TEST_F(VirtualStreamEndTest, StopDoesNotWaitForAFreeFrame)
{
    NubrixBaseDevice &device = openFreePacing();
    TestStream stream(device, NUBRIX_STREAM_IR, 0);
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(stream.pool().awaitRefused(3));
    EXPECT_EQ(stream.stop(), 0);
    EXPECT_EQ(stream.sink().count(), 0U);
}

TEST_F(VirtualStreamEndTest, TheCallbackIsNotCalledOnceStopHasReturned)
{
    NubrixBaseDevice &device = openFreePacing();
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

TEST_F(VirtualStreamEndTest, StopsFromWithinItsFrameCallback)
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

TEST_F(VirtualStreamEndTest, StartsAgainFromWithinItsFrameCallback)
{
    NubrixBaseDevice &device = openFreePacing();
    TestStream stream(device, NUBRIX_STREAM_IR);
    std::atomic<int> restarts{0};
    stream.sink().onFrame = [&](NubrixFrameRef *frame) {
        if (frame->frame().frameIndex != 2 || restarts == 20)
            return;
        ++restarts;
        EXPECT_EQ(stream.stop(), 0);
        stream.sink().begin();
        EXPECT_EQ(stream->start(), 0);
    };
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(stream.sink().await(100));
    EXPECT_EQ(stream.stop(), 0);
    EXPECT_EQ(restarts, 20);
}

/// A stream whose first frame calls `end` on the stream's own thread.
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
    /// Returns when `end` has been called; the thread is still in the callback.
    void run()
    {
        ASSERT_EQ(stream->start(), 0);
        m_mayEnd.set_value();
        ASSERT_EQ(m_ended.get_future().wait_for(kDeadline), std::future_status::ready);
    }
    void allowReturn() { m_mayReturn.set_value(); }
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

TEST_F(VirtualStreamEndTest, IsDestroyedFromWithinItsFrameCallback)
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
            // The device accepts another stream at once.
            TestStream next(device, NUBRIX_STREAM_IR);
            ASSERT_EQ(next.start(), 0);
            EXPECT_TRUE(next.sink().await(3));
        }
        EXPECT_EQ(ending.pool().inUse(), 1) << "of the frame that is being delivered";
        ending.allowReturn();
        m_driver.reset();
        EXPECT_EQ(ending.pool().inUse(), 0);
        EXPECT_EQ(ending.sink().count(), 1U);
    }
}

TEST_F(VirtualStreamEndTest, ClosesItsCameraFromWithinItsFrameCallback)
{
    for (const char *scenario : {kFree, "{}"}) {
        useScenario(scenario);
        NubrixBaseDevice *device = &openSmall();
        EndingStream ending(*device, [&] { return m_driver->closeDevice(&device); });
        ending.run();
        EXPECT_EQ(device, nullptr);
        EXPECT_NE(open(), nullptr) << "it is free again";
        ending.allowReturn();
        m_driver.reset();
        EXPECT_EQ(ending.pool().inUse(), 0);
        EXPECT_EQ(ending.sink().count(), 1U);
    }
}

TEST_F(VirtualStreamEndTest, TheDriverWaitsForAFrameCallbackThatDestroyedItsStream)
{
    NubrixBaseDevice &device = openFreePacing();
    NubrixBaseStream **stream = nullptr;
    EndingStream ending(device, [&] { return device.destroyStream(stream); });
    stream = &ending.stream;
    ending.run();
    expectThatItWaits([&] { m_driver.reset(); }, [&] { ending.allowReturn(); });
}

TEST_F(VirtualStreamEndTest, TwoHundredCyclesLeaveNothingBehind)
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
}  // namespace nubrix::virtual_camera
