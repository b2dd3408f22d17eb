// Waiting for a frame of a stream, as for a photo.
#include <gmock/gmock.h>

#include <thread>

#include "base/Clock.h"
#include "tests/stream/VideoStreamFixture.h"

namespace nubrix {
namespace {

using testing::Contains;
using testing::IsEmpty;

// The stream's own thread is held in a listener, so that it does not take the event that getFrame
// waits for; and its wait is known to have begun.
class GetFrameTest : public VideoStreamFixture {
protected:
    GetFrameTest()
    {
        m_calls.condTimedWait = [this](pthread_cond_t *condition, pthread_mutex_t *mutex,
                                       const timespec *deadline) {
            if (std::this_thread::get_id() != m_waiter)
                return RealCalls::condTimedWait(condition, mutex, deadline);
            m_deadlineNs =
                static_cast<std::int64_t>(deadline->tv_sec) * 1000000000 + deadline->tv_nsec;
            m_waitBeganNs = timeNanos();
            m_waiting.open();
            return m_waitResult == 0 ? waitPatiently(condition, mutex, deadline) : m_waitResult;
        };
        m_listener.then = [this](VideoStream *) {
            m_held.open();
            EXPECT_TRUE(m_mayGo.pass());
        };
    }
    ~GetFrameTest() override
    {
        m_mayGo.open();
        m_stream.reset();
    }
    void startWithTheThreadHeld()
    {
        listen();
        start();
        ASSERT_TRUE(deliver(1));
        ASSERT_TRUE(m_held.pass());
        ASSERT_EQ(read(true), 1);
    }
    int getOnThisThread()
    {
        m_waiter = std::this_thread::get_id();
        return get();
    }

    std::atomic<std::thread::id> m_waiter{};
    int m_waitResult = 0;  // 0: really waits
    std::int64_t m_deadlineNs = 0;
    std::int64_t m_waitBeganNs = 0;
    Latch m_waiting;
    Latch m_held;
    Latch m_mayGo;
    SystemCalls m_calls;
    const SystemCallsInForce m_inForce{m_calls};
};

TEST_F(GetFrameTest, AQueuedFrameIsGivenAtOnceAndStaysInTheQueue)
{
    LooseFrame frame(4);
    start();
    emit(frame);
    EXPECT_EQ(getOnThisThread(), 4);
    EXPECT_EQ(getOnThisThread(), 4);
    EXPECT_FALSE(m_waiting.isOpen());
    EXPECT_EQ(read(true), 4);
    m_stream->stop();
    EXPECT_EQ(frame.held(), 0);
}

TEST_F(GetFrameTest, WithAnEmptyQueueItWaitsForTheNextFrame)
{
    startWithTheThreadHeld();
    std::thread driver([this] {
        EXPECT_TRUE(m_waiting.pass());
        EXPECT_TRUE(deliver(2));
    });
    EXPECT_EQ(getOnThisThread(), 2);
    driver.join();
    EXPECT_EQ(read(true), 2);
}

TEST_F(GetFrameTest, WithoutAFrameForASecondItGivesUpWithAnErrorNumber)
{
    startWithTheThreadHeld();
    m_waitResult = ETIMEDOUT;
    const std::int64_t before = timeNanos();
    EXPECT_EQ(getOnThisThread(), -1);
    EXPECT_EQ(g_nubrixErrno, 0x8030010aU);
    EXPECT_GE(m_deadlineNs, before + 1000000000);
    EXPECT_LE(m_deadlineNs, m_waitBeganNs + 1000000000);
    EXPECT_THAT(m_log.take(), IsEmpty());
}

TEST_F(GetFrameTest, AWaitThatFailsHasNoErrorNumber)
{
    startWithTheThreadHeld();
    m_waitResult = EINVAL;
    EXPECT_EQ(getOnThisThread(), -1);
    EXPECT_EQ(g_nubrixErrno, 0U);
}

TEST_F(GetFrameTest, AStopWakesIt)
{
    startWithTheThreadHeld();
    std::thread stopper([this] {
        EXPECT_TRUE(m_waiting.pass());
        m_stream->stop();
    });
    EXPECT_EQ(getOnThisThread(), -1);
    EXPECT_EQ(g_nubrixErrno, 0U);
    EXPECT_THAT(m_log.take(),
                Contains(milestoneLine("b_NewFrameThreadStarted is false, Thread is Stop")));
    m_mayGo.open();
    stopper.join();
}

TEST_F(GetFrameTest, AWakeUpWithoutAFrameReturnsNone)
{
    startWithTheThreadHeld();
    ASSERT_TRUE(deliver(2));
    ASSERT_EQ(read(true), 2);
    EXPECT_EQ(getOnThisThread(), -1);
    EXPECT_FALSE(m_waiting.isOpen());
    EXPECT_EQ(g_nubrixErrno, 0U);
}

TEST_F(GetFrameTest, AFrameForTheCallbackDoesNotEndTheWait)
{
    startWithTheThreadHeld();
    m_application.then = [this] { m_application.giveBackAll(); };
    setCallback();
    std::thread driver([this] {
        EXPECT_TRUE(m_waiting.pass());
        EXPECT_TRUE(deliver(2));
        EXPECT_TRUE(m_application.calls.reaches(1));
        m_stream->stop();
    });
    EXPECT_EQ(getOnThisThread(), -1);
    EXPECT_THAT(m_log.take(),
                Contains(milestoneLine("b_NewFrameThreadStarted is false, Thread is Stop")));
    m_mayGo.open();
    driver.join();
    EXPECT_THAT(m_application.indices(), testing::ElementsAre(2U));
}

}  // namespace
}  // namespace nubrix
