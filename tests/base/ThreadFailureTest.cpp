// Threads that the system refuses, and scheduling.
#include <gmock/gmock.h>
#include <sched.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <thread>
#include <vector>

#include "base/Clock.h"
#include "tests/base/ThreadFixture.h"
#include "tests/fakes/SystemCalls.h"

namespace nubrix {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::MatchesRegex;

class ThreadFailureTest : public ThreadFixture {
protected:
    SystemCalls m_calls;
};

TEST_F(ThreadFailureTest, NoThreadToBeHadIsLoggedWithAnErrorNumber)
{
    m_calls.create = [](pthread_t *, const pthread_attr_t *, void *(*)(void *), void *) {
        return EAGAIN;
    };
    makeThread([] { return false; });
    {
        const SystemCallsInForce inForce(m_calls);
        EXPECT_EQ(m_thread->start(), -1);
    }
    EXPECT_EQ(g_nubrixErrno, 0x80300412U);
    EXPECT_THAT(m_log.take(), ElementsAre(errorLine("Start Thread[worker] Failed")));
    EXPECT_EQ(m_thread->stop(), -5);
    EXPECT_EQ(m_thread->start(), 0);
    EXPECT_EQ(m_thread->stop(), 0);
}

TEST_F(ThreadFailureTest, FailingToCreateAttributesFailsTheStartWithoutALogLine)
{
    m_calls.attrInit = [](pthread_attr_t *) { return ENOMEM; };
    makeThread([] { return false; });
    {
        const SystemCallsInForce inForce(m_calls);
        EXPECT_EQ(m_thread->start(), -1);
    }
    EXPECT_EQ(g_nubrixErrno, 0U);
    EXPECT_THAT(m_log.take(), IsEmpty());
    EXPECT_EQ(m_thread->start(), 0);
    EXPECT_EQ(m_thread->stop(), 0);
}

// The new thread is held at its first line until it may begin: when the start has given up, or
// waits.
class LateThreadTest : public ThreadFixture {
protected:
    LateThreadTest()
    {
        m_calls.condTimedWait = [this](pthread_cond_t *, pthread_mutex_t *, const timespec *until) {
            m_deadlineNs = static_cast<std::int64_t>(until->tv_sec) * 1000000000 + until->tv_nsec;
            m_waitBeganNs = timeNanos();
            return ETIMEDOUT;
        };
        m_calls.join = [this](pthread_t thread, void **result) {
            m_mayBegin.open();
            return RealCalls::join(thread, result);
        };
    }
    void holdTheThread()
    {
        m_hold = std::make_unique<LogRecorder>([this](const LogLine &line) {
            if (line.text.find("Begin run thread") == 0)
                m_mayBegin.pass();
        });
    }

    std::int64_t m_deadlineNs = 0;
    std::int64_t m_waitBeganNs = 0;
    Latch m_mayBegin;
    SystemCalls m_calls;
    std::unique_ptr<LogRecorder> m_hold;
};

TEST_F(LateThreadTest, AThreadThatDoesNotBeginInTwoSecondsIsGivenUp)
{
    holdTheThread();
    std::atomic<int> calls{0};
    makeThread([&] { return ++calls, true; });
    const std::int64_t before = timeNanos();
    {
        const SystemCallsInForce inForce(m_calls);
        EXPECT_EQ(m_thread->start(), -11);
    }
    EXPECT_EQ(calls, 0) << "nobody would wake it";
    EXPECT_GE(m_deadlineNs, before + 2000000000);
    EXPECT_LE(m_deadlineNs, m_waitBeganNs + 2000000000);
    EXPECT_EQ(m_thread->stop(), -5);
    EXPECT_THAT(
        m_hold->take(),
        ElementsAre(Field(&LogLine::text, MatchesRegex("Begin run thread.*name:worker\\] Enter")),
                    Field(&LogLine::text, MatchesRegex("Thread stop running.*:worker\\] Exit"))));
    EXPECT_EQ(m_thread->start(), 0);
    EXPECT_EQ(m_thread->stop(), 0);
}

TEST_F(LateThreadTest, AThreadThatBeginsInTheInstantOfTheTimeoutDoesNotRunEither)
{
    m_calls.condTimedWait = [this](pthread_cond_t *condition, pthread_mutex_t *mutex,
                                   const timespec *until) {
        m_mayBegin.open();  // the event is set once this wait releases the mutex
        EXPECT_EQ(RealCalls::condTimedWait(condition, mutex, until), 0);
        return ETIMEDOUT;
    };
    holdTheThread();
    std::atomic<int> calls{0};
    makeThread([&] { return ++calls, true; });
    {
        const SystemCallsInForce inForce(m_calls);
        EXPECT_EQ(m_thread->start(), -11);
    }
    EXPECT_EQ(calls, 0) << "nobody would wake it";
    EXPECT_EQ(m_thread->stop(), -5);
}

TEST_F(ThreadFailureTest, AThreadThatCannotSayThatItBeganLogsItAndEnds)
{
    // The mutex of the start event is the last that start() locks before it makes the thread.
    static thread_local pthread_mutex_t *last = nullptr;
    static thread_local bool inStart = false;
    std::atomic<pthread_mutex_t *> startEvent{nullptr};
    m_calls.mutexLock = [&](pthread_mutex_t *mutex) {
        if (!inStart && mutex == startEvent)
            return EINVAL;
        last = mutex;
        return RealCalls::mutexLock(mutex);
    };
    m_calls.create = [&](pthread_t *thread, const pthread_attr_t *attributes, void *(*run)(void *),
                         void *argument) {
        startEvent = last;
        return RealCalls::create(thread, attributes, run, argument);
    };
    m_calls.condTimedWait = [&](pthread_cond_t *, pthread_mutex_t *, const timespec *) {
        return ETIMEDOUT;
    };
    bool called = false;
    makeThread([&] { return called = true, false; });
    {
        const SystemCallsInForce inForce(m_calls);
        inStart = true;
        EXPECT_EQ(m_thread->start(), -11);
        inStart = false;
    }
    EXPECT_FALSE(called);
    const std::vector<LogLine> lines = m_log.take();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[1], errorLine("start event set error [worker]"));
}

TEST_F(ThreadFailureTest, AJoinThatFailsFailsTheStop)
{
    pthread_t left = 0;
    m_calls.join = [&](pthread_t thread, void **) {
        left = thread;
        return EINVAL;
    };
    startSteadyThread();
    {
        const SystemCallsInForce inForce(m_calls);
        EXPECT_EQ(m_thread->stop(), -1);
    }
    ASSERT_EQ(RealCalls::join(left, nullptr), 0);
    EXPECT_THAT(m_log.take(), ElementsAre(enterLine("worker"), exitLine("worker")));
    EXPECT_EQ(m_thread->stop(), -5);
}

class ThreadPriorityTest : public ThreadFixture {
protected:
    void theRangeIs(int min, int max)
    {
        m_calls.priorityMin = [=](int policy) { return policy == SCHED_RR ? min : -1; };
        m_calls.priorityMax = [=](int policy) { return policy == SCHED_RR ? max : -1; };
    }
    void theKernelAnswers(int result)
    {
        m_calls.setSchedParam = [=, this](pthread_t, int policy, const sched_param *parameters) {
            m_policy = policy;
            m_given = parameters->sched_priority;
            return result;
        };
    }
    int set(int priority)
    {
        const SystemCallsInForce inForce(m_calls);
        return m_thread->setPriority(static_cast<ThreadPriority>(priority));
    }
    LogLine priorityLine(int priority) const
    {
        return infoLine("Set pid[" + id() + "]'s prioriry to[" + std::to_string(priority) +
                        "], policy[2]");
    }

    int m_policy = 0;
    int m_given = 0;
    SystemCalls m_calls;
};

TEST_F(ThreadPriorityTest, BeforeTheStartThereIsNothingToSet)
{
    makeThread([] { return false; });
    EXPECT_EQ(m_thread->setPriority(ThreadPriority::Normal), -5);
    EXPECT_EQ(g_nubrixErrno, 0x80300410U);
    EXPECT_THAT(m_log.take(), ElementsAre(errorLine("thread  not create")));
}

TEST_F(ThreadPriorityTest, AfterTheStopThereIsNothingToSet)
{
    startThreadThatEnds();
    ASSERT_EQ(m_thread->stop(), 0);
    EXPECT_EQ(m_thread->setPriority(ThreadPriority::Normal), -5);
}

struct Mapping {
    int priority;
    int min;
    int max;
    int expected;
};

class ThreadPriorityMappingTest : public ThreadPriorityTest,
                                  public testing::WithParamInterface<Mapping> {};

TEST_P(ThreadPriorityMappingTest, IsLoggedAndGivenToTheKernelAsRoundRobin)
{
    const Mapping &mapping = GetParam();
    theRangeIs(mapping.min, mapping.max);
    theKernelAnswers(0);
    startThreadThatEnds();
    m_log.take();
    EXPECT_EQ(set(mapping.priority), 0);
    EXPECT_EQ(m_given, mapping.expected);
    EXPECT_EQ(m_policy, 2);
    EXPECT_THAT(m_log.take(), ElementsAre(priorityLine(mapping.expected)));
    EXPECT_EQ(g_nubrixErrno, 0U);
}

// The kernel's own range, the narrowest that serves, and ranges where the halves and floors show.
INSTANTIATE_TEST_SUITE_P(
    Values, ThreadPriorityMappingTest,
    testing::Values(Mapping{1, 1, 99, 2}, Mapping{2, 1, 99, 49}, Mapping{3, 1, 99, 96},
                    Mapping{4, 1, 99, 97}, Mapping{5, 1, 99, 98}, Mapping{0, 1, 99, 2},
                    Mapping{6, 1, 99, 2}, Mapping{-1, 1, 99, 2}, Mapping{1, 10, 13, 11},
                    Mapping{2, 10, 13, 11}, Mapping{3, 10, 13, 11}, Mapping{4, 10, 13, 11},
                    Mapping{5, 10, 13, 12}, Mapping{2, -20, -8, -14}, Mapping{3, 10, 14, 11},
                    Mapping{4, 10, 14, 12}, Mapping{2, 10, 15, 12}));

TEST_F(ThreadPriorityTest, ARangeThatIsTooNarrowOrUnknownIsUnsupported)
{
    theKernelAnswers(0);
    startThreadThatEnds();
    m_log.take();
    theRangeIs(10, 12);
    EXPECT_EQ(set(3), -8);
    theRangeIs(-1, 99);
    EXPECT_EQ(set(3), -8);
    theRangeIs(1, -1);
    EXPECT_EQ(set(3), -8);
    EXPECT_THAT(m_log.take(), IsEmpty());
    EXPECT_EQ(g_nubrixErrno, 0U);
    EXPECT_EQ(m_given, 0);
}

TEST_F(ThreadPriorityTest, ARefusalOfTheKernelHasAnErrorNumber)
{
    theRangeIs(1, 99);
    theKernelAnswers(EPERM);
    startThreadThatEnds();
    m_log.take();
    EXPECT_EQ(set(5), -1);
    EXPECT_EQ(g_nubrixErrno, 0x80300411U);
    EXPECT_THAT(m_log.take(), ElementsAre(priorityLine(98)));
}

TEST_F(ThreadPriorityTest, TheResultSaysWhatTheKernelHasDone)
{
    Latch running;
    Latch end;
    makeThread([&] { return running.open(), end.pass(), false; });
    ASSERT_EQ(m_thread->start(), 0);
    ASSERT_TRUE(running.pass());
    const int before = sched_getscheduler(m_id);
    const int result = m_thread->setPriority(ThreadPriority::Lowest);
    sched_param given = {};
    EXPECT_EQ(sched_getparam(m_id, &given), 0);
    if (result == 0) {
        EXPECT_EQ(sched_getscheduler(m_id), SCHED_RR);
        EXPECT_EQ(given.sched_priority, sched_get_priority_min(SCHED_RR) + 1);
        EXPECT_EQ(g_nubrixErrno, 0U);
    } else {
        // Without the right to real-time scheduling.
        EXPECT_EQ(result, -1);
        EXPECT_EQ(sched_getscheduler(m_id), before);
        EXPECT_EQ(g_nubrixErrno, 0x80300411U);
    }
    end.open();
    EXPECT_EQ(m_thread->stop(), 0);
}

}  // namespace
}  // namespace nubrix
