// The threads of a stream that have nothing to do: they sleep, and whatever concerns them wakes
// them.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <thread>
#include <vector>

#include "stream/FrameAllocator.h"
#include "tests/fakes/HangGuard.h"
#include "tests/stream/VideoStreamFixture.h"

namespace nubrix {
namespace {

using testing::Each;
using testing::Le;
using testing::Pair;
using testing::SizeIs;

std::string lineOf(const std::filesystem::path &file, const std::string &start)
{
    std::ifstream in(file);
    std::string line;
    while (std::getline(in, line)) {
        if (line.compare(0, start.size(), start) == 0)
            return line.substr(start.size());
    }
    return "";
}

/// How often each thread of streams has begun to wait, by kernel id.
std::map<int, long> waitsOfStreamThreads()
{
    std::map<int, long> waits;
    for (const auto &task : std::filesystem::directory_iterator("/proc/self/task")) {
        const std::filesystem::path status = task.path() / "status";
        const std::string name = lineOf(status, "Name:\t");
        const std::string switches = lineOf(status, "voluntary_ctxt_switches:\t");
        if ((name == "Stream Thread" || name == "Stream CallBack") && !switches.empty())
            waits[std::stoi(task.path().filename())] = std::stol(switches);
    }
    return waits;
}

class IdleStreamTest : public VideoStreamFixture {
protected:
    ~IdleStreamTest() override { m_stream.reset(); }

    static bool allSleep()
    {
        for (const auto &[thread, waits] : waitsOfStreamThreads()) {
            if (!hasFallenAsleep(thread))
                return false;
        }
        return true;
    }
    /// A thread that was joined can still be listed for a moment.
    static bool noneIsLeft()
    {
        return eventually([] { return waitsOfStreamThreads().empty(); });
    }
    void startAndSleep()
    {
        setCallback();
        start();
        ASSERT_TRUE(eventually([] { return waitsOfStreamThreads().size() == 2 && allSleep(); }));
    }
    /// A frame that the driver holds until it has been returned, and that listeners have seen.
    InternalFrame *deliverAndAwaitReturn(bool readerWoken)
    {
        m_listener.then = [this, readerWoken](VideoStream *stream) {
            if (readerWoken)
                stream->onReaderWoken();
            stream->onListenerDone();
        };
        listen();
        start();
        InternalFrame *const frame = m_pool.allocOneFrame();
        m_sensor.onNewFrame(frame);
        EXPECT_TRUE(m_listener.calls.reaches(1));
        return frame;
    }
    static bool isReturned(NubrixFrameRef *frame)
    {
        frame->incRef();
        return frame->release() == 1;
    }

    FrameAllocator m_pool{16, 1, 2};
    const HangGuard m_guard{"the end of a stream whose threads sleep"};
};

TEST_F(IdleStreamTest, ItsThreadsDoNotWakeUp)
{
    std::vector<std::unique_ptr<VideoStream>> streams;
    for (int i = 0; i < 8; ++i) {
        streams.push_back(std::make_unique<VideoStream>(m_device, m_sensor));
        streams.back()->setStreamCallback(&Application::onFrame, &m_application);
        ASSERT_EQ(streams.back()->start(), 0);
    }
    ASSERT_TRUE(eventually([] { return waitsOfStreamThreads().size() == 16 && allSleep(); }));
    const std::map<int, long> before = waitsOfStreamThreads();
    std::this_thread::sleep_for(std::chrono::seconds(1));
    std::map<int, long> since = waitsOfStreamThreads();
    for (auto &[thread, waits] : since)
        waits -= before.at(thread);
    EXPECT_THAT(since, SizeIs(16));
    EXPECT_THAT(since, Each(Pair(testing::_, Le(2))));
}

TEST_F(IdleStreamTest, StopEndsTheThreadsThatSleep)
{
    startAndSleep();
    m_stream->stop();
    EXPECT_TRUE(m_stream->hasEnded());
    EXPECT_TRUE(noneIsLeft());
}

TEST_F(IdleStreamTest, ShutDownEndsACallbackThreadThatSleepsInAStreamNeverStarted)
{
    setCallback();
    ASSERT_TRUE(eventually([] { return waitsOfStreamThreads().size() == 1 && allSleep(); }));
    EXPECT_TRUE(m_stream->shutDown());
    EXPECT_TRUE(noneIsLeft());
}

TEST_F(IdleStreamTest, DestroyingAStreamEndsTheThreadsThatSleep)
{
    startAndSleep();
    m_stream.reset();
    EXPECT_TRUE(noneIsLeft());
}

TEST_F(IdleStreamTest, AStreamWhoseCallbackWasTakenAwayEndsItsSleepingThreads)
{
    startAndSleep();
    m_stream->setStreamCallback(nullptr, nullptr);
    m_stream->stop();
    m_stream.reset();
    EXPECT_TRUE(noneIsLeft());
}

TEST_F(IdleStreamTest, ANewListenerIsNotifiedOfAFrameThatTheDriverWaitsFor)
{
    listen();
    start();
    InternalFrame *const frame = m_pool.allocOneFrame();
    m_sensor.onNewFrame(frame);
    ASSERT_TRUE(m_listener.calls.reaches(1));
    ASSERT_TRUE(eventually(&IdleStreamTest::allSleep));
    m_stream->onListenerBegins();
    EXPECT_TRUE(m_listener.calls.reaches(2));
    frame->release();
}

TEST_F(IdleStreamTest, ANewListenerIsNotNotifiedOfAFrameThatNobodyWaitsFor)
{
    listen();
    start();
    m_stream->onListenerBegins();
    InternalFrame *const frame = m_pool.allocOneFrame();
    m_sensor.onNewFrame(frame);
    ASSERT_TRUE(m_listener.calls.reaches(1));
    frame->release();
    ASSERT_TRUE(eventually(&IdleStreamTest::allSleep));
    const int before = m_listener.calls.value();
    m_stream->onListenerBegins();
    ASSERT_TRUE(eventually(&IdleStreamTest::allSleep));
    EXPECT_EQ(m_listener.calls.value(), before);
}

TEST_F(IdleStreamTest, AFrameKeptForAReaderIsReturnedWhenItsTimeIsOver)
{
    InternalFrame *const frame = deliverAndAwaitReturn(true);
    EXPECT_TRUE(eventually([frame] { return isReturned(frame); }));
    frame->release();
}

TEST_F(IdleStreamTest, AFrameOfAPhotoKeptForAReaderIsReturnedWhenItsTimeIsOver)
{
    start();
    EXPECT_EQ(read(true), -5);
    InternalFrame *const frame = m_pool.allocOneFrame();
    m_sensor.onNewFrame(frame);
    ASSERT_TRUE(eventually(&IdleStreamTest::allSleep));
    EXPECT_EQ(get(), 0);
    EXPECT_TRUE(eventually([frame] { return isReturned(frame); }));
    frame->release();
}

}  // namespace
}  // namespace nubrix
