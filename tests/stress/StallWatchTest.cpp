#include "tests/stress/StallWatch.h"

#include <gmock/gmock.h>

#include <cstdlib>

#include "tests/fakes/Waiting.h"

namespace nubrix {
namespace {

void stall(const char *path)
{
    ::setenv("PATH", path, 1);
    StallWatch watch(std::chrono::seconds(1), "a test");
    Latch never;
    std::thread waiter([&] {
        const StallWatch::Call call(watch, "something");
        never.pass();
    });
    waiter.join();
}

TEST(StallWatchDeathTest, ACallThatDoesNotReturnIsNamedAndAllThreadsShowTheirStacks)
{
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_DEATH(stall("/bin:/usr/bin"),
                 "a test: calls under way:.*something for [0-9]+ ms.*(#[0-9]+ |\\[0x[0-9a-f]+\\])");
}

TEST(StallWatchDeathTest, WithoutADebuggerEachThreadShowsItsOwnStack)
{
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_DEATH(stall("/nowhere"),
                 "something for [0-9]+ ms.*thread [0-9]+:.*\\[0x[0-9a-f]+\\].*"
                 "thread [0-9]+:.*\\[0x[0-9a-f]+\\]");
}

TEST(StallWatchTest, CallsThatReturnAreNotReported)
{
    StallWatch watch(std::chrono::seconds(1), "a test");
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(1500);
    while (std::chrono::steady_clock::now() < end) {
        const StallWatch::Call call(watch, "something short");
        std::this_thread::yield();
    }
}

}  // namespace
}  // namespace nubrix
