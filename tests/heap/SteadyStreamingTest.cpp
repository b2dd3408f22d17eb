// Once a stream runs, a frame's way from the driver to the application takes nothing from the heap.
#include <gmock/gmock.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <thread>

#include "base/LogCall.h"
#include "base/xp.h"
#include "device/Device.h"
#include "stream/InternalFrame.h"
#include "stream/MultiStreamsListener.h"
#include "stream/VideoStream.h"
#include "tests/fakes/FakeDriver.h"
#include "tests/fakes/Waiting.h"
#include "tests/heap/HeapCalls.h"

namespace nubrix {
namespace {

constexpr int kWarmUp = 100;
constexpr int kFrames = 1000;

std::atomic<int> g_logged{0};

int countLine(const char *, int, const char *)
{
    return ++g_logged;
}

TEST(HeapCallsTest, EveryKindOfAllocationIsCounted)
{
    // Through volatile pointers, or the compiler leaves out what nobody uses.
    static void *(*volatile take)(std::size_t) = std::malloc;
    static void *(*volatile takeCleared)(std::size_t, std::size_t) = std::calloc;
    static void *(*volatile takeAgain)(void *, std::size_t) = std::realloc;
    static void *(*volatile takeAligned)(std::size_t, std::size_t) = std::aligned_alloc;
    const unsigned long before = heapCalls();
    void *memory = take(10);
    EXPECT_EQ(heapCalls(), before + 1);
    memory = takeAgain(memory, 5000);
    EXPECT_EQ(heapCalls(), before + 2);
    std::free(memory);
    std::free(takeCleared(2, 8));
    EXPECT_EQ(heapCalls(), before + 3);
    std::free(takeAligned(64, 64));
    EXPECT_EQ(heapCalls(), before + 4);
    std::list<int> nodes(3);
    EXPECT_EQ(heapCalls(), before + 7);
    std::string text(1000, 'x');
    EXPECT_EQ(heapCalls(), before + 8);
    std::thread([] { std::free(take(10)); }).join();
    EXPECT_GE(heapCalls(), before + 9);
}

class SteadyStreamingTest : public testing::Test {
protected:
    SteadyStreamingTest()
    {
        setLogSink({&countLine, nullptr}, "counted");
        m_driver.frameBufferSize = 640 * 480 * 2;
        m_frame.pixels.resize(640 * 480 * 2);
        m_device.open("usb:1");
        m_stream.reset(m_device.createStream(NUBRIX_STREAM_DEPTH));
    }
    ~SteadyStreamingTest() override
    {
        m_stream.reset();
        m_device.close();
        setLogSink({}, nullptr);
    }

    bool deliver()
    {
        ++m_frame.index;
        return m_driver.deliver(NUBRIX_STREAM_DEPTH, m_frame);
    }
    /// Starts, and makes the pool create all the frames that it ever will: how many are needed at
    /// once depends on how the threads run.
    void start()
    {
        ASSERT_EQ(m_stream->start(), 0);
        NubrixFrameRef *held[10] = {};
        for (NubrixFrameRef *&place : held) {
            ASSERT_TRUE(deliver());
            place = read(*m_stream);
            ASSERT_NE(place, nullptr);
        }
        for (NubrixFrameRef *each : held)
            InternalFrame::releaseHeld(each);
    }
    /// A frame as the application reads it, to be returned with InternalFrame::releaseHeld.
    static NubrixFrameRef *read(VideoStream &stream)
    {
        xp<NubrixFrameRef> frame;
        if (stream.readFrame(frame, true) != 0)
            return nullptr;
        frame->incRef();
        return frame.get();
    }
    /// Whether the stream had a frame, which is returned at once.
    static bool readsAndReleases(VideoStream &stream, unsigned int index)
    {
        NubrixFrameRef *const frame = read(stream);
        if (!frame)
            return false;
        const bool isIt = frame->frame().frameIndex == index;
        InternalFrame::releaseHeld(frame);
        return isIt;
    }
    /// Runs the way of one frame over and over, and counts once it is warm.
    void expectNoAllocation(const std::function<bool()> &oneFrame)
    {
        int done = 0;
        while (done < kWarmUp && oneFrame())
            ++done;
        ASSERT_EQ(done, kWarmUp);
        const int logged = g_logged;
        const unsigned long before = heapCalls();
        while (done < kWarmUp + kFrames && oneFrame())
            ++done;
        const unsigned long after = heapCalls();
        EXPECT_EQ(done, kWarmUp + kFrames);
        EXPECT_EQ(after - before, 0U);
        EXPECT_EQ(g_logged, logged);
    }

    FakeDriver m_driver;
    FakeFrame m_frame;
    Device m_device{m_driver};
    std::unique_ptr<VideoStream> m_stream;
};

TEST_F(SteadyStreamingTest, UnreadFramesAllocateNothing)
{
    start();
    expectNoAllocation([this] { return deliver(); });
}

TEST_F(SteadyStreamingTest, FramesThatAreReadAllocateNothing)
{
    start();
    expectNoAllocation([this] { return deliver() && readsAndReleases(*m_stream, m_frame.index); });
}

struct Receiver {
    static void onFrame(NubrixStream *, typedefNubrixFrame *frame, void *user)
    {
        auto *const self = static_cast<Receiver *>(user);
        self->lastIndex = frame->frameIndex;
        InternalFrame::releaseHeld(InternalFrame::fromRecord(frame));
        self->calls.add();
    }
    std::atomic<unsigned int> lastIndex{0};
    Counter calls;
};

TEST_F(SteadyStreamingTest, FramesForACallbackAllocateNothing)
{
    Receiver receiver;
    start();
    m_stream->setStreamCallback(&Receiver::onFrame, &receiver);
    int delivered = 0;
    expectNoAllocation([&] {
        return deliver() && receiver.calls.reaches(++delivered) &&
               receiver.lastIndex == m_frame.index;
    });
    m_stream->stop();
}

TEST_F(SteadyStreamingTest, FramesThatAreWaitedForAllocateNothing)
{
    MultiStreamsListener waiter;
    VideoStream *streams[] = {m_stream.get()};
    start();
    expectNoAllocation([&] {
        VideoStream *ready = nullptr;
        waiter.addStreams(streams, 1);
        const bool gotIt =
            deliver() && waiter.wait(60000, &ready) == 0 && readsAndReleases(*ready, m_frame.index);
        waiter.removeAllStreams();
        return gotIt;
    });
}

TEST_F(SteadyStreamingTest, AnApplicationThatHoldsSevenFramesAllocatesNothing)
{
    start();
    NubrixFrameRef *held[7] = {};
    unsigned int next = 0;
    expectNoAllocation([&] {
        NubrixFrameRef *&place = held[next++ % 7];
        if (place)
            InternalFrame::releaseHeld(place);
        return deliver() && (place = read(*m_stream)) != nullptr;
    });
    for (NubrixFrameRef *each : held)
        InternalFrame::releaseHeld(each);
}

}  // namespace
}  // namespace nubrix
