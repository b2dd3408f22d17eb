#include "base/Clock.h"

#include <gmock/gmock.h>
#include <sys/time.h>

#include <cstdlib>
#include <ctime>
#include <string>

#include "tests/fakes/SystemCalls.h"

namespace nubrix {
namespace {

std::int64_t monotonicNanos()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

template <class Clock>
void expectMonotonic(Clock clock, std::int64_t nanosPerUnit)
{
    const std::int64_t before = monotonicNanos();
    const std::int64_t now = clock();
    const std::int64_t after = monotonicNanos();
    EXPECT_GE(now, before / nanosPerUnit);
    EXPECT_LE(now, after / nanosPerUnit);
}

TEST(ClockTest, TheThreeUnitsAreOfTheMonotonicClock)
{
    expectMonotonic(timeNanos, 1);
    expectMonotonic(timeMicros, 1000);
    expectMonotonic(nubrix::time, 1000000);
}

TEST(ClockTest, DifferencesWrapAround)
{
    EXPECT_EQ(timeDiff(5, 4294967295U), 6U);
    EXPECT_EQ(timeDiff(7, 5), 2U);
    EXPECT_EQ(timeDiff(5, 7), 4294967294U);
    EXPECT_EQ(timeDiff(0, 0), 0U);
}

TEST(ClockTest, ASleepLastsItsTime)
{
    const std::int64_t before = timeNanos();
    EXPECT_EQ(sleepMs(20), 0);
    EXPECT_GE(timeNanos() - before, 20000000);
}

TEST(ClockTest, ASleepIsOneCallAndAnInterruptedOneIsNotResumed)
{
    int sleeps = 0;
    timespec length = {};
    SystemCalls calls;
    calls.nanosleep = [&](const timespec *asked, timespec *rest) {
        ++sleeps;
        length = *asked;
        EXPECT_EQ(rest, nullptr);
        return -1;
    };
    const SystemCallsInForce inForce(calls);
    EXPECT_EQ(sleepMs(2345), -1);
    EXPECT_EQ(sleeps, 1);
    EXPECT_EQ(length.tv_sec, 2);
    EXPECT_EQ(length.tv_nsec, 345000000);
}

class LocalTimeFormatTest : public testing::Test {
protected:
    void SetUp() override { setZone("UTC0"); }
    void TearDown() override
    {
        unsetenv("TZ");
        tzset();
    }
    static void setZone(const char *zone)
    {
        setenv("TZ", zone, 1);
        tzset();
    }
    static std::string textAt(time_t seconds, suseconds_t microseconds)
    {
        SystemCalls calls;
        calls.gettimeofday = [=](timeval *now) {
            now->tv_sec = seconds;
            now->tv_usec = microseconds;
            return 0;
        };
        const SystemCallsInForce inForce(calls);
        return localTimeFormat();
    }
};

TEST_F(LocalTimeFormatTest, TheMillisecondsAreNotPadded)
{
    EXPECT_EQ(textAt(1704445387, 42999), "20240105_09:03:07:42");
    EXPECT_EQ(textAt(1704445387, 999), "20240105_09:03:07:0");
    EXPECT_EQ(textAt(1704445387, 999999), "20240105_09:03:07:999");
}

TEST_F(LocalTimeFormatTest, EveryOtherFieldIs)
{
    EXPECT_EQ(textAt(0, 0), "19700101_00:00:00:0");
    EXPECT_EQ(textAt(946684799, 7000), "19991231_23:59:59:7");
}

TEST_F(LocalTimeFormatTest, TheTimeIsLocal)
{
    setZone("XXX-3:30");
    EXPECT_EQ(textAt(1704445387, 42999), "20240105_12:33:07:42");
}

TEST_F(LocalTimeFormatTest, TheRealClockIsRead)
{
    const time_t before = ::time(nullptr);
    const std::string text = localTimeFormat();
    const time_t after = ::time(nullptr);
    tm parsed = {};
    int ms = -1;
    ASSERT_EQ(std::sscanf(text.c_str(), "%4d%2d%2d_%2d:%2d:%2d:%d", &parsed.tm_year, &parsed.tm_mon,
                          &parsed.tm_mday, &parsed.tm_hour, &parsed.tm_min, &parsed.tm_sec, &ms),
              7);
    parsed.tm_year -= 1900;
    parsed.tm_mon -= 1;
    // The two clocks may disagree by a tick at the edge of a second.
    EXPECT_GE(timegm(&parsed), before - 1);
    EXPECT_LE(timegm(&parsed), after + 1);
    EXPECT_GE(ms, 0);
    EXPECT_LE(ms, 999);
}

}  // namespace
}  // namespace nubrix
