#include "common/DriverThreads.h"

#include <gmock/gmock.h>

#include <functional>
#include <future>
#include <thread>
#include <vector>

#include "tests/drivers/FakePool.h"
#include "tests/fakes/HangGuard.h"

namespace nubrix {
namespace {

/// What the work of a thread owns, counted.
class Owned {
public:
    explicit Owned(std::atomic<int> &alive) : m_alive(alive) { ++m_alive; }
    ~Owned() { --m_alive; }
    Owned(const Owned &) = delete;
    Owned &operator=(const Owned &) = delete;

private:
    std::atomic<int> &m_alive;
};

constexpr std::chrono::milliseconds kABit{50};  // in which nothing is to happen

class DriverThreadsTest : public testing::Test {
protected:
    /// A thread that ends once it may.
    DriverThreads::Handle begin(const void *group)
    {
        return m_threads.run([this, owned = std::make_shared<Owned>(m_alive)] { m_mayEnd.wait(); },
                             group);
    }
    /// Whether `join` returns, and only after the thread has ended.
    void expectWaits(std::function<void()> join)
    {
        auto joined = std::async(std::launch::async, [this, join = std::move(join)] {
            join();
            return m_alive.load();
        });
        EXPECT_EQ(joined.wait_for(kABit), std::future_status::timeout);
        m_end.set_value();
        ASSERT_EQ(joined.wait_for(kDeadline), std::future_status::ready);
        EXPECT_EQ(joined.get(), 0);
    }

    std::promise<void> m_end;
    std::shared_future<void> m_mayEnd = m_end.get_future().share();
    std::atomic<int> m_alive{0};
    DriverThreads m_threads;
    int m_group = 0;
    int m_other = 0;
};

TEST_F(DriverThreadsTest, JoiningAThreadWaitsForItsEnd)
{
    const DriverThreads::Handle thread = begin(nullptr);
    expectWaits([&] { m_threads.join(thread); });
    m_threads.join(thread);  // has been joined
    m_threads.join(nullptr);
}

TEST_F(DriverThreadsTest, JoiningAGroupWaitsForItsThreadsAlone)
{
    begin(&m_group);
    begin(&m_group);
    m_threads.joinGroup(&m_other);
    EXPECT_EQ(m_alive, 2);
    expectWaits([this] { m_threads.joinGroup(&m_group); });
}

TEST_F(DriverThreadsTest, EachOfTwoThatJoinAThreadWaitsForItsEnd)
{
    const DriverThreads::Handle thread = begin(&m_group);
    const auto join = [&](auto how) {
        return std::async(std::launch::async, [this, how] {
            how();
            return m_alive.load();
        });
    };
    auto one = join([&] { m_threads.join(thread); });
    auto group = join([&] { m_threads.joinGroup(&m_group); });
    EXPECT_EQ(one.wait_for(kABit), std::future_status::timeout);
    EXPECT_EQ(group.wait_for(kABit), std::future_status::timeout);
    m_end.set_value();
    ASSERT_EQ(one.wait_for(kDeadline), std::future_status::ready);
    ASSERT_EQ(group.wait_for(kDeadline), std::future_status::ready);
    EXPECT_EQ(one.get(), 0);
    EXPECT_EQ(group.get(), 0);
}

TEST_F(DriverThreadsTest, AThreadDoesNotJoinItself)
{
    std::promise<DriverThreads::Handle> started;
    std::promise<void> passed;
    const DriverThreads::Handle thread = m_threads.run(
        [&] {
            const DriverThreads::Handle self = started.get_future().get();
            EXPECT_TRUE(DriverThreads::isCaller(self));
            m_threads.join(self);
            m_threads.joinGroup(&m_group);
            m_threads.joinDone();
            passed.set_value();
            m_mayEnd.wait();
        },
        &m_group);
    started.set_value(thread);
    ASSERT_EQ(passed.get_future().wait_for(kDeadline), std::future_status::ready);
    EXPECT_FALSE(DriverThreads::isCaller(thread));
    EXPECT_FALSE(DriverThreads::isCaller(nullptr));
    expectWaits([this] { m_threads.joinGroup(&m_group); });
    EXPECT_FALSE(DriverThreads::isCaller(thread));
}

TEST_F(DriverThreadsTest, ItsEndWaitsForAll)
{
    auto threads = std::make_unique<DriverThreads>();
    for (int i = 0; i < 3; ++i)
        threads->run([this, owned = std::make_shared<Owned>(m_alive)] { m_mayEnd.wait(); });
    expectWaits([&] { threads.reset(); });
}

TEST_F(DriverThreadsTest, ThoseThatHaveEndedGoWhenTheNextOneComes)
{
    constexpr int kThreads = 50;
    for (int i = 0; i < kThreads; ++i) {
        auto owned = std::make_shared<Owned>(m_alive);
        m_threads.run([owned = std::move(owned)] {});
    }
    // Each start frees those that have ended; the last ones may still be about to.
    EXPECT_TRUE(eventually([&] {
        m_threads.run([] {});
        return m_alive == 0;
    }));
    m_threads.joinAll();
}

TEST_F(DriverThreadsTest, ManyMayStartAndJoinAtOnce)
{
    constexpr int kStarters = 4;
    constexpr int kRounds = 50;
    std::atomic<int> done{0};
    std::vector<std::thread> starters;
    for (int i = 0; i < kStarters; ++i) {
        starters.emplace_back([&] {
            for (int k = 0; k < kRounds; ++k) {
                m_threads.run([&done] { ++done; }, &m_group);
                m_threads.joinGroup(&m_other);
            }
        });
    }
    for (std::thread &starter : starters)
        starter.join();
    m_threads.joinAll();
    EXPECT_EQ(done, kStarters * kRounds);
}

TEST_F(DriverThreadsTest, AStartThatFailsLeavesNothingBehind)
{
    struct Unmovable {
        Unmovable() = default;
        Unmovable(const Unmovable & /*other*/) { throw std::bad_alloc(); }
        void operator()() const {}
    };
    const Unmovable work;
    EXPECT_THROW(m_threads.run<const Unmovable &>(work), std::bad_alloc);
    m_threads.joinAll();
}

}  // namespace
}  // namespace nubrix
