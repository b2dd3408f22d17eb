#include "common/RetiredThreads.h"

#include <gmock/gmock.h>

#include <functional>
#include <future>
#include <thread>
#include <vector>

#include "tests/drivers/FakePool.h"

namespace nubrix {
namespace {

/// A stream without a camera, which calls back once.
class OneShot final : public ThreadOwner {
public:
    OneShot(std::function<void()> callback, std::atomic<int> &alive)
        : m_callback(std::move(callback)), m_alive(alive)
    {
        ++m_alive;
    }
    ~OneShot() override
    {
        stop();
        --m_alive;
    }
    void start()
    {
        beginThread([this] { m_callback(); });
    }
    int stop()
    {
        if (!isOwnThread())
            joinThread();
        return 0;
    }

private:
    const std::function<void()> m_callback;
    std::atomic<int> &m_alive;
};

class RetiredThreadsTest : public testing::Test {
protected:
    /// A stream that destroys itself within its callback, which returns once it may.
    void begin(const void *group)
    {
        m_stream = {new OneShot(
                        [this] {
                            m_stream.reset();
                            m_destroyed.set_value();
                            m_mayReturn.get_future().wait();
                        },
                        m_alive),
                    StreamDeleter(m_retired, group)};
        m_stream->start();
        ASSERT_EQ(m_destroyed.get_future().wait_for(kDeadline), std::future_status::ready);
    }

    std::atomic<int> m_alive{0};
    RetiredThreads m_retired;
    std::unique_ptr<OneShot, StreamDeleter> m_stream;
    std::promise<void> m_destroyed;
    std::promise<void> m_mayReturn;
    int m_group = 0;
    int m_other = 0;
};

TEST_F(RetiredThreadsTest, AStreamThatDestroysItselfLivesUntilItIsJoined)
{
    begin(&m_group);
    EXPECT_EQ(m_alive, 1);
    m_retired.join(&m_other);  // does not wait for those of others
    EXPECT_EQ(m_alive, 1);
    m_mayReturn.set_value();
    m_retired.join(&m_group);
    EXPECT_EQ(m_alive, 0);
}

TEST_F(RetiredThreadsTest, JoiningWaitsForTheCallback)
{
    begin(&m_group);
    auto joined = std::async(std::launch::async, [this] {
        m_retired.join(&m_group);
        return m_alive.load();
    });
    m_mayReturn.set_value();
    ASSERT_EQ(joined.wait_for(kDeadline), std::future_status::ready);
    EXPECT_EQ(joined.get(), 0);
}

TEST_F(RetiredThreadsTest, AThreadDoesNotJoinItself)
{
    std::promise<void> passed;
    OneShot *stream = nullptr;
    std::promise<void> ready;
    stream = new OneShot(
        [&] {
            ready.get_future().wait();
            StreamDeleter(m_retired, &m_group)(stream);
            m_retired.join(&m_group);
            passed.set_value();
        },
        m_alive);
    stream->start();
    ready.set_value();
    ASSERT_EQ(passed.get_future().wait_for(kDeadline), std::future_status::ready);
    EXPECT_EQ(m_alive, 1);
    m_retired.join(&m_group);
    EXPECT_EQ(m_alive, 0);
}

TEST_F(RetiredThreadsTest, TheLastOfAllJoinsWhatIsLeft)
{
    {
        RetiredThreads retired;
        std::promise<void> destroyed;
        auto *stream = new OneShot([] {}, m_alive);
        std::unique_ptr<OneShot, StreamDeleter> owned;
        owned = {new OneShot(
                     [&] {
                         owned.reset();
                         destroyed.set_value();
                     },
                     m_alive),
                 StreamDeleter(retired, this)};
        delete stream;
        owned->start();
        ASSERT_EQ(destroyed.get_future().wait_for(kDeadline), std::future_status::ready);
        EXPECT_EQ(m_alive, 1);
    }
    EXPECT_EQ(m_alive, 0);
}

TEST_F(RetiredThreadsTest, ThoseThatHaveEndedGoWhenTheNextOneComes)
{
    constexpr int kStreams = 50;
    for (int i = 0; i < kStreams; ++i) {
        std::promise<void> destroyed;
        std::unique_ptr<OneShot, StreamDeleter> owned;
        owned = {new OneShot(
                     [&] {
                         owned.reset();
                         destroyed.set_value();
                     },
                     m_alive),
                 StreamDeleter(m_retired, &m_group)};
        owned->start();
        ASSERT_EQ(destroyed.get_future().wait_for(kDeadline), std::future_status::ready);
    }
    EXPECT_LT(m_alive, kStreams);
    m_retired.join(&m_group);
    EXPECT_EQ(m_alive, 0);
}

TEST_F(RetiredThreadsTest, ManyDestroyThemselvesAndJoinAtOnce)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this] {
            for (int k = 0; k < 50; ++k) {
                std::promise<void> started;
                std::promise<void> destroyed;
                std::unique_ptr<OneShot, StreamDeleter> owned;
                owned = {new OneShot(
                             [&] {
                                 started.get_future().wait();
                                 owned.reset();
                                 destroyed.set_value();
                             },
                             m_alive),
                         StreamDeleter(m_retired, &m_group)};
                owned->start();
                started.set_value();
                destroyed.get_future().wait();
                m_retired.join(&m_other);
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    m_retired.join(&m_group);
    EXPECT_EQ(m_alive, 0);
}

}  // namespace
}  // namespace nubrix
