#include "base/EventImpl.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <memory>
#include <thread>

#include "base/Clock.h"
#include "tests/fakes/SystemCalls.h"
#include "tests/fakes/Waiting.h"

namespace nubrix {
namespace {

constexpr std::int64_t kSecondNs = 1000000000;

std::int64_t nanosOf(const timespec &time)
{
    return static_cast<std::int64_t>(time.tv_sec) * kSecondNs + time.tv_nsec;
}

TEST(EventImplTest, CreateReturnsAnEventThatIsNotSet)
{
    const std::unique_ptr<EventWrapper> event{EventWrapper::create()};
    EXPECT_NE(dynamic_cast<EventImpl *>(event.get()), nullptr);
    EXPECT_EQ(event->wait(0), -11);
}

TEST(EventImplTest, ASetIsRememberedUntilOneWaitTakesIt)
{
    EventImpl event;
    EXPECT_EQ(event.set(), 0);
    EXPECT_EQ(event.wait(0), 0);
    EXPECT_EQ(event.wait(0), -11);
}

TEST(EventImplTest, TwoSetsAreTakenByOneWait)
{
    EventImpl event;
    event.set();
    event.set();
    EXPECT_EQ(event.wait(-1), 0);
    EXPECT_EQ(event.wait(0), -11);
}

TEST(EventImplTest, ResetForgetsASet)
{
    EventImpl event;
    event.set();
    EXPECT_EQ(event.reset(), 0);
    EXPECT_EQ(event.wait(0), -11);
    EXPECT_EQ(event.reset(), 0);
}

TEST(EventImplTest, AWaitThatIsOverTakesNothing)
{
    EventImpl event;
    event.set();
    EXPECT_EQ(event.waitUnless(-1, [] { return true; }), 0);
    EXPECT_EQ(event.waitUnless(-1, [] { return false; }), 0) << "still set";
    EXPECT_EQ(event.waitUnless(0, [] { return false; }), -11);
}

TEST(EventImplTest, WakeAllEndsWaitsThatAreOverAndNoOther)
{
    EventImpl event;
    std::atomic<bool> over{false};
    std::thread waiter([&] { EXPECT_EQ(event.waitUnless(-1, [&] { return over.load(); }), 0); });
    event.wakeAll();
    over = true;
    event.wakeAll();
    waiter.join();
    EXPECT_EQ(event.wait(0), -11) << "nothing was set";
}

TEST(EventImplTest, ATimeOutIsNeverEarly)
{
    EventImpl event;
    const std::int64_t before = timeNanos();
    EXPECT_EQ(event.wait(30), -11);
    EXPECT_GE(timeNanos() - before, 30 * kSecondNs / 1000);
}

TEST(EventImplTest, AnUnlimitedWaitEndsWithTheSetOfAnotherThread)
{
    EventImpl event;
    std::thread setter([&] { event.set(); });
    EXPECT_EQ(event.wait(-1), 0);
    setter.join();
    EXPECT_EQ(event.wait(0), -11);
}

TEST(EventImplTest, ALimitedWaitEndsWithTheSetOfAnotherThread)
{
    EventImpl event;
    std::thread setter([&] { event.set(); });
    EXPECT_EQ(event.wait(60000), 0);
    setter.join();
}

// Each waiter counts its entries into the system's wait, so that a test knows who waits.
class EventWaitersTest : public testing::TestWithParam<int> {
protected:
    EventWaitersTest()
    {
        m_calls.condWait = [this](pthread_cond_t *condition, pthread_mutex_t *mutex) {
            m_waits.add();
            return RealCalls::condWait(condition, mutex);
        };
        m_calls.condTimedWait = [this](pthread_cond_t *condition, pthread_mutex_t *mutex,
                                       const timespec *deadline) {
            m_waits.add();
            return RealCalls::condTimedWait(condition, mutex, deadline);
        };
    }

    EventImpl m_event;
    Counter m_waits;
    Counter m_woken;
    SystemCalls m_calls;
};

TEST_P(EventWaitersTest, OneSetWakesExactlyOneOfTwoWaiters)
{
    const SystemCallsInForce inForce(m_calls);
    const auto waitOnce = [&] {
        EXPECT_EQ(m_event.wait(GetParam()), 0);
        m_woken.add();
    };
    std::thread first(waitOnce);
    std::thread second(waitOnce);
    ASSERT_TRUE(m_waits.reaches(2));
    m_event.set();
    // Both wake; the one that finds the event taken waits again.
    ASSERT_TRUE(m_woken.reaches(1));
    ASSERT_TRUE(m_waits.reaches(3));
    EXPECT_EQ(m_woken.value(), 1);
    m_event.set();
    first.join();
    second.join();
    EXPECT_EQ(m_event.wait(0), -11);
}

INSTANTIATE_TEST_SUITE_P(UnlimitedAndLimited, EventWaitersTest, testing::Values(-1, 600000));

class EventDeadlineTest : public testing::TestWithParam<int> {};

TEST_P(EventDeadlineTest, TheDeadlineLiesThatFarAheadOnTheMonotonicClock)
{
    EventImpl event;
    timespec deadline = {};
    SystemCalls calls;
    calls.condTimedWait = [&](pthread_cond_t *, pthread_mutex_t *, const timespec *until) {
        deadline = *until;
        return ETIMEDOUT;
    };
    const SystemCallsInForce inForce(calls);
    const std::int64_t before = timeNanos();
    EXPECT_EQ(event.wait(GetParam()), -11);
    const std::int64_t after = timeNanos();
    const std::int64_t length = GetParam() * (kSecondNs / 1000);
    EXPECT_GE(nanosOf(deadline), before + length);
    EXPECT_LE(nanosOf(deadline), after + length);
    EXPECT_GE(deadline.tv_nsec, 0);
    EXPECT_LT(deadline.tv_nsec, kSecondNs);
}

// With 999 ms on top almost every clock reading carries into the next second.
INSTANTIATE_TEST_SUITE_P(Times, EventDeadlineTest,
                         testing::Values(1, 100, 999, 1000, 1999, 2500, 600999));

TEST(EventNoTimeTest, AWaitOfNoTimeOnlyLooks)
{
    EventImpl event;
    int sleeps = 0;
    SystemCalls calls;
    calls.condTimedWait = [&](pthread_cond_t *, pthread_mutex_t *, const timespec *) {
        return ++sleeps, ETIMEDOUT;
    };
    const SystemCallsInForce inForce(calls);
    EXPECT_EQ(event.wait(0), -11);
    event.set();
    EXPECT_EQ(event.wait(0), 0);
    EXPECT_EQ(event.wait(0), -11);
    EXPECT_EQ(sleeps, 0);
}

TEST(EventFailureTest, ASetInTheInstantOfTheTimeOutIsLeftToTheNextWait)
{
    EventImpl event;
    SystemCalls calls;
    calls.condTimedWait = [&](pthread_cond_t *, pthread_mutex_t *mutex, const timespec *) {
        pthread_mutex_unlock(mutex);
        event.set();
        RealCalls::mutexLock(mutex);
        return ETIMEDOUT;
    };
    const SystemCallsInForce inForce(calls);
    EXPECT_EQ(event.wait(100), -11);
    EXPECT_EQ(event.wait(100), 0);
}

TEST(EventFailureTest, AWakeUpWithoutASetIsNoEvent)
{
    EventImpl event;
    int wakeUps = 0;
    SystemCalls calls;
    calls.condTimedWait = [&](pthread_cond_t *, pthread_mutex_t *, const timespec *) {
        return ++wakeUps < 3 ? 0 : ETIMEDOUT;
    };
    const SystemCallsInForce inForce(calls);
    EXPECT_EQ(event.wait(100), -11);
    EXPECT_EQ(wakeUps, 3);
}

TEST(EventFailureTest, AFailingWaitGivesMinusOne)
{
    EventImpl event;
    SystemCalls calls;
    calls.condTimedWait = [](pthread_cond_t *, pthread_mutex_t *, const timespec *) {
        return EINVAL;
    };
    calls.condWait = [](pthread_cond_t *, pthread_mutex_t *) { return EINVAL; };
    const SystemCallsInForce inForce(calls);
    EXPECT_EQ(event.wait(100), -1);
    EXPECT_EQ(event.wait(-1), -1);
    event.set();
    EXPECT_EQ(event.wait(100), 0);
}

TEST(EventFailureTest, WithoutItsLockEveryOperationGivesMinusOneAndChangesNothing)
{
    EventImpl event;
    SystemCalls calls;
    calls.mutexLock = [](pthread_mutex_t *) { return EINVAL; };
    {
        const SystemCallsInForce inForce(calls);
        EXPECT_EQ(event.set(), -1);
    }
    EXPECT_EQ(event.wait(0), -11);
    event.set();
    {
        const SystemCallsInForce inForce(calls);
        EXPECT_EQ(event.reset(), -1);
        EXPECT_EQ(event.wait(0), -1);
        EXPECT_EQ(event.wait(-1), -1);
    }
    EXPECT_EQ(event.wait(0), 0);
}

TEST(EventFailureTest, ASetThatCannotWakeKeepsTheMutex)
{
    EventImpl event;
    pthread_mutex_t *mutex = nullptr;
    SystemCalls calls;
    calls.mutexLock = [&](pthread_mutex_t *locked) {
        mutex = locked;
        return RealCalls::mutexLock(locked);
    };
    calls.condBroadcast = [](pthread_cond_t *) { return EINVAL; };
    {
        const SystemCallsInForce inForce(calls);
        EXPECT_EQ(event.set(), -1);
    }
    ASSERT_NE(mutex, nullptr);
    EXPECT_EQ(pthread_mutex_trylock(mutex), EBUSY);
    ASSERT_EQ(pthread_mutex_unlock(mutex), 0);
    EXPECT_EQ(event.wait(0), 0);
}

}  // namespace
}  // namespace nubrix
