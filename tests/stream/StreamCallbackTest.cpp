// A stream with a callback of the application.
#include <gmock/gmock.h>

#include <thread>
#include <vector>

#include "base/CallbackScope.h"
#include "tests/stream/VideoStreamFixture.h"

namespace nubrix {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

class StreamCallbackTest : public VideoStreamFixture {
protected:
    auto callbackThreadBegins() const
    {
        return Field(&LogLine::text,
                     MatchesRegex("Begin run thread.*name:Stream CallBack\\] Enter"));
    }
};

TEST_F(StreamCallbackTest, TheCallbackGetsStreamFrameAndUserDataOnAThreadOfItsOwn)
{
    setCallback();
    start();
    ASSERT_TRUE(deliver(1));
    ASSERT_TRUE(m_application.calls.reaches(1));
    EXPECT_EQ(m_application.threadName(), "Stream CallBack");
    EXPECT_EQ(m_application.stream(), m_stream->handle());
    EXPECT_THAT(m_application.indices(), ElementsAre(1U));
    EXPECT_EQ(m_application.frame()->streamType, kDepth);
    ASSERT_TRUE(deliver(2));
    ASSERT_TRUE(m_application.calls.reaches(2));
    EXPECT_THAT(m_application.indices(), ElementsAre(1U, 2U));
}

TEST_F(StreamCallbackTest, ItMayBeSetAfterTheStart)
{
    start();
    ASSERT_TRUE(deliver(1));
    setCallback();
    ASSERT_TRUE(deliver(2));
    ASSERT_TRUE(m_application.calls.reaches(1));
    EXPECT_THAT(m_application.indices(), ElementsAre(2U));
}

TEST_F(StreamCallbackTest, TheApplicationOwnsItsFrameUntilItGivesItBackEvenAfterStop)
{
    LooseFrame frame(3);
    setCallback();
    start();
    emit(frame);
    ASSERT_TRUE(m_application.calls.reaches(1));
    m_stream->stop();
    EXPECT_EQ(frame.held(), 1);
    m_stream.reset();
    EXPECT_EQ(frame.held(), 1);
    m_application.giveBackAll();
    EXPECT_EQ(frame.held(), 0);
}

TEST_F(StreamCallbackTest, WhileACallbackRunsOnlyTheNewestFrameIsKept)
{
    Latch inFirst;
    Latch go;
    m_application.then = [&] {
        inFirst.open();
        EXPECT_TRUE(go.pass());
    };
    setCallback();
    start();
    ASSERT_TRUE(deliver(1));
    ASSERT_TRUE(inFirst.pass());
    for (unsigned int i = 2; i <= 5; ++i)
        ASSERT_TRUE(deliver(i));
    go.open();
    ASSERT_TRUE(m_application.calls.reaches(2));
    EXPECT_THAT(m_application.indices(), ElementsAre(1U, 5U));
    EXPECT_EQ(read(true), -5);
}

TEST_F(StreamCallbackTest, ListenersAreNotNotifiedOfFramesThatTheCallbackGets)
{
    listen();
    setCallback();
    start();
    ASSERT_TRUE(deliver(1));
    ASSERT_TRUE(m_application.calls.reaches(1));
    ASSERT_TRUE(deliver(2));
    ASSERT_TRUE(m_application.calls.reaches(2));
    m_stream->setStreamCallback(nullptr, nullptr);
    ASSERT_TRUE(deliver(3));
    ASSERT_TRUE(m_listener.calls.reaches(1));
    // Notifications of the first two would have left the event set: one call more.
    m_stream->stop();
    EXPECT_EQ(m_listener.calls.value(), 1);
    EXPECT_EQ(m_application.calls.value(), 2);
}

TEST_F(StreamCallbackTest, ASecondCallbackReplacesTheFirstAndItsData)
{
    setCallback();
    start();
    ASSERT_TRUE(deliver(1));
    ASSERT_TRUE(m_application.calls.reaches(1));
    Application other;
    m_log.take();
    m_stream->setStreamCallback(&Application::onFrame, &other);
    ASSERT_TRUE(deliver(2));
    ASSERT_TRUE(other.calls.reaches(1));
    EXPECT_THAT(other.indices(), ElementsAre(2U));
    EXPECT_EQ(m_application.calls.value(), 1);
    EXPECT_THAT(m_log.take(), Not(Contains(callbackThreadBegins())));
    m_stream->stop();
}

TEST_F(StreamCallbackTest, SettingNoneStartsTheThreadAllTheSame)
{
    m_log.take();
    m_stream->setStreamCallback(nullptr, nullptr);
    EXPECT_THAT(m_log.take(), ElementsAre(callbackThreadBegins()));
    listen();
    start();
    ASSERT_TRUE(deliver(1));
    EXPECT_TRUE(m_listener.calls.reaches(1));
    // Without a callback, stop leaves that thread to the destructor.
    m_stream->stop();
    EXPECT_THAT(m_log.take(), Not(Contains(infoLine("Thread[Stream CallBack] Stoped"))));
    m_stream.reset();
    EXPECT_THAT(m_log.take(), Contains(infoLine("Thread[Stream CallBack] Stoped")));
}

TEST_F(StreamCallbackTest, AFrameForACallbackThatHasBeenClearedMeanwhileIsDropped)
{
    Latch inFirst;
    Latch go;
    m_application.then = [&] {
        inFirst.open();
        EXPECT_TRUE(go.pass());
    };
    LooseFrame second(2);
    setCallback();
    start();
    ASSERT_TRUE(deliver(1));
    ASSERT_TRUE(inFirst.pass());
    emit(second);
    m_stream->setStreamCallback(nullptr, nullptr);
    EXPECT_EQ(second.held(), 1);
    go.open();
    EXPECT_TRUE(second.waitUntilDropped());
    EXPECT_EQ(m_application.calls.value(), 1);
    EXPECT_EQ(read(true), -5);
}

TEST_F(StreamCallbackTest, AWakeUpWithoutAFrameIsPassedOver)
{
    Latch inFirst;
    Latch go;
    m_application.then = [&] {
        inFirst.open();
        EXPECT_TRUE(go.pass());
    };
    setCallback();
    start();
    ASSERT_TRUE(deliver(1));
    ASSERT_TRUE(inFirst.pass());
    ASSERT_TRUE(deliver(2));
    EXPECT_EQ(read(true), 2);
    go.open();
    ASSERT_TRUE(m_application.calls.reaches(1));
    ASSERT_TRUE(deliver(3));
    ASSERT_TRUE(m_application.calls.reaches(2));
    EXPECT_THAT(m_application.indices(), ElementsAre(1U, 3U));
}

TEST_F(StreamCallbackTest, StopIsLoggedInOrderWithTheCallbackThreadFirst)
{
    SystemCalls calls;
    std::vector<int> sleepsMs;
    calls.nanosleep = [&](const timespec *length, timespec *) {
        sleepsMs.push_back(static_cast<int>(length->tv_sec * 1000 + length->tv_nsec / 1000000));
        return 0;
    };
    const SystemCallsInForce inForce(calls);
    setCallback();
    start();
    m_stream->stop();
    const std::vector<LogLine> lines = m_log.take();
    EXPECT_THAT(texts(lines),
                ElementsAre("", "stop NewCallFrameBackProcess Thread succeed!",
                            MatchesRegex("Thread run function returns false, .*=Stream CallBack"),
                            MatchesRegex("Thread stop running.*:Stream CallBack\\] Exit"),
                            "Thread[Stream CallBack] Stoped",
                            MatchesRegex("Thread run function returns false, .*=Stream Thread"),
                            MatchesRegex("Thread stop running.*:Stream Thread\\] Exit"),
                            "Thread[Stream Thread] Stoped", ""));
    EXPECT_THAT(lines, Contains(milestoneLine("stop NewCallFrameBackProcess Thread succeed!")));
    EXPECT_THAT(sleepsMs, ElementsAre(20));
    m_stream.reset();
}

TEST_F(StreamCallbackTest, StopWaitsForARunningCallback)
{
    Latch inCallback;
    Latch stopping;
    std::atomic<bool> returned{false};
    m_application.then = [&] {
        inCallback.open();
        EXPECT_TRUE(stopping.pass());
        returned = true;
    };
    SystemCalls calls;
    calls.nanosleep = [&](const timespec *, timespec *) {
        EXPECT_FALSE(returned);
        stopping.open();
        return 0;
    };
    const SystemCallsInForce inForce(calls);
    setCallback();
    start();
    ASSERT_TRUE(deliver(1));
    ASSERT_TRUE(inCallback.pass());
    m_stream->stop();
    EXPECT_TRUE(returned);
    m_stream.reset();
}

TEST_F(StreamCallbackTest, AfterARestartTheStoredCallbackWaitsToBeSetAgain)
{
    listen();
    setCallback();
    start();
    ASSERT_TRUE(deliver(1));
    ASSERT_TRUE(m_application.calls.reaches(1));
    m_stream->stop();
    m_log.take();
    ASSERT_EQ(m_stream->start(), 0);
    ASSERT_TRUE(deliver(2));
    EXPECT_THAT(m_log.take(), Not(Contains(callbackThreadBegins())));
    EXPECT_EQ(read(false), 2);
    setCallback();
    // The frame in between woke nobody; it may be delivered now.
    ASSERT_TRUE(m_application.calls.reaches(2));
    ASSERT_TRUE(deliver(3));
    ASSERT_TRUE(m_application.calls.reaches(3));
    EXPECT_THAT(m_application.indices(), ElementsAre(1U, 2U, 3U));
    m_stream->stop();
    EXPECT_EQ(m_listener.calls.value(), 0);
}

TEST_F(StreamCallbackTest, NothingIsLockedWhileTheCallbackRuns)
{
    m_application.then = [&] {
        EXPECT_TRUE(CallbackScope::isActive());
        std::thread([&] {
            EXPECT_FALSE(CallbackScope::isActive());
            EXPECT_EQ(read(true), -5);
            setCallback();
            m_application.giveBackAll();
        }).join();
    };
    setCallback();
    start();
    ASSERT_TRUE(deliver(1));
    EXPECT_TRUE(m_application.calls.reaches(1));
    EXPECT_FALSE(CallbackScope::isActive());
    m_stream->stop();
}

TEST_F(StreamCallbackTest, AnApplicationThatKeepsEveryFrameRunsThePoolDry)
{
    setCallback();
    start();
    for (int i = 0; i < 10; ++i) {
        ASSERT_TRUE(deliver(static_cast<unsigned int>(i)));
        ASSERT_TRUE(m_application.calls.reaches(i + 1));
    }
    EXPECT_FALSE(deliver(10));
    EXPECT_THAT(m_log.take(), Contains(errorLine("no available Frame!!!")));
    m_application.giveBackAll();
    EXPECT_TRUE(deliver(11));
    EXPECT_TRUE(m_application.calls.reaches(11));
}

TEST_F(StreamCallbackTest, AWaitThatFailsEndsTheCallbackThread)
{
    SystemCalls calls;
    calls.condWait = [](pthread_cond_t *condition, pthread_mutex_t *mutex) {
        if (currentThreadName() == "Stream CallBack")
            return EINVAL;
        return RealCalls::condWait(condition, mutex);
    };
    const SystemCallsInForce inForce(calls);
    setCallback();
    EXPECT_TRUE(m_log.waitFor(
        Field(&LogLine::text, MatchesRegex("Thread stop running.*:Stream CallBack\\] Exit"))));
    m_stream.reset();
}

// Each callback belongs to its data: the pair must never be torn.
struct Owner {
    explicit Owner(bool isSecond) : second(isSecond) {}
    static void onFirst(NubrixStream *, typedefNubrixFrame *frame, void *user)
    {
        take(frame, user, false);
    }
    static void onSecond(NubrixStream *, typedefNubrixFrame *frame, void *user)
    {
        take(frame, user, true);
    }
    static void take(typedefNubrixFrame *frame, void *user, bool isSecond)
    {
        auto *const self = static_cast<Owner *>(user);
        EXPECT_EQ(self->second, isSecond);
        InternalFrame::fromRecord(frame)->release();
        self->calls.add();
    }
    const bool second;
    Counter calls;
};

TEST_F(StreamCallbackTest, CallbacksMayChangeWhileFramesFlow)
{
    Owner first(false);
    Owner second(true);
    m_stream->setStreamCallback(&Owner::onFirst, &first);
    start();
    std::atomic<bool> done{false};
    std::thread driver([&] {
        for (unsigned int i = 0; !done; ++i)
            deliver(i);
    });
    for (int i = 1; i <= 100; ++i) {
        const int before = second.calls.value();
        m_stream->setStreamCallback(&Owner::onSecond, &second);
        EXPECT_TRUE(second.calls.reaches(before + 1));
        m_stream->setStreamCallback(&Owner::onFirst, &first);
    }
    m_stream->stop();
    done = true;
    driver.join();
}

}  // namespace
}  // namespace nubrix
