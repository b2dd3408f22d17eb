#include "base/CriticalSectionImpl.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <thread>
#include <vector>

#include "tests/fakes/SystemCalls.h"

namespace nubrix {
namespace {

class CriticalSectionImplTest : public testing::Test {
protected:
    CriticalSectionImplTest()
    {
        SystemCalls calls;
        calls.mutexLock = [this](pthread_mutex_t *mutex) {
            m_mutex = mutex;
            return RealCalls::mutexLock(mutex);
        };
        const SystemCallsInForce inForce(calls);
        m_lock->enter();
        m_lock->leave();
    }
    bool anotherThreadCanEnter()
    {
        bool entered = false;
        std::thread other([&] {
            entered = pthread_mutex_trylock(m_mutex) == 0;
            if (entered)
                pthread_mutex_unlock(m_mutex);
        });
        other.join();
        return entered;
    }

    const std::unique_ptr<CriticalSectionWrapper> m_lock{CriticalSectionWrapper::create()};
    pthread_mutex_t *m_mutex = nullptr;
};

TEST_F(CriticalSectionImplTest, CreateReturnsAFreeLock)
{
    EXPECT_NE(dynamic_cast<CriticalSectionImpl *>(m_lock.get()), nullptr);
    EXPECT_TRUE(anotherThreadCanEnter());
}

TEST_F(CriticalSectionImplTest, ItsHolderEntersAgainAndEachEnterNeedsALeave)
{
    EXPECT_EQ(m_lock->enter(), 0);
    EXPECT_EQ(m_lock->enter(), 0);
    EXPECT_FALSE(anotherThreadCanEnter());
    EXPECT_EQ(m_lock->leave(), 0);
    EXPECT_FALSE(anotherThreadCanEnter());
    EXPECT_EQ(m_lock->leave(), 0);
    EXPECT_TRUE(anotherThreadCanEnter());
}

TEST_F(CriticalSectionImplTest, AScopeHoldsItToItsEnd)
{
    {
        const CriticalSectionScoped guard(*m_lock);
        EXPECT_FALSE(anotherThreadCanEnter());
    }
    EXPECT_TRUE(anotherThreadCanEnter());
}

TEST_F(CriticalSectionImplTest, TheErrorOfTheSystemIsTheResult)
{
    SystemCalls calls;
    calls.mutexLock = [](pthread_mutex_t *) { return EAGAIN; };
    const SystemCallsInForce inForce(calls);
    EXPECT_EQ(m_lock->enter(), EAGAIN);
}

TEST_F(CriticalSectionImplTest, OneThreadAtATimeIsInside)
{
    constexpr int kRounds = 2000;
    int count = 0;
    const auto work = [&] {
        for (int i = 0; i < kRounds; ++i) {
            const CriticalSectionScoped guard(*m_lock);
            ++count;
        }
    };
    std::thread first(work);
    std::thread second(work);
    first.join();
    second.join();
    EXPECT_EQ(count, 2 * kRounds);
}

TEST(Atomic32Test, EachStepReturnsTheNewValue)
{
    int value = 5;
    EXPECT_EQ(CriticalSectionWrapper::atomic32Increment(&value), 6);
    EXPECT_EQ(CriticalSectionWrapper::atomic32Decrement(&value), 5);
    value = 0;
    EXPECT_EQ(CriticalSectionWrapper::atomic32Decrement(&value), -1);
    EXPECT_EQ(value, -1);
}

TEST(Atomic32Test, NoTwoThreadsGetTheSameValue)
{
    constexpr int kRounds = 5000;
    int value = 0;
    std::vector<int> given[2];
    const auto count = [&](std::vector<int> &mine) {
        for (int i = 0; i < kRounds; ++i)
            mine.push_back(CriticalSectionWrapper::atomic32Increment(&value));
    };
    std::thread first(count, std::ref(given[0]));
    std::thread second(count, std::ref(given[1]));
    first.join();
    second.join();
    std::vector<int> all = given[0];
    all.insert(all.end(), given[1].begin(), given[1].end());
    std::sort(all.begin(), all.end());
    EXPECT_EQ(std::unique(all.begin(), all.end()), all.end());
    EXPECT_EQ(all.back(), 2 * kRounds);
    EXPECT_EQ(value, 2 * kRounds);
}

}  // namespace
}  // namespace nubrix
