// When a frame that lies in a queue counts as given back.
#include "stream/FrameReturn.h"

#include <gtest/gtest.h>

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

    /// A new frame of the driver's, who keeps its reference. The one before makes room.
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
    void tell(bool listenerTakesIt = true)
    {
        m_return.beginNotifying();
        if (listenerTakesIt)
            m_return.onListenerDone();
        m_return.endNotifying();
        m_return.shelveIfDone(m_newest);
    }
    /// As a driver asks that waits for its frame.
    static bool isGivenBack(NubrixFrameRef *frame)
    {
        frame->incRef();
        return frame->release() == 1;
    }

    FrameAllocator m_pool{16, 1, 2};
    FrameReturn m_return;
    InternalFrame *m_newest = nullptr;
};

TEST_F(FrameReturnTest, AFrameThatTheListenersHaveSeenCountsAsGivenBackAndStays)
{
    InternalFrame *const frame = deliver();
    EXPECT_FALSE(isGivenBack(frame));
    tell();
    EXPECT_TRUE(isGivenBack(frame));
    EXPECT_EQ(frame->release(), 0);  // the driver's
    EXPECT_EQ(frame->incRef(), 1) << "somebody reads it after all";
    EXPECT_EQ(frame->release(), 0);
    InternalFrame *const next = deliver();
    EXPECT_NE(next, frame) << "it was still in the queue";
    next->release();
    EXPECT_EQ(m_pool.allocOneFrame(), frame) << "it went back to the pool when it made room";
    frame->release();
}

TEST_F(FrameReturnTest, WithoutAListenerItWaitsForAReader)
{
    InternalFrame *const frame = deliver();
    tell(false);
    EXPECT_FALSE(isGivenBack(frame));
    m_return.onRead(m_newest);
    m_newest = nullptr;
    EXPECT_TRUE(isGivenBack(frame));
    frame->release();
}

TEST_F(FrameReturnTest, AFrameOfAPhotoCountsAsReturnedWhenNobodyElseWantsIt)
{
    InternalFrame *const frame = deliver();
    m_return.onPhoto();
    m_return.shelveIfDone(m_newest);
    EXPECT_TRUE(isGivenBack(frame));
    frame->release();
}

TEST_F(FrameReturnTest, AFrameOfAPhotoIsKeptForAReader)
{
    InternalFrame *const frame = deliver();
    m_return.onReader();
    m_return.onPhoto();
    m_return.shelveIfDone(m_newest);
    EXPECT_FALSE(isGivenBack(frame));
    frame->release();
}

TEST_F(FrameReturnTest, AFrameOfAPhotoIsKeptForTheCallback)
{
    InternalFrame *const frame = deliver(false);
    m_return.onPhoto();
    m_return.shelveIfDone(m_newest);
    EXPECT_FALSE(isGivenBack(frame));
    frame->release();
}

TEST_F(FrameReturnTest, AFrameOfAPhotoIsKeptForAListenerUntilItWasNotified)
{
    InternalFrame *const frame = deliver();
    tell(false);
    m_return.onListenerBegins();
    m_return.onPhoto();
    m_return.shelveIfDone(m_newest);
    EXPECT_FALSE(isGivenBack(frame)) << "it has begun and must be notified";
    EXPECT_TRUE(m_return.mustNotifyAgain(m_newest));
    tell();
    EXPECT_TRUE(isGivenBack(frame));
    frame->release();
    InternalFrame *const next = deliver();
    m_return.onPhoto();
    m_return.shelveIfDone(m_newest);
    EXPECT_FALSE(isGivenBack(next)) << "nobody has been notified of it";
    tell(false);
    EXPECT_TRUE(isGivenBack(next)) << "the listener did not want it";
    next->release();
}

TEST_F(FrameReturnTest, AReaderIsWaitedFor)
{
    deliver()->release();
    m_return.onReader();
    tell();
    EXPECT_EQ(m_newest->count(), 1) << "the queue's counts";
}

TEST_F(FrameReturnTest, WhatIsReadBeforeTheListenersAreToldIsKeptForThem)
{
    m_return.onListenerBegins();
    InternalFrame *const frame = deliver();
    m_return.onRead(m_newest);
    m_newest = nullptr;
    EXPECT_FALSE(isGivenBack(frame));
    m_return.beginNotifying();
    EXPECT_EQ(m_return.toShow(nullptr), frame);
    m_return.onListenerDone();
    m_return.endNotifying();
    EXPECT_EQ(m_return.toShow(nullptr), nullptr);
    EXPECT_TRUE(isGivenBack(frame));
    frame->release();
}

TEST_F(FrameReturnTest, WhatTheCallbackTakesIsKeptForNobody)
{
    m_return.onListenerBegins();
    InternalFrame *const frame = deliver(false);
    m_return.onRead(m_newest);
    m_newest = nullptr;
    EXPECT_TRUE(isGivenBack(frame));
    frame->release();
}

TEST_F(FrameReturnTest, AnotherFrameMeanwhileIsNotTakenForTheOneThatWasTold)
{
    deliver()->release();
    m_return.beginNotifying();
    m_return.onListenerDone();
    InternalFrame *const later = deliver();
    m_return.endNotifying();
    m_return.shelveIfDone(m_newest);
    EXPECT_FALSE(isGivenBack(later));
    later->release();
}

TEST_F(FrameReturnTest, AListenerThatBeginsIsToldOfAFrameThatTheDriverWaitsFor)
{
    InternalFrame *const frame = deliver();
    tell(false);
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
