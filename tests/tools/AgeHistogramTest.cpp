#include "AgeHistogram.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

namespace nubrix {
namespace {

TEST(AgeHistogramTest, NothingAddedGivesZero)
{
    const AgeHistogram histogram;
    EXPECT_EQ(histogram.count(), 0U);
    EXPECT_EQ(histogram.percentile(50), 0U);
}

TEST(AgeHistogramTest, ShortDurationsAreExact)
{
    AgeHistogram histogram;
    for (std::uint64_t i = 1; i <= 100; ++i)
        histogram.add(i);
    EXPECT_EQ(histogram.count(), 100U);
    EXPECT_EQ(histogram.percentile(50), 50U);
    EXPECT_EQ(histogram.percentile(99), 99U);
    EXPECT_EQ(histogram.percentile(100), 100U);
    EXPECT_EQ(histogram.percentile(0), 1U);
}

TEST(AgeHistogramTest, OneDurationIsEveryPercentile)
{
    AgeHistogram histogram;
    histogram.add(0);
    EXPECT_EQ(histogram.percentile(50), 0U);
    histogram.add(200);
    EXPECT_EQ(histogram.percentile(50), 0U);
    EXPECT_EQ(histogram.percentile(51), 200U);
    EXPECT_EQ(histogram.percentile(99), 200U);
}

TEST(AgeHistogramTest, EveryDurationIsToldWithinFourTenthsOfAPercent)
{
    for (std::uint64_t age = 1; age < std::uint64_t{1} << 35; age += age / 37 + 1) {
        AgeHistogram histogram;
        histogram.add(age);
        const auto told = static_cast<double>(histogram.percentile(50));
        EXPECT_NEAR(told, static_cast<double>(age), static_cast<double>(age) * 0.004) << age;
    }
}

TEST(AgeHistogramTest, PercentilesOfManyDurationsAgreeWithSortedOnes)
{
    AgeHistogram histogram;
    std::mt19937 random(7);
    std::vector<std::uint64_t> sorted;
    for (int i = 0; i < 5000; ++i) {
        sorted.push_back(random() % 2 ? random() % 1000 : random() % 3000000);
        histogram.add(sorted.back());
    }
    std::sort(sorted.begin(), sorted.end());
    const auto median = static_cast<double>(sorted[2499]);
    const auto high = static_cast<double>(sorted[4949]);
    EXPECT_NEAR(static_cast<double>(histogram.percentile(50)), median, median * 0.004);
    EXPECT_NEAR(static_cast<double>(histogram.percentile(99)), high, high * 0.004);
}

TEST(AgeHistogramTest, AbsurdDurationsCountAsTheLongest)
{
    AgeHistogram histogram;
    histogram.add(~std::uint64_t{0});
    EXPECT_NEAR(static_cast<double>(histogram.percentile(50)), 68719476736.0,
                68719476736.0 * 0.004);
}

}  // namespace
}  // namespace nubrix
