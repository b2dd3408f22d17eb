#include "stream/DataPreProcess.h"

#include <gmock/gmock.h>

#include <deque>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "base/Clock.h"
#include "tests/stream/StreamFixture.h"

namespace nubrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

// The stage is engaged by hand: its passes are called by the test.
class DataPreProcessTest : public StreamFixture {
protected:
    class Receiver final : public sigslot::has_slots<sigslot::single_threaded> {
    public:
        void onFrame(NubrixFrameRef *frame)
        {
            indices.push_back(frame->frame().frameIndex);
            references.push_back(static_cast<LooseFrame *>(frame)->held());
            if (then)
                then();
        }
        std::vector<unsigned int> indices;
        std::vector<int> references;
        std::function<void()> then;
    };

    DataPreProcessTest()
    {
        m_sensor.newFrameSignal().connect(&m_receiver, &Receiver::onFrame);
        for (unsigned int i = 0; i < 8; ++i)
            m_frames.emplace_back(i);
    }
    ~DataPreProcessTest() override { m_sensor.newFrameSignal().disconnect(&m_receiver); }

    void start() { ASSERT_EQ(m_stage.start(&m_sensor), 0); }
    void queue(unsigned int first, unsigned int last)
    {
        for (unsigned int i = first; i <= last; ++i)
            m_stage.onNewRawFrame(&m_frames[i]);
    }

    Sensor m_sensor{m_device, kDepth};
    Receiver m_receiver;
    std::deque<LooseFrame> m_frames;
    DataPreProcess m_stage;
};

TEST_F(DataPreProcessTest, StartMakesAThreadThatEndsAtItsFirstCall)
{
    start();
    ASSERT_TRUE(m_log.waitFor(testing::Field(&LogLine::text, testing::EndsWith("Exit"))));
    const std::vector<LogLine> lines = m_log.take();
    for (const LogLine &line : lines)
        EXPECT_EQ(line.level, kLogInfo);
    const std::string name = "name:Data PreProcess Thread\\]";
    EXPECT_THAT(texts(lines),
                ElementsAre("", MatchesRegex("Begin run thread\\[id:[0-9]+, " + name + " Enter"),
                            MatchesRegex("Thread run function returns false, id=[0-9]+, "
                                         "thread_=[0-9a-f]{8}, name=Data PreProcess Thread"),
                            MatchesRegex("Thread stop running\\[id:[0-9]+, " + name + " Exit")));
    m_stage.stop();
    EXPECT_THAT(m_log.take(),
                ElementsAre(infoLine(""), infoLine("Thread[Data PreProcess Thread] Stoped")));
}

TEST_F(DataPreProcessTest, ASecondStartOnlyLeavesATrace)
{
    start();
    ASSERT_TRUE(m_log.waitFor(testing::Field(&LogLine::text, testing::EndsWith("Exit"))));
    m_log.take();
    start();
    EXPECT_THAT(m_log.take(), ElementsAre(infoLine("")));
    queue(0, 0);
    EXPECT_TRUE(m_stage.newFrameProcess());
    EXPECT_THAT(m_receiver.indices, ElementsAre(0U));
}

TEST_F(DataPreProcessTest, WhileStoppedFramesAreNotTaken)
{
    queue(0, 0);
    EXPECT_EQ(m_frames[0].held(), 0);
    start();
    m_stage.stop();
    queue(0, 0);
    EXPECT_EQ(m_frames[0].held(), 0);
    EXPECT_THAT(m_receiver.indices, IsEmpty());
}

TEST_F(DataPreProcessTest, APassEmitsEveryQueuedFrameInOrder)
{
    start();
    queue(0, 2);
    EXPECT_TRUE(m_stage.newFrameProcess());
    EXPECT_THAT(m_receiver.indices, ElementsAre(0U, 1U, 2U));
    EXPECT_TRUE(m_stage.newFrameProcess());
    EXPECT_EQ(m_receiver.indices.size(), 3U);
}

TEST_F(DataPreProcessTest, AFrameIsHeldOnceWhileQueuedAndWhileEmitted)
{
    start();
    queue(0, 1);
    EXPECT_EQ(m_frames[0].held(), 1);
    EXPECT_TRUE(m_stage.newFrameProcess());
    EXPECT_THAT(m_receiver.references, ElementsAre(1, 1));
    EXPECT_EQ(m_frames[0].held(), 0);
    EXPECT_EQ(m_frames[1].held(), 0);
}

TEST_F(DataPreProcessTest, AFifthFrameTakesThePlaceOfTheOldest)
{
    start();
    queue(0, 3);
    EXPECT_EQ(m_frames[0].held(), 1);
    queue(4, 4);
    EXPECT_EQ(m_frames[0].held(), 0);
    queue(5, 5);
    EXPECT_EQ(m_frames[1].held(), 0);
    EXPECT_TRUE(m_stage.newFrameProcess());
    EXPECT_THAT(m_receiver.indices, ElementsAre(2U, 3U, 4U, 5U));
}

TEST_F(DataPreProcessTest, APassWithoutFramesWaits100MsAndIsRunAgain)
{
    start();
    std::int64_t deadlineNs = 0;
    std::int64_t waitBeganNs = 0;
    SystemCalls calls;
    calls.condTimedWait = [&](pthread_cond_t *, pthread_mutex_t *, const timespec *until) {
        deadlineNs = static_cast<std::int64_t>(until->tv_sec) * 1000000000 + until->tv_nsec;
        waitBeganNs = timeNanos();
        return ETIMEDOUT;
    };
    const SystemCallsInForce inForce(calls);
    const std::int64_t before = timeNanos();
    EXPECT_TRUE(m_stage.newFrameProcess());
    EXPECT_GE(deadlineNs, before + 100000000);
    EXPECT_LE(deadlineNs, waitBeganNs + 100000000);
    EXPECT_EQ(g_nubrixErrno, 0U);
}

TEST_F(DataPreProcessTest, AWaitThatFailsEndsTheWorkerWithAnErrorNumber)
{
    start();
    SystemCalls calls;
    calls.condTimedWait = [](pthread_cond_t *, pthread_mutex_t *, const timespec *) {
        return EINVAL;
    };
    const SystemCallsInForce inForce(calls);
    EXPECT_FALSE(m_stage.newFrameProcess());
    EXPECT_EQ(g_nubrixErrno, 0x803005aaU);
}

TEST_F(DataPreProcessTest, AStopWakesAPassAndEndsIt)
{
    start();
    std::thread stopper([this] { m_stage.stop(); });
    // The stop may come before the first wait or in the middle of any.
    while (m_stage.newFrameProcess()) {
    }
    stopper.join();
    EXPECT_EQ(g_nubrixErrno, 0U);
}

TEST_F(DataPreProcessTest, StopDropsQueuedFrames)
{
    start();
    queue(0, 2);
    m_stage.stop();
    for (unsigned int i = 0; i < 3; ++i)
        EXPECT_EQ(m_frames[i].held(), 0);
    EXPECT_FALSE(m_stage.newFrameProcess());
    EXPECT_THAT(m_receiver.indices, IsEmpty());
}

TEST_F(DataPreProcessTest, StopWithoutStartOnlyLeavesATrace)
{
    m_stage.stop();
    EXPECT_THAT(m_log.take(), ElementsAre(infoLine("")));
}

TEST_F(DataPreProcessTest, ItStartsAgainAfterAStop)
{
    start();
    m_stage.stop();
    start();
    queue(0, 1);
    EXPECT_TRUE(m_stage.newFrameProcess());
    EXPECT_THAT(m_receiver.indices, ElementsAre(0U, 1U));
}

TEST_F(DataPreProcessTest, AStopDuringAnEmissionDropsTheRest)
{
    start();
    queue(0, 3);
    m_receiver.then = [this] { m_stage.stop(); };
    m_stage.newFrameProcess();
    EXPECT_THAT(m_receiver.indices, ElementsAre(0U));
    for (unsigned int i = 0; i < 4; ++i)
        EXPECT_EQ(m_frames[i].held(), 0);
}

TEST_F(DataPreProcessTest, AnotherThreadMayQueueWhileAFrameIsEmitted)
{
    start();
    queue(0, 0);
    m_receiver.then = [this] {
        m_receiver.then = {};
        std::thread([this] { queue(1, 1); }).join();
    };
    EXPECT_TRUE(m_stage.newFrameProcess());
    EXPECT_THAT(m_receiver.indices, ElementsAre(0U, 1U));
}

TEST_F(DataPreProcessTest, DestroyingARunningStageStopsIt)
{
    {
        DataPreProcess shortLived;
        ASSERT_EQ(shortLived.start(&m_sensor), 0);
        shortLived.onNewRawFrame(&m_frames[0]);
    }
    EXPECT_EQ(m_frames[0].held(), 0);
    EXPECT_THAT(m_log.take(), testing::Contains(infoLine("Thread[Data PreProcess Thread] Stoped")));
}

TEST_F(DataPreProcessTest, FramesOfADriverThreadReachTheReceiverInOrderAndNoneLeaks)
{
    constexpr unsigned int kCount = 500;
    std::deque<LooseFrame> frames;
    for (unsigned int i = 0; i < kCount; ++i)
        frames.emplace_back(i);
    start();
    std::thread driver([&] {
        for (LooseFrame &frame : frames)
            m_stage.onNewRawFrame(&frame);
    });
    while (m_receiver.indices.empty() || m_receiver.indices.back() != kCount - 1)
        ASSERT_TRUE(m_stage.newFrameProcess());
    driver.join();
    EXPECT_TRUE(std::is_sorted(m_receiver.indices.begin(), m_receiver.indices.end()));
    for (const LooseFrame &frame : frames)
        EXPECT_EQ(frame.held(), 0);
}

}  // namespace
}  // namespace nubrix
