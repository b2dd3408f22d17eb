// When a frame in a queue counts as returned.
#include "stream/FrameReturn.h"

#include <gtest/gtest.h>

#include <chrono>

#include "stream/FrameAllocator.h"
#include "stream/InternalFrame.h"

namespace nubrix {
namespace {

/// The queue of a stream, the driver that delivers into it, and its pool.
class FrameReturnTest : public testing::Test {
protected:
    ~FrameReturnTest() override
    {
        if (m_newest)
            m_return.drop(m_newest);
        m_return.reset();
    }

    /// A new frame of the driver, which keeps its reference. It replaces the one before.
    InternalFrame *deliver(bool forListeners = true)
    {
        InternalFrame *const frame = m_pool.allocOneFrame();
        if (m_newest)
            m_return.drop(m_newest);
        m_newest = frame;
        m_newest->incRef();
        m_return.onArrival(forListeners);
        return m_newest;
    }
    void notify(bool listenerTakesIt = true)
    {
        m_return.beginNotifying();
        if (listenerTakesIt)
            m_return.onListenerDone();
        m_return.endNotifying();
        m_return.shelveIfDone(m_newest);
    }
    void takePhoto()
    {
        m_return.onPhoto();
        m_return.shelveIfDone(m_newest);
    }
    /// As a driver checks that waits for its frame.
    static bool isReturned(NubrixFrameRef *frame)
    {
        frame->incRef();
        return frame->release() == 1;
    }

    FrameAllocator m_pool{16, 1, 2};
    FrameReturn m_return;
    InternalFrame *m_newest = nullptr;
};

TEST_F(FrameReturnTest, AFrameThatTheListenersHaveSeenCountsAsReturnedAndStays)
{
    InternalFrame *const frame = deliver();
    EXPECT_FALSE(isReturned(frame));
    notify();
    EXPECT_TRUE(isReturned(frame));
    EXPECT_EQ(frame->release(), 0);  // the driver's
    EXPECT_EQ(frame->incRef(), 1) << "somebody reads it after all";
    EXPECT_EQ(frame->release(), 0);
    InternalFrame *const next = deliver();
    EXPECT_NE(next, frame) << "it was still in the queue";
    next->release();
    EXPECT_EQ(m_pool.allocOneFrame(), frame) << "it returned to the pool when it was replaced";
    frame->release();
}

TEST_F(FrameReturnTest, WithoutAListenerItWaitsForAReader)
{
    InternalFrame *const frame = deliver();
    notify(false);
    EXPECT_FALSE(isReturned(frame));
    m_return.onRead(m_newest);
    m_newest = nullptr;
    EXPECT_TRUE(isReturned(frame));
    frame->release();
}

TEST_F(FrameReturnTest, AFrameOfAPhotoCountsAsReturnedWithoutOtherUsers)
{
    InternalFrame *const frame = deliver();
    takePhoto();
    EXPECT_TRUE(isReturned(frame));
    frame->release();
}

TEST_F(FrameReturnTest, AFrameOfAPhotoIsKeptForAReader)
{
    InternalFrame *const frame = deliver();
    m_return.onReader();
    takePhoto();
    EXPECT_FALSE(isReturned(frame));
    frame->release();
}

TEST_F(FrameReturnTest, AFrameOfAPhotoIsKeptForTheCallback)
{
    InternalFrame *const frame = deliver(false);
    takePhoto();
    EXPECT_FALSE(isReturned(frame));
    frame->release();
}

TEST_F(FrameReturnTest, AFrameOfAPhotoIsKeptForAListenerUntilItWasNotified)
{
    InternalFrame *const frame = deliver();
    notify(false);
    m_return.onListenerBegins();
    takePhoto();
    EXPECT_FALSE(isReturned(frame)) << "it has begun and must be notified";
    EXPECT_TRUE(m_return.mustNotifyAgain(m_newest));
    notify();
    EXPECT_TRUE(isReturned(frame));
    frame->release();
    InternalFrame *const next = deliver();
    takePhoto();
    EXPECT_FALSE(isReturned(next)) << "nobody has been notified of it";
    notify(false);
    EXPECT_TRUE(isReturned(next)) << "the listener did not want it";
    next->release();
}

TEST_F(FrameReturnTest, AReaderIsWaitedFor)
{
    deliver()->release();
    m_return.onReader();
    notify();
    EXPECT_EQ(m_newest->count(), 1) << "the queue's counts";
    const int left = m_return.shelveIfDone(m_newest);
    EXPECT_TRUE(left > 0 && left <= 1000) << left;
    EXPECT_EQ(m_return.shelveIfDone(nullptr), -1) << "it was read";
}

// Else a camera would wait a second for each frame once an application has stopped reading.
TEST_F(FrameReturnTest, AReadersSecondBeginsWithItsLastReadAndNotWithTheFrame)
{
    using Clock = std::chrono::steady_clock;
    m_return.onReader();
    const Clock::time_point read = Clock::now();
    while (Clock::now() < read + std::chrono::milliseconds(20)) {
    }
    deliver()->release();
    notify();
    EXPECT_LE(m_return.shelveIfDone(m_newest), 980);
}

TEST_F(FrameReturnTest, AFrameReadBeforeTheListenersAreNotifiedIsKeptForThem)
{
    m_return.onListenerBegins();
    InternalFrame *const frame = deliver();
    m_return.onRead(m_newest);
    m_newest = nullptr;
    EXPECT_FALSE(isReturned(frame));
    m_return.beginNotifying();
    EXPECT_EQ(m_return.frameForListeners(nullptr), frame);
    m_return.onListenerDone();
    m_return.endNotifying();
    EXPECT_EQ(m_return.frameForListeners(nullptr), nullptr);
    EXPECT_TRUE(isReturned(frame));
    frame->release();
}

TEST_F(FrameReturnTest, AFrameThatTheCallbackTakesIsNotKept)
{
    m_return.onListenerBegins();
    InternalFrame *const frame = deliver(false);
    m_return.onRead(m_newest);
    m_newest = nullptr;
    EXPECT_TRUE(isReturned(frame));
    frame->release();
}

TEST_F(FrameReturnTest, AFrameThatArrivesMeanwhileIsNotTakenForTheNotifiedOne)
{
    deliver()->release();
    m_return.beginNotifying();
    m_return.onListenerDone();
    InternalFrame *const later = deliver();
    m_return.endNotifying();
    m_return.shelveIfDone(m_newest);
    EXPECT_FALSE(isReturned(later));
    later->release();
}

TEST_F(FrameReturnTest, ANewListenerIsNotifiedOfAFrameThatTheDriverWaitsFor)
{
    InternalFrame *const frame = deliver();
    notify(false);
    EXPECT_FALSE(m_return.mustNotifyAgain(m_newest)) << "none has begun";
    m_return.onListenerBegins();
    EXPECT_TRUE(m_return.mustNotifyAgain(m_newest));
    EXPECT_FALSE(m_return.mustNotifyAgain(m_newest)) << "once";
    frame->release();
    m_return.onListenerBegins();
    EXPECT_FALSE(m_return.mustNotifyAgain(m_newest)) << "the driver goes on without it";
}

}  // namespace
}  // namespace nubrix
