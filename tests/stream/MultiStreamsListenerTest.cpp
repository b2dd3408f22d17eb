#include "stream/MultiStreamsListener.h"

#include <gmock/gmock.h>

#include <list>
#include <memory>
#include <thread>

#include "tests/fakes/FailingNew.h"
#include "tests/stream/VideoStreamFixture.h"

namespace nubrix {
namespace {

// Frames are signalled by the streams themselves; no thread of theirs runs.
class MultiStreamsListenerTest : public VideoStreamFixture {
protected:
    static void signal(VideoStream &stream) { stream.newFrameSignal().emit(&stream); }
    /// The stream that signalled last, null without one.
    VideoStream *ready()
    {
        VideoStream *stream = nullptr;
        const int status = m_waiter->wait(0, &stream);
        EXPECT_EQ(status, stream ? 0 : -11);
        return stream;
    }

    VideoStream m_second{m_device, m_sensor};
    VideoStream *m_both[2] = {m_stream.get(), &m_second};
    std::unique_ptr<MultiStreamsListener> m_waiter = std::make_unique<MultiStreamsListener>();
};

TEST_F(MultiStreamsListenerTest, WithoutStreamsItTimesOutAndWritesNothing)
{
    VideoStream *out = &m_second;
    EXPECT_EQ(m_waiter->wait(0, &out), -11);
    EXPECT_EQ(m_waiter->wait(20, &out), -11);
    EXPECT_EQ(out, &m_second);
}

TEST_F(MultiStreamsListenerTest, ItReturnsTheStreamThatSignalledLastOnce)
{
    m_waiter->addStreams(m_both, 2);
    signal(*m_stream);
    signal(m_second);
    EXPECT_EQ(ready(), &m_second);
    EXPECT_EQ(ready(), nullptr);
    signal(m_second);
    signal(*m_stream);
    EXPECT_EQ(ready(), m_stream.get());
}

TEST_F(MultiStreamsListenerTest, TheStreamOutputMayBeNull)
{
    m_waiter->addStreams(m_both, 2);
    signal(*m_stream);
    EXPECT_EQ(m_waiter->wait(0, nullptr), 0);
    EXPECT_EQ(m_waiter->wait(0, nullptr), -11);
}

TEST_F(MultiStreamsListenerTest, NullEntriesAreSkipped)
{
    VideoStream *streams[3] = {nullptr, &m_second, nullptr};
    m_waiter->addStreams(streams, 3);
    signal(m_second);
    EXPECT_EQ(ready(), &m_second);
}

TEST_F(MultiStreamsListenerTest, ACountOfZeroConnectsNothing)
{
    m_waiter->addStreams(m_both, 0);
    signal(*m_stream);
    EXPECT_EQ(ready(), nullptr);
}

TEST_F(MultiStreamsListenerTest, ACountOfZeroChangesNothing)
{
    m_waiter->addStreams(m_both, 2);
    m_waiter->addStreams(m_both, 0);
    m_waiter->addStreams(std::list<VideoStream *>{});
    signal(*m_stream);
    EXPECT_EQ(ready(), m_stream.get());
    m_waiter->removeAllStreams();
    m_waiter->addStreams(m_both, 0);
    signal(*m_stream);
    EXPECT_EQ(ready(), nullptr) << "it does not wait for them again";
}

TEST_F(MultiStreamsListenerTest, AListOfStreamsServesToo)
{
    std::list<VideoStream *> streams{m_stream.get(), nullptr, &m_second};
    m_waiter->addStreams(streams);
    signal(*m_stream);
    EXPECT_EQ(ready(), m_stream.get());
    signal(m_second);
    EXPECT_EQ(ready(), &m_second);
}

TEST_F(MultiStreamsListenerTest, AfterRemovingAllStreamsNoneNotifiesAndAnUnseenFrameIsForgotten)
{
    m_waiter->addStreams(m_both, 2);
    signal(*m_stream);
    m_waiter->removeAllStreams();
    EXPECT_EQ(ready(), nullptr);
    signal(m_second);
    EXPECT_EQ(ready(), nullptr);
    m_waiter->addStreams(m_both, 1);
    signal(*m_stream);
    EXPECT_EQ(ready(), m_stream.get());
}

TEST_F(MultiStreamsListenerTest, AFrameBetweenTwoWaitsForTheSameStreamsIsForgotten)
{
    m_waiter->addStreams(m_both, 2);
    m_waiter->removeAllStreams();
    EXPECT_TRUE(m_waiter->isConnected());
    signal(*m_stream);
    m_waiter->addStreams(m_both, 2);
    EXPECT_EQ(ready(), nullptr);
    signal(m_second);
    EXPECT_EQ(ready(), &m_second);
}

TEST_F(MultiStreamsListenerTest, OfOtherStreamsThanBeforeOnlyTheNewOnesNotify)
{
    m_waiter->addStreams(m_both, 2);
    m_waiter->removeAllStreams();
    m_waiter->addStreams(m_both, 1);
    signal(m_second);
    EXPECT_EQ(ready(), nullptr);
    m_waiter->removeAllStreams();
    makeStream();  // perhaps at the address of the one before
    m_both[0] = m_stream.get();
    m_waiter->addStreams(m_both, 1);
    signal(*m_stream);
    EXPECT_EQ(ready(), m_stream.get());
}

TEST_F(MultiStreamsListenerTest, ItIsDisconnectedOnlyWhileItDoesNotWait)
{
    m_waiter->addStreams(m_both, 2);
    m_waiter->disconnectUnlessWaiting();
    signal(*m_stream);
    EXPECT_EQ(ready(), m_stream.get());
    m_waiter->removeAllStreams();
    m_waiter->disconnectUnlessWaiting();
    EXPECT_FALSE(m_waiter->isConnected());
    m_waiter->addStreams(m_both, 2);
    signal(m_second);
    EXPECT_EQ(ready(), &m_second);
}

TEST_F(MultiStreamsListenerTest, AWaitThatFailsWritesNothing)
{
    SystemCalls calls;
    calls.condTimedWait = [](pthread_cond_t *, pthread_mutex_t *, const timespec *) {
        return EINVAL;
    };
    const SystemCallsInForce inForce(calls);
    VideoStream *out = nullptr;
    EXPECT_EQ(m_waiter->wait(100, &out), -1);
    EXPECT_EQ(out, nullptr);
}

TEST_F(MultiStreamsListenerTest, AllBitsSetWaitForEver)
{
    Latch waiting;
    SystemCalls calls;
    calls.condWait = [&](pthread_cond_t *condition, pthread_mutex_t *mutex) {
        waiting.open();
        return RealCalls::condWait(condition, mutex);
    };
    const SystemCallsInForce inForce(calls);
    m_waiter->addStreams(m_both, 2);
    std::thread signaller([&] {
        EXPECT_TRUE(waiting.pass());
        signal(m_second);
    });
    VideoStream *out = nullptr;
    EXPECT_EQ(m_waiter->wait(4294967295U, &out), 0);
    EXPECT_EQ(out, &m_second);
    signaller.join();
}

TEST_F(MultiStreamsListenerTest, AFrameOfTheDriverEndsTheWait)
{
    m_waiter->addStreams(m_both, 2);
    ASSERT_EQ(m_second.start(), 0);
    std::thread driver([this] { EXPECT_TRUE(deliver(8)); });
    VideoStream *out = nullptr;
    EXPECT_EQ(m_waiter->wait(60000, &out), 0);
    EXPECT_EQ(out, &m_second);
    driver.join();
    xp<NubrixFrameRef> frame;
    EXPECT_EQ(out->readFrame(frame, true), 0);
    EXPECT_EQ(frame->frame().frameIndex, 8U);
}

TEST_F(MultiStreamsListenerTest, ItMayDieWhileItsStreamsSignal)
{
    std::atomic<bool> done{false};
    std::thread signaller([&] {
        while (!done) {
            signal(*m_stream);
            signal(m_second);
        }
    });
    for (int i = 0; i < 200; ++i) {
        m_waiter->addStreams(m_both, 2);
        VideoStream *out = nullptr;
        EXPECT_EQ(m_waiter->wait(60000, &out), 0);
        EXPECT_TRUE(out == m_stream.get() || out == &m_second);
        if (i % 2 == 0)
            m_waiter->removeAllStreams();
        else
            m_waiter = std::make_unique<MultiStreamsListener>();
    }
    m_waiter.reset();
    done = true;
    signaller.join();
}

TEST_F(MultiStreamsListenerTest, EachListenerHearsAllItsStreams)
{
    MultiStreamsListener other;
    m_waiter->addStreams(m_both, 1);
    other.addStreams(m_both, 2);
    signal(m_second);
    signal(*m_stream);
    EXPECT_EQ(ready(), m_stream.get());
    VideoStream *out = nullptr;
    EXPECT_EQ(other.wait(0, &out), 0);
    EXPECT_EQ(out, m_stream.get());
}

TEST_F(MultiStreamsListenerTest, AListenerOfTheApplicationsMakingTakesNoNotice)
{
    LooseFrame frame(9);
    UserStreamFrameListener user;
    m_stream->newFrameSignal().connect(static_cast<StreamFrameBaseListener *>(&user),
                                       &StreamFrameBaseListener::onNewFrame);
    listen();
    start();
    emit(frame);
    ASSERT_TRUE(m_listener.calls.reaches(1));
    EXPECT_EQ(read(true), 9);
}

TEST_F(MultiStreamsListenerTest, WithoutMemoryNoStreamStaysConnected)
{
    const auto addBoth = [this] { m_waiter->addStreams(m_both, 2); };
    const auto noneIsConnected = [this] {
        signal(*m_stream);
        signal(m_second);
        EXPECT_EQ(ready(), nullptr);
        // The next attempt finds no memory that this one has got.
        m_waiter = std::make_unique<MultiStreamsListener>();
    };
    EXPECT_GE(failEachAllocation(addBoth, noneIsConnected), 2);
    for (VideoStream *const stream : m_both) {
        signal(*stream);
        EXPECT_EQ(ready(), stream);
    }
}

TEST_F(MultiStreamsListenerTest, AListenerOfTheApplicationMayBeDestroyedWhileAFrameArrives)
{
    auto user = std::make_unique<UserStreamFrameListener>();
    Latch emitting;
    Latch atTheLock;
    m_listener.then = [&](VideoStream *) {
        emitting.open();
        EXPECT_TRUE(atTheLock.pass());
    };
    listen();  // called before the other, while the signal is locked
    m_stream->newFrameSignal().connect(static_cast<StreamFrameBaseListener *>(user.get()),
                                       &StreamFrameBaseListener::onNewFrame);
    thread_local int t_locksLeft = 0;
    SystemCalls calls;
    calls.mutexLock = [&](pthread_mutex_t *mutex) {
        if (t_locksLeft > 0 && --t_locksLeft == 0)
            atTheLock.open();
        return RealCalls::mutexLock(mutex);
    };
    const SystemCallsInForce inForce(calls);
    std::thread deleter([&] {
        EXPECT_TRUE(emitting.pass());
        t_locksLeft = 2;  // the listener's own, then the signal's
        user.reset();
    });
    signal(*m_stream);
    deleter.join();
    EXPECT_EQ(m_listener.calls.value(), 1);
}

}  // namespace
}  // namespace nubrix
