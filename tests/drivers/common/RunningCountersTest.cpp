#include "common/CameraProperties.h"

#include <gtest/gtest.h>

#include <array>

namespace nubrix {
namespace {

std::array<unsigned int, 5> valuesOf(const RunningCounters &counters)
{
    const StreamCounters now = counters.now();
    return {now.delivered, now.flagged, now.held, now.unusable, now.missed};
}

TEST(RunningCountersTest, TheyBeginAtZeroAndAreClearedTogether)
{
    RunningCounters counters;
    const std::array<unsigned int, 5> zeros = {};
    EXPECT_EQ(valuesOf(counters), zeros);
    counters.delivered = 1;
    counters.flagged = 2;
    counters.held = 3;
    counters.unusable = 4;
    counters.missed = 5;
    EXPECT_EQ(valuesOf(counters), (std::array<unsigned int, 5>{1, 2, 3, 4, 5}));
    counters.clear();
    EXPECT_EQ(valuesOf(counters), zeros);
}

}  // namespace
}  // namespace nubrix
