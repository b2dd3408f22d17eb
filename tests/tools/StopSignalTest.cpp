#include "StopSignal.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <thread>

namespace nubrix::tool {
namespace {

// Far longer than any wait that a wake() ends.
constexpr int kDeadlineMs = 60000;

bool waitEndsEarly(const StopSignal &stop)
{
    const auto start = std::chrono::steady_clock::now();
    stop.wait(kDeadlineMs);
    return std::chrono::steady_clock::now() - start < std::chrono::milliseconds(kDeadlineMs);
}

TEST(StopSignalTest, ASignalIsARequestAndEndsTheWait)
{
    for (const int signal : {SIGINT, SIGTERM}) {
        const StopSignal stop;
        EXPECT_FALSE(stop.requested());
        raise(signal);
        EXPECT_TRUE(stop.requested());
        EXPECT_TRUE(waitEndsEarly(stop));
    }
}

TEST(StopSignalTest, ANewOneHasNoRequest)
{
    {
        const StopSignal stop;
        raise(SIGTERM);
    }
    const StopSignal stop;
    EXPECT_FALSE(stop.requested());
}

TEST(StopSignalTest, AWakeEndsTheWaitWithoutARequest)
{
    const StopSignal stop;
    std::thread waker([&] { stop.wake(); });
    EXPECT_TRUE(waitEndsEarly(stop));
    EXPECT_FALSE(stop.requested());
    waker.join();
}

TEST(StopSignalTest, WithoutAWakeTheWaitTakesItsFullTime)
{
    const StopSignal stop;
    const auto start = std::chrono::steady_clock::now();
    stop.wait(50);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(49));
}

TEST(StopSignalTest, TheSecondSignalEndsTheProcess)
{
    EXPECT_EXIT(
        {
            const StopSignal stop;
            raise(SIGINT);
            raise(SIGINT);
        },
        testing::KilledBySignal(SIGINT), "");
}

TEST(StopSignalTest, TheDestructorRestoresTheSignalHandlers)
{
    EXPECT_EXIT(
        {
            {
                const StopSignal stop;
            }
            raise(SIGTERM);
        },
        testing::KilledBySignal(SIGTERM), "");
}

}  // namespace
}  // namespace nubrix::tool
