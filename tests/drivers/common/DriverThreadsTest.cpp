#include "common/DriverThreads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <new>
#include <thread>
#include <vector>

namespace nubrix {
namespace {

TEST(DriverThreadsTest, JoiningWaitsForTheWorkOfAllThreads)
{
    std::atomic<int> done{0};
    DriverThreads threads;
    std::promise<void> begin;
    const std::shared_future<void> begun = begin.get_future().share();
    for (int i = 0; i < 3; ++i) {
        threads.run([&done, begun] {
            begun.wait();
            ++done;
        });
    }
    begin.set_value();
    threads.joinAll();
    EXPECT_EQ(done, 3);
}

TEST(DriverThreadsTest, OneThreadIsJoinedAndNotByItself)
{
    std::atomic<int> done{0};
    DriverThreads threads;
    std::promise<DriverThreads::Handle> own;
    std::promise<void> begin;
    const DriverThreads::Handle other = threads.run([begun = begin.get_future().share(), &done] {
        begun.wait();
        ++done;
    });
    const DriverThreads::Handle self = threads.run([&threads, &done, handle = &own] {
        threads.join(handle->get_future().get());
        ++done;
    });
    own.set_value(self);
    threads.join(self);
    EXPECT_EQ(done, 1);
    begin.set_value();
    threads.join(other);
    EXPECT_EQ(done, 2);
    threads.join(other);
}

TEST(DriverThreadsTest, ManyMayStartThreadsAtOnce)
{
    std::atomic<int> done{0};
    DriverThreads threads;
    std::vector<std::thread> starters;
    for (int i = 0; i < 4; ++i) {
        starters.emplace_back([&] {
            for (int k = 0; k < 50; ++k)
                threads.run([&done] { ++done; });
        });
    }
    for (std::thread &starter : starters)
        starter.join();
    threads.joinAll();
    EXPECT_EQ(done, 200);
}

TEST(DriverThreadsTest, AThreadThatCannotBeStartedIsForgotten)
{
    struct Immovable {
        Immovable() = default;
        Immovable(const Immovable &) = default;
        Immovable(Immovable &&) { throw std::bad_alloc(); }
        void operator()() const {}
    };
    DriverThreads threads;
    const Immovable work;
    EXPECT_THROW(threads.run(work), std::bad_alloc);
    EXPECT_NO_THROW(threads.joinAll());
}

}  // namespace
}  // namespace nubrix
