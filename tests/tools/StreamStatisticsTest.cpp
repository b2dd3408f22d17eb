#include "StreamStatistics.h"

#include <gtest/gtest.h>
#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

namespace nubrix::tool {
namespace {

class StreamStatisticsTest : public testing::Test {
protected:
    /// A frame that arrives `age` us after its capture, one every 10 ms.
    void arrive(std::uint32_t index, std::uint64_t age = 100, bool damaged = false)
    {
        m_nowUs += 10000;
        m_statistics.add({index, m_nowUs - age, m_nowUs, damaged});
    }

    StreamStatistics m_statistics;
    std::uint64_t m_nowUs = 1000000;
};

TEST_F(StreamStatisticsTest, NoFramesGiveZeroEverywhere)
{
    const StreamFigures figures = m_statistics.figures();
    EXPECT_EQ(figures.frames, 0U);
    EXPECT_EQ(figures.framesPerSecond, 0);
    EXPECT_EQ(figures.gaps, 0U);
    EXPECT_EQ(figures.ageMedianUs, 0U);
}

TEST_F(StreamStatisticsTest, TheFirstFrameIsNoGapForAnyIndex)
{
    arrive(4711);
    const StreamFigures figures = m_statistics.figures();
    EXPECT_EQ(figures.frames, 1U);
    EXPECT_EQ(figures.framesPerSecond, 0);
    EXPECT_EQ(figures.gaps, 0U);
    EXPECT_EQ(figures.lost, 0U);
    EXPECT_EQ(figures.lastIndex, 4711U);
}

TEST_F(StreamStatisticsTest, FramesPerSecondComeFromTheTimeBetweenFirstAndLast)
{
    for (std::uint32_t i = 0; i < 31; ++i)
        arrive(i);
    EXPECT_EQ(m_statistics.figures().frames, 31U);
    EXPECT_NEAR(m_statistics.figures().framesPerSecond, 100, 1e-9);
}

TEST_F(StreamStatisticsTest, AMissingRunOfFramesIsOneGap)
{
    arrive(0);
    arrive(1);
    arrive(5);
    arrive(6);
    arrive(8);
    EXPECT_EQ(m_statistics.figures().gaps, 2U);
    EXPECT_EQ(m_statistics.figures().lost, 4U);
}

TEST_F(StreamStatisticsTest, ARepeatedOrOlderIndexIsAGapWithoutLoss)
{
    arrive(10);
    arrive(10);
    arrive(3);
    EXPECT_EQ(m_statistics.figures().gaps, 2U);
    EXPECT_EQ(m_statistics.figures().lost, 0U);
}

TEST_F(StreamStatisticsTest, TheIndexWrapsAfter32Bits)
{
    arrive(0xfffffffeU);
    arrive(0xffffffffU);
    arrive(0);
    EXPECT_EQ(m_statistics.figures().gaps, 0U);
    arrive(3);
    EXPECT_EQ(m_statistics.figures().gaps, 1U);
    EXPECT_EQ(m_statistics.figures().lost, 2U);
}

TEST_F(StreamStatisticsTest, DamagedFramesCountAsFramesToo)
{
    arrive(0);
    arrive(1, 100, true);
    arrive(2);
    EXPECT_EQ(m_statistics.figures().frames, 3U);
    EXPECT_EQ(m_statistics.figures().damaged, 1U);
    EXPECT_EQ(m_statistics.figures().gaps, 0U);
}

TEST_F(StreamStatisticsTest, AgesAreMeasuredFromCaptureToArrival)
{
    for (std::uint32_t i = 0; i < 98; ++i)
        arrive(i, 50);
    arrive(98, 60);
    arrive(99, 200);
    EXPECT_EQ(m_statistics.figures().ageMedianUs, 50U);
    EXPECT_EQ(m_statistics.figures().age99PercentUs, 60U);
}

TEST_F(StreamStatisticsTest, ACaptureInTheFutureCountsAsAgeZero)
{
    m_statistics.add({0, 5000, 4000, false});
    EXPECT_EQ(m_statistics.figures().ageMedianUs, 0U);
}

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

TEST(AgeHistogramTest, EveryDurationIsExactWithinFourTenthsOfAPercent)
{
    for (std::uint64_t age = 1; age < std::uint64_t{1} << 35; age += age / 37 + 1) {
        AgeHistogram histogram;
        histogram.add(age);
        const auto reported = static_cast<double>(histogram.percentile(50));
        EXPECT_NEAR(reported, static_cast<double>(age), static_cast<double>(age) * 0.004) << age;
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
}  // namespace nubrix::tool
