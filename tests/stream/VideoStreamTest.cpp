// A stream without a callback: starting, reading, listeners, stopping.
#include "stream/VideoStream.h"

#include <gmock/gmock.h>

#include <thread>
#include <vector>

#include "tests/stream/VideoStreamFixture.h"

namespace nubrix {
namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;

const char kStreamThreadBegins[] = "Begin run thread\\[id:[0-9]+, name:Stream Thread\\] Enter";
const char kStreamThreadReturnsFalse[] =
    "Thread run function returns false, id=[0-9]+, thread_=[0-9a-f]{8}, name=Stream Thread";
const char kStreamThreadEnds[] = "Thread stop running\\[id:[0-9]+, name:Stream Thread\\] Exit";

using VideoStreamTest = VideoStreamFixture;

TEST_F(VideoStreamTest, ANewStreamHasMadeItsThreadsAndStartedNone)
{
    EXPECT_THAT(m_log.take(), ElementsAre(infoLine("Create newFrameThreadFunc")));
    EXPECT_EQ(m_stream->getFrameType(), kDepth);
    EXPECT_EQ(&m_stream->device(), &m_device);
    EXPECT_EQ(m_stream->handle(), reinterpret_cast<NubrixStream *>(m_stream.get()));
    EXPECT_THAT(m_driver.takeCalls(), IsEmpty());
}

TEST_F(VideoStreamTest, StartRunsTheThreadAndThenTheSensor)
{
    m_log.take();
    EXPECT_EQ(m_stream->start(), 0);
    const std::vector<LogLine> lines = m_log.take();
    EXPECT_THAT(lines, Each(Field(&LogLine::level, kLogInfo)));
    EXPECT_THAT(texts(lines),
                ElementsAre("", MatchesRegex(kStreamThreadBegins), "", "get frame buffer size=64",
                            "Change buffer Size from [624640] to [64]", "2 Sensor started"));
    EXPECT_EQ(m_driver.countCalls("usb:1 stream 2 start"), 1U);
}

TEST_F(VideoStreamTest, AStreamThatWasShutDownIsNotStarted)
{
    EXPECT_TRUE(m_stream->shutDown());
    m_driver.takeCalls();
    EXPECT_EQ(m_stream->start(), -13);
    EXPECT_THAT(m_driver.takeCalls(), IsEmpty());
}

TEST_F(VideoStreamTest, ASecondStartOnlyLeavesATrace)
{
    start();
    m_driver.takeCalls();
    EXPECT_EQ(m_stream->start(), 0);
    EXPECT_THAT(m_log.take(), ElementsAre(infoLine("")));
    EXPECT_THAT(m_driver.takeCalls(), IsEmpty());
    m_stream->stop();
    EXPECT_THAT(m_driver.takeCalls(), ElementsAre("usb:1 stream 2 stop"));
}

TEST_F(VideoStreamTest, WithoutAThreadTheStreamIsNotStarted)
{
    SystemCalls calls;
    calls.create = [](pthread_t *, const pthread_attr_t *, void *(*)(void *), void *) {
        return EAGAIN;
    };
    m_log.take();
    {
        const SystemCallsInForce inForce(calls);
        EXPECT_EQ(m_stream->start(), -1);
    }
    EXPECT_THAT(m_log.take(),
                ElementsAre(infoLine(""), errorLine("Start Thread[Stream Thread] Failed"),
                            errorLine("start stream thread failed[-1]")));
    EXPECT_THAT(m_driver.takeCalls(), IsEmpty());
    EXPECT_EQ(read(true), -2);
    LooseFrame frame;
    emit(frame);
    EXPECT_EQ(frame.held(), 0);
    EXPECT_EQ(m_stream->start(), 0);
    EXPECT_TRUE(deliver(1));
    EXPECT_EQ(read(true), 1);
}

TEST_F(VideoStreamTest, ASensorThatDoesNotStartLeavesTheStreamStartedAndConnected)
{
    m_driver.results.start = 7;
    EXPECT_EQ(m_stream->start(), 7);
    m_log.take();
    EXPECT_EQ(read(true), -5);
    EXPECT_THAT(m_log.take(), IsEmpty());
    LooseFrame frame(3);
    emit(frame);
    EXPECT_EQ(read(true), 3);
    EXPECT_EQ(m_stream->start(), 0);
    EXPECT_EQ(m_driver.countCalls("usb:1 stream 2 start"), 1U);
}

TEST_F(VideoStreamTest, ReadingAStreamThatIsNotStartedIsRefusedWithAWarning)
{
    m_log.take();
    EXPECT_EQ(read(true), -2);
    EXPECT_EQ(read(false), -2);
    EXPECT_EQ(get(), -2);
    EXPECT_THAT(m_log.take(),
                ElementsAre(warningLine("Stream Not Stared"), warningLine("Stream Not Stared"),
                            warningLine("Stream Not Stared")));
    start();
    m_stream->stop();
    m_log.take();
    EXPECT_EQ(read(true), -2);
    EXPECT_EQ(get(), -2);
    EXPECT_THAT(m_log.take(),
                ElementsAre(warningLine("Stream Not Stared"), warningLine("Stream Not Stared")));
    EXPECT_EQ(g_nubrixErrno, 0U);
}

TEST_F(VideoStreamTest, BeforeTheStartFramesAreNotTaken)
{
    LooseFrame frame;
    frame.incRef();
    m_stream->onNewSensorFrame(&frame);
    EXPECT_EQ(frame.release(), 0);
    start();
    EXPECT_EQ(read(true), -5);
}

TEST_F(VideoStreamTest, OfTwoFramesTheReaderSeesTheSecondAndTheFirstIsDropped)
{
    LooseFrame first(1);
    LooseFrame second(2);
    start();
    emit(first);
    EXPECT_EQ(first.held(), 1);
    emit(second);
    EXPECT_EQ(first.held(), 0);
    EXPECT_EQ(second.held(), 1);
    EXPECT_EQ(read(true), 2);
    EXPECT_EQ(read(true), -5);
}

TEST_F(VideoStreamTest, APeekLeavesTheFrameInTheQueue)
{
    LooseFrame frame(4);
    start();
    emit(frame);
    EXPECT_EQ(read(false), 4);
    EXPECT_EQ(frame.held(), 1);
    EXPECT_EQ(read(false), 4);
    EXPECT_EQ(read(true), 4);
    EXPECT_EQ(frame.held(), 0);
    EXPECT_EQ(read(false), -5);
}

TEST_F(VideoStreamTest, AReaderHoldsItsOwnReference)
{
    LooseFrame frame(4);
    start();
    emit(frame);
    {
        xp<NubrixFrameRef> peeked;
        ASSERT_EQ(m_stream->readFrame(peeked, false), 0);
        EXPECT_EQ(frame.held(), 2);
        xp<NubrixFrameRef> popped;
        ASSERT_EQ(m_stream->readFrame(popped, true), 0);
        EXPECT_EQ(frame.held(), 2);
        m_stream->stop();
        EXPECT_EQ(frame.held(), 2);
    }
    EXPECT_EQ(frame.held(), 0);
}

TEST_F(VideoStreamTest, WithoutAFrameTheReadersPointerStaysAsItWas)
{
    LooseFrame frame(4);
    start();
    emit(frame);
    xp<NubrixFrameRef> out;
    ASSERT_EQ(m_stream->readFrame(out, true), 0);
    EXPECT_EQ(m_stream->readFrame(out, true), -5);
    EXPECT_EQ(out.get(), &frame);
}

TEST_F(VideoStreamTest, AnUnreadFrameReturnsToThePoolWhenTheNextOneArrives)
{
    start();
    for (unsigned int i = 0; i < 100; ++i)
        ASSERT_TRUE(deliver(i));
    EXPECT_EQ(read(true), 99);
}

TEST_F(VideoStreamTest, ListenersAreNotifiedOnTheStreamsThreadAndPullTheFrame)
{
    std::vector<int> seen;
    m_listener.then = [&](VideoStream *) { seen.push_back(read(true)); };
    listen();
    start();
    ASSERT_TRUE(deliver(1));
    ASSERT_TRUE(m_listener.calls.reaches(1));
    ASSERT_TRUE(deliver(2));
    ASSERT_TRUE(m_listener.calls.reaches(2));
    EXPECT_EQ(m_listener.threadName, "Stream Thread");
    EXPECT_EQ(m_listener.last, m_stream.get());
    EXPECT_THAT(seen, ElementsAre(1, 2));
}

TEST_F(VideoStreamTest, AFrameThatNoListenerReadsStaysForReaders)
{
    listen();
    start();
    ASSERT_TRUE(deliver(1));
    ASSERT_TRUE(m_listener.calls.reaches(1));
    EXPECT_EQ(read(true), 1);
}

TEST_F(VideoStreamTest, ListenersAreNotifiedEvenWhenTheFrameHasBeenRead)
{
    Latch inFirst;
    Latch go;
    m_listener.then = [&](VideoStream *) {
        inFirst.open();
        EXPECT_TRUE(go.pass());
    };
    listen();
    start();
    ASSERT_TRUE(deliver(1));
    ASSERT_TRUE(inFirst.pass());
    ASSERT_TRUE(deliver(2));
    EXPECT_EQ(read(true), 2);
    go.open();
    EXPECT_TRUE(m_listener.calls.reaches(2));
    EXPECT_EQ(read(true), -5);
}

TEST_F(VideoStreamTest, TheQueueIsNotLockedWhileListenersRun)
{
    int other = 0;
    m_listener.then = [&](VideoStream *) { std::thread([&] { other = read(true); }).join(); };
    listen();
    start();
    ASSERT_TRUE(deliver(6));
    ASSERT_TRUE(m_listener.calls.reaches(1));
    EXPECT_EQ(other, 6);
}

TEST_F(VideoStreamTest, TwoStreamsOfOneSensorBothGetTheFrame)
{
    VideoStream second(m_device, m_sensor);
    start();
    ASSERT_EQ(second.start(), 0);
    ASSERT_TRUE(deliver(1));
    EXPECT_EQ(read(true), 1);
    xp<NubrixFrameRef> frame;
    EXPECT_EQ(second.readFrame(frame, true), 0);
    EXPECT_EQ(frame->frame().frameIndex, 1U);
    m_stream->stop();
    ASSERT_TRUE(deliver(2));
    EXPECT_EQ(second.readFrame(frame, true), 0);
    EXPECT_EQ(frame->frame().frameIndex, 2U);
    second.stop();
    EXPECT_FALSE(deliver(3));
}

TEST_F(VideoStreamTest, StopIsLoggedInOrderAndEndsTheThreadBeforeTheSensor)
{
    SystemCalls calls;
    std::vector<int> sleepsMs;
    calls.nanosleep = [&](const timespec *length, timespec *) {
        sleepsMs.push_back(static_cast<int>(length->tv_nsec / 1000000));
        return 0;
    };
    const SystemCallsInForce inForce(calls);
    start();
    m_driver.takeCalls();
    m_stream->stop();
    const std::vector<LogLine> lines = m_log.take();
    EXPECT_THAT(lines, Each(Field(&LogLine::level, kLogInfo)));
    EXPECT_THAT(texts(lines),
                ElementsAre("", MatchesRegex(kStreamThreadReturnsFalse),
                            MatchesRegex(kStreamThreadEnds), "Thread[Stream Thread] Stoped", ""));
    EXPECT_THAT(m_driver.takeCalls(), ElementsAre("usb:1 stream 2 stop"));
    EXPECT_THAT(sleepsMs, IsEmpty());
    m_stream.reset();
}

TEST_F(VideoStreamTest, StopEmptiesTheQueueAndDisconnects)
{
    LooseFrame frame(1);
    start();
    emit(frame);
    EXPECT_EQ(frame.held(), 1);
    m_stream->stop();
    EXPECT_EQ(frame.held(), 0);
    emit(frame);
    EXPECT_EQ(frame.held(), 0);
    EXPECT_FALSE(deliver(2));
}

TEST_F(VideoStreamTest, StoppingAStreamThatWasNeverStartedOnlyLeavesATrace)
{
    m_log.take();
    m_stream->stop();
    EXPECT_THAT(m_log.take(), ElementsAre(infoLine("")));
    EXPECT_THAT(m_driver.takeCalls(), IsEmpty());
    m_stream->stop();
    start();
    EXPECT_TRUE(deliver(1));
    EXPECT_EQ(read(true), 1);
}

TEST_F(VideoStreamTest, AStoppedStreamStartsAgain)
{
    listen();
    for (unsigned int i = 1; i <= 3; ++i) {
        start();
        ASSERT_TRUE(deliver(i));
        ASSERT_TRUE(m_listener.calls.reaches(static_cast<int>(i)));
        EXPECT_EQ(read(true), static_cast<int>(i));
        m_stream->stop();
    }
    EXPECT_EQ(m_driver.countCalls("usb:1 createStream 2"), 1U);
}

TEST_F(VideoStreamTest, DestroyingAStartedStreamStopsIt)
{
    listen();
    start();
    ASSERT_TRUE(deliver(1));
    m_stream.reset();
    EXPECT_THAT(m_log.take(), Contains(infoLine("Thread[Stream Thread] Stoped")));
    EXPECT_FALSE(deliver(2));
    EXPECT_EQ(m_driver.countCalls("usb:1 stream 2 stop"), 1U);
}

TEST_F(VideoStreamTest, AWaitThatFailsEndsTheStreamsThread)
{
    SystemCalls calls;
    calls.condWait = [](pthread_cond_t *condition, pthread_mutex_t *mutex) {
        if (currentThreadName() == "Stream Thread")
            return EINVAL;
        return RealCalls::condWait(condition, mutex);
    };
    const SystemCallsInForce inForce(calls);
    ASSERT_EQ(m_stream->start(), 0);
    EXPECT_TRUE(m_log.waitFor(Field(&LogLine::text, MatchesRegex(kStreamThreadReturnsFalse))));
    m_stream->stop();
    m_stream.reset();
}

TEST_F(VideoStreamTest, DeliveryReadersAndRestartsMayRunAtOnce)
{
    listen();
    std::atomic<bool> done{false};
    std::thread driver([&] {
        for (unsigned int i = 0; !done; ++i)
            deliver(i);
    });
    std::thread reader([&] {
        while (!done) {
            const int status = read(true);
            EXPECT_TRUE(status >= 0 || status == -2 || status == -5) << status;
        }
    });
    for (int i = 0; i < 30; ++i) {
        const int before = m_listener.calls.value();
        EXPECT_EQ(m_stream->start(), 0);
        EXPECT_TRUE(m_listener.calls.reaches(before + 3));
        m_stream->stop();
    }
    done = true;
    driver.join();
    reader.join();
    EXPECT_THAT(m_log.take(), Not(Contains(errorLine("no available Frame!!!"))));
}

}  // namespace
}  // namespace nubrix
