#include "base/ReentrantLock.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

#include "tests/fakes/SystemCalls.h"
#include "tests/fakes/Waiting.h"

namespace nubrix {
namespace {

thread_local bool t_watched = false;

// Knows when a thread has drawn its ticket: it has taken the lock's mutex and left it to wait.
class ReentrantLockTest : public testing::Test {
protected:
    ReentrantLockTest()
    {
        m_calls.mutexLock = [this](pthread_mutex_t *mutex) {
            const int result = RealCalls::mutexLock(mutex);
            if (t_watched) {
                t_watched = false;
                m_mutex = mutex;
                m_drawn.add();
            }
            return result;
        };
    }
    void lockWatched()
    {
        t_watched = true;
        m_lock.lock();
    }
    bool waitForTickets(int count)
    {
        if (!m_drawn.reaches(count))
            return false;
        RealCalls::mutexLock(m_mutex);
        pthread_mutex_unlock(m_mutex);
        return true;
    }

    ReentrantLock m_lock;
    Counter m_drawn;
    std::atomic<pthread_mutex_t *> m_mutex{nullptr};
    SystemCalls m_calls;
};

TEST_F(ReentrantLockTest, ThreadsAreServedInTheOrderTheyCame)
{
    constexpr int kThreads = 8;
    const SystemCallsInForce inForce(m_calls);
    std::vector<int> served;
    std::vector<std::thread> threads;
    m_lock.lock();
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            lockWatched();
            served.push_back(i);
            m_lock.unlock();
        });
        ASSERT_TRUE(waitForTickets(i + 1));
    }
    EXPECT_TRUE(served.empty());
    m_lock.unlock();
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_THAT(served, testing::ElementsAre(0, 1, 2, 3, 4, 5, 6, 7));
}

TEST_F(ReentrantLockTest, AThreadThatTakesItTwiceWaitsUntilAnotherUnlocksIt)
{
    const SystemCallsInForce inForce(m_calls);
    std::atomic<bool> hasItTwice{false};
    std::thread thread([&] {
        m_lock.lock();
        lockWatched();
        hasItTwice = true;
        m_lock.unlock();
    });
    ASSERT_TRUE(waitForTickets(1));
    EXPECT_FALSE(hasItTwice);
    m_lock.unlock();
    thread.join();
    EXPECT_TRUE(hasItTwice);
}

TEST_F(ReentrantLockTest, OneThreadAtATimeIsInside)
{
    constexpr int kRounds = 500;
    int count = 0;
    const auto work = [&] {
        for (int i = 0; i < kRounds; ++i) {
            const std::lock_guard<ReentrantLock> guard(m_lock);
            ++count;
        }
    };
    std::thread first(work);
    std::thread second(work);
    first.join();
    second.join();
    EXPECT_EQ(count, 2 * kRounds);
}

}  // namespace
}  // namespace nubrix
