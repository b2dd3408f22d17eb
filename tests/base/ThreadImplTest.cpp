#include "base/ThreadImpl.h"

#include <gmock/gmock.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <memory>
#include <set>
#include <thread>

#include "tests/base/ThreadFixture.h"
#include "tests/fakes/SystemCalls.h"

namespace nubrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string kernelName()
{
    char name[16] = {};
    prctl(PR_GET_NAME, name);
    return name;
}

class ThreadImplTest : public ThreadFixture {
protected:
    std::string nameGivenToTheKernel(const char *name)
    {
        std::string given;
        makeThread([&] { return given = kernelName(), false; }, name);
        EXPECT_EQ(m_thread->start(), 0);
        EXPECT_EQ(m_thread->stop(), 0);
        return given;
    }
};

TEST_F(ThreadImplTest, CreateReturnsAThreadThatIsNotStarted)
{
    bool called = false;
    makeThread([&] { return called = true, false; });
    EXPECT_NE(dynamic_cast<ThreadImpl *>(m_thread.get()), nullptr);
    EXPECT_EQ(m_thread->stop(), -5);
    m_thread.reset();
    EXPECT_FALSE(called);
    EXPECT_THAT(m_log.take(), IsEmpty());
}

TEST_F(ThreadImplTest, TheFunctionGetsItsArgument)
{
    int value = 0;
    const std::unique_ptr<ThreadWrapper> thread{ThreadWrapper::createThread(
        [](void *argument) { return *static_cast<int *>(argument) = 7, false; }, &value, "worker")};
    EXPECT_EQ(thread->start(), 0);
    EXPECT_EQ(thread->stop(), 0);
    EXPECT_EQ(value, 7);
}

TEST_F(ThreadImplTest, StartAndStopAreLoggedInOrder)
{
    startSteadyThread();
    EXPECT_EQ(m_thread->stop(), 0);
    EXPECT_THAT(m_log.take(),
                ElementsAre(enterLine("worker"), exitLine("worker"), stoppedLine("worker")));
}

TEST_F(ThreadImplTest, AFunctionThatReturnsFalseEndsTheThreadAndStopStillJoinsIt)
{
    startThreadThatEnds();
    EXPECT_EQ(m_thread->stop(), 0);
    EXPECT_THAT(m_log.take(), ElementsAre(enterLine("worker"), falseLine("worker"),
                                          exitLine("worker"), stoppedLine("worker")));
    EXPECT_EQ(m_thread->stop(), -5);
}

TEST_F(ThreadImplTest, AThreadThatEndedByItselfStartsAgainOnlyAfterStop)
{
    startThreadThatEnds();
    EXPECT_EQ(m_thread->start(), -5);
    EXPECT_EQ(m_thread->stop(), 0);
    EXPECT_EQ(m_thread->start(), 0);
    EXPECT_EQ(m_thread->stop(), 0);
}

TEST_F(ThreadImplTest, TheFunctionIsCalledOverAndOverUntilStop)
{
    Counter calls;
    makeThread([&] { return calls.add(), true; });
    ASSERT_EQ(m_thread->start(), 0);
    EXPECT_TRUE(calls.reaches(1000));
    EXPECT_EQ(m_thread->stop(), 0);
    const int atStop = calls.value();
    ASSERT_EQ(m_thread->start(), 0);
    EXPECT_TRUE(calls.reaches(atStop + 10));
    EXPECT_EQ(m_thread->stop(), 0);
}

TEST_F(ThreadImplTest, StartingTwiceIsRefusedAndTheThreadRunsOn)
{
    Latch end;
    makeThread([&] { return end.pass(), false; });
    ASSERT_EQ(m_thread->start(), 0);
    EXPECT_EQ(m_thread->start(), -5);
    end.open();
    EXPECT_EQ(m_thread->stop(), 0);
}

TEST_F(ThreadImplTest, StopWaitsForTheCurrentCallAndDoesNotWakeIt)
{
    Latch mayReturn;
    std::atomic<bool> returned{false};
    makeThread([&] { return mayReturn.pass(), returned = true, true; });
    SystemCalls calls;
    calls.join = [&](pthread_t thread, void **result) {
        EXPECT_FALSE(returned);
        mayReturn.open();
        return RealCalls::join(thread, result);
    };
    const SystemCallsInForce inForce(calls);
    ASSERT_EQ(m_thread->start(), 0);
    EXPECT_EQ(m_thread->stop(), 0);
    EXPECT_TRUE(mayReturn.isOpen());
    EXPECT_TRUE(returned);
}

TEST_F(ThreadImplTest, DeletingARunningThreadStopsIt)
{
    startSteadyThread();
    m_thread.reset();
    EXPECT_THAT(m_log.take(),
                ElementsAre(enterLine("worker"), exitLine("worker"), stoppedLine("worker")));
}

TEST_F(ThreadImplTest, ManyThreadsMayStartAndStopItAndEachStartHasOneStop)
{
    std::atomic<int> running{0};
    makeThread([] { return true; });
    const auto startAndStop = [&] {
        for (int i = 0; i < 100; ++i) {
            const int started = m_thread->start();
            EXPECT_TRUE(started == 0 || started == -5) << started;
            if (started == 0)
                ++running;
            const int stopped = m_thread->stop();
            EXPECT_TRUE(stopped == 0 || stopped == -5) << stopped;
            if (stopped == 0)
                --running;
        }
    };
    std::thread other(startAndStop);
    startAndStop();
    other.join();
    if (m_thread->stop() == 0)
        --running;
    EXPECT_EQ(running, 0);
    EXPECT_EQ(m_thread->start(), 0);
    EXPECT_EQ(m_thread->stop(), 0);
}

TEST_F(ThreadImplTest, EveryThreadHasAnIdOfTheKernel)
{
    EXPECT_EQ(ThreadWrapper::getThreadId(), static_cast<int>(syscall(SYS_gettid)));
    startThreadThatEnds();
    EXPECT_NE(m_id, ThreadWrapper::getThreadId());
    EXPECT_EQ(m_thread->stop(), 0);
}

TEST_F(ThreadImplTest, TheKernelKeepsFifteenCharactersOfTheNameAndTheLogAll)
{
    EXPECT_EQ(nameGivenToTheKernel("exactly15chars_"), "exactly15chars_");
    EXPECT_THAT(m_log.take(), testing::Contains(stoppedLine("exactly15chars_")));
    EXPECT_EQ(nameGivenToTheKernel("a name of 20 letters"), "a name of 20 le");
    EXPECT_THAT(m_log.take(), testing::Contains(stoppedLine("a name of 20 letters")));
}

TEST_F(ThreadImplTest, AnEmptyNameLeavesTheKernelsOwn)
{
    EXPECT_EQ(nameGivenToTheKernel(""), kernelName());
    EXPECT_THAT(m_log.take(),
                ElementsAre(enterLine(""), falseLine(""), exitLine(""), stoppedLine("")));
}

TEST_F(ThreadImplTest, WithoutANameItHasThatOfTheLibrary)
{
    EXPECT_EQ(nameGivenToTheKernel(nullptr), "NUBRIX_THREAD");
    EXPECT_THAT(m_log.take(), testing::Contains(stoppedLine("NUBRIX_THREAD")));
}

}  // namespace
}  // namespace nubrix
