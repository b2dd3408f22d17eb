#include "StreamStatistics.h"

#include <gtest/gtest.h>

namespace nubrix {
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

TEST_F(StreamStatisticsTest, TheFirstFrameIsNoGapWhateverItsIndex)
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

TEST_F(StreamStatisticsTest, TheIndexStartsAgainAfter32Bits)
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

TEST_F(StreamStatisticsTest, AgesAreTakenFromCaptureToArrival)
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

}  // namespace
}  // namespace nubrix
