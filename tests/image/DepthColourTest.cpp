#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

#include "bench/DepthImages.h"
#include "image/DepthHistogram.h"
#include "image/ImagePlain.h"
#include "nubrix/image.h"
#include "tests/GuardedBytes.h"
#include "tests/fakes/FailingNew.h"

namespace nubrix {

namespace {

using Place = GuardedBytes::Place;
using Depths = std::vector<unsigned short>;

constexpr unsigned char kUnwritten = 0x5A;
constexpr int kAllDepths = 65536;

typedefNubrixFrame frameOf(Depths &depths, int width)
{
    typedefNubrixFrame frame = {};
    frame.width = width;
    frame.height = width == 0 ? 0 : static_cast<int>(depths.size()) / width;
    frame.data = depths.data();
    frame.dataSize = static_cast<unsigned int>(depths.size() * sizeof(unsigned short));
    return frame;
}

// Depths up to `most`, every so often without one.
Depths randomDepths(std::size_t count, unsigned int most, unsigned int holes, unsigned int seed)
{
    std::minstd_rand random(seed + 1);
    Depths depths(count);
    for (unsigned short &depth : depths) {
        const auto value = static_cast<unsigned int>(random() >> 4);
        depth = static_cast<unsigned short>(value % 100 < holes ? 0 : 1 + value % most);
    }
    return depths;
}

class DepthKernelTest : public testing::TestWithParam<InstructionSet> {
protected:
    // Colours with both a kernel and the formulas, into memory with guards; the pixels begin
    // `offset` bytes behind the begin of that memory.
    static void check(const Depths &depths, int size, std::size_t offset = 0)
    {
        const std::size_t rgbBytes = 3 * depths.size();
        const auto floats = static_cast<std::size_t>(size);
        std::vector<float> expected(floats, -1.0F);
        plainHistogram(expected.data(), size, depths.data(), depths.size());
        std::vector<RGB888Pixel> colours(depths.size(), {kUnwritten, kUnwritten, kUnwritten});
        plainColours(colours.data(), depths.data(), depths.size(), expected.data());
        GuardedBytes histogram(floats * sizeof(float));
        GuardedBytes rgb(rgbBytes + offset);
        for (const Place place : {Place::kEnd, Place::kBegin}) {
            histogram.place(floats * sizeof(float), place);
            histogram.fill(0x11);
            rgb.place(rgbBytes + offset, place);
            rgb.fill(kUnwritten);
            DepthHistogram counts(depthKernelOf(GetParam()));
            const DepthView all = {depths.data(), depths.size()};
            ASSERT_TRUE(counts.fill(histogram.as<float>(), size, all));
            ASSERT_EQ(std::memcmp(histogram.data(), expected.data(), floats * sizeof(float)), 0);
            unsigned char *const pixels = rgb.as<unsigned char>() + offset;
            counts.colour(reinterpret_cast<RGB888Pixel *>(pixels), all);
            ASSERT_EQ(std::memcmp(pixels, colours.data(), rgbBytes), 0);
            ASSERT_TRUE(histogram.intact() && rgb.intact());
        }
    }
};

std::vector<InstructionSet> supportedSets()
{
    std::vector<InstructionSet> sets;
    for (const InstructionSet set : kInstructionSets) {
        if (supports(set))
            sets.push_back(set);
    }
    return sets;
}

INSTANTIATE_TEST_SUITE_P(Kernels, DepthKernelTest, testing::ValuesIn(supportedSets()),
                         [](const testing::TestParamInfo<InstructionSet> &set) {
                             return nameOf(set.param);
                         });

TEST_P(DepthKernelTest, RandomFramesOfEveryWidth)
{
    for (unsigned int width = 1; width <= 130; ++width) {
        for (const unsigned int holes : {0U, 3U, 60U, 100U}) {
            check(randomDepths(std::size_t{3} * width, 5000, holes, width), 5001);
            ASSERT_FALSE(HasFatalFailure()) << width << ", holes " << holes;
        }
    }
}

TEST_P(DepthKernelTest, LargeFramesWithDepthsOfEveryRange)
{
    for (const unsigned int most : {1U, 2U, 255U, 4000U, 65535U}) {
        check(randomDepths(std::size_t{640} * 480, most, 10, most), kAllDepths);
        ASSERT_FALSE(HasFatalFailure()) << most;
    }
}

TEST_P(DepthKernelTest, ExtremeFrames)
{
    check(Depths(77, 65535), kAllDepths);
    check(Depths(77, 1), 2);
    check(Depths(77, 0), 2);
    Depths slope(kAllDepths);
    for (std::size_t i = 0; i < slope.size(); ++i)
        slope[i] = static_cast<unsigned short>(i);
    check(slope, kAllDepths);
    std::reverse(slope.begin(), slope.end());
    check(slope, kAllDepths);
}

TEST_P(DepthKernelTest, EveryKindOfImage)
{
    using bench::DepthKind;
    constexpr int kWidth = 321;
    constexpr int kHeight = 243;
    Depths depths(std::size_t{kWidth} * kHeight);
    for (const DepthKind kind : {DepthKind::kSmooth, DepthKind::kNoisy, DepthKind::kScattered,
                                 DepthKind::kHalf, DepthKind::kRandom}) {
        bench::fillWithDepths(depths.data(), kWidth, kHeight, kind);
        check(depths, kAllDepths);
        ASSERT_FALSE(HasFatalFailure()) << static_cast<int>(kind);
    }
}

// More often than a byte counts, with equal neighbours and without; and holes as often.
TEST_P(DepthKernelTest, DepthsThatOccurThousandsOfTimes)
{
    check(Depths(20001, 65535), kAllDepths);
    for (const int other : {0, 1, 9, 65535}) {
        Depths turns(20001, 7);
        for (std::size_t i = 0; i < turns.size(); i += 2)
            turns[i] = static_cast<unsigned short>(other);
        check(turns, kAllDepths);
        ASSERT_FALSE(HasFatalFailure()) << other;
    }
}

// The range of the depths grows in both directions from part to part of the frame.
TEST_P(DepthKernelTest, RangesThatGrow)
{
    Depths depths(50000);
    for (std::size_t i = 0; i < depths.size(); ++i) {
        const std::size_t offset = i / 2;
        depths[i] = static_cast<unsigned short>(i % 2 == 0 ? 30000 - offset : 30000 + offset);
    }
    std::fill_n(depths.begin() + 10000, 5000, static_cast<unsigned short>(0));
    check(depths, 60000);
    std::fill_n(depths.begin(), 5000, static_cast<unsigned short>(0));
    check(depths, 60000);
}

TEST_P(DepthKernelTest, PixelsAtEveryAddress)
{
    for (std::size_t offset = 0; offset < 64; ++offset) {
        Depths depths = randomDepths(200 + offset, 500, 30, 4);
        depths.erase(depths.begin(), depths.begin() + static_cast<std::ptrdiff_t>(offset % 16));
        check(depths, 501, offset);
        ASSERT_FALSE(HasFatalFailure()) << offset;
    }
}

TEST(DepthColourTest, AFrameOfZerosLeavesThePixelsAndAHistogramOfZeros)
{
    Depths zeros(100, 0);
    const typedefNubrixFrame frame = frameOf(zeros, 10);
    std::vector<float> histogram(50, 3.0F);
    std::vector<unsigned char> rgb(300, kUnwritten);
    unsigned int bytes = 0;
    Depth2RGB888(reinterpret_cast<RGB888Pixel *>(rgb.data()), &bytes, histogram.data(), 50, frame);
    EXPECT_EQ(bytes, 300U);
    EXPECT_EQ(histogram, std::vector<float>(50, 0.0F));
    EXPECT_EQ(rgb, std::vector<unsigned char>(300, kUnwritten));
}

TEST(DepthColourTest, NearIsYellowFarIsBlackAndNoDepthIsLeftUnwritten)
{
    Depths depths = {0, 1, 2, 3, 4, 0};
    const typedefNubrixFrame frame = frameOf(depths, 6);
    float histogram[5];
    RGB888Pixel rgb[6];
    std::memset(rgb, kUnwritten, sizeof(rgb));
    unsigned int bytes = 0;
    Depth2RGB888(rgb, &bytes, histogram, 5, frame);
    EXPECT_EQ(std::vector<float>(histogram, histogram + 5),
              (std::vector<float>{0, 192, 128, 64, 0}));
    const unsigned char expected[] = {kUnwritten, kUnwritten, kUnwritten, 192,       192, 0, 128,
                                      128,        0,          64,         64,        0,   0, 0,
                                      0,          kUnwritten, kUnwritten, kUnwritten};
    EXPECT_EQ(std::memcmp(rgb, expected, sizeof(rgb)), 0);
}

TEST(DepthColourTest, TheFunctionsGiveWhatTheFormulasGive)
{
    Depths depths = randomDepths(std::size_t{321} * 50, 9000, 30, 3);
    const typedefNubrixFrame frame = frameOf(depths, 321);
    std::vector<float> expected(9001);
    plainHistogram(expected.data(), 9001, depths.data(), depths.size());
    std::vector<RGB888Pixel> colours(depths.size(), {kUnwritten, kUnwritten, kUnwritten});
    plainColours(colours.data(), depths.data(), depths.size(), expected.data());
    std::vector<float> histogram(9001, 5.0F);
    calculateHistogram(histogram.data(), 9001, frame);
    EXPECT_EQ(histogram, expected);
    histogram.assign(9001, 5.0F);
    std::vector<RGB888Pixel> rgb(depths.size(), {kUnwritten, kUnwritten, kUnwritten});
    unsigned int bytes = 0;
    Depth2RGB888(rgb.data(), &bytes, histogram.data(), 9001, frame);
    EXPECT_EQ(bytes, 3 * depths.size());
    EXPECT_EQ(histogram, expected);
    EXPECT_EQ(std::memcmp(rgb.data(), colours.data(), bytes), 0);
}

TEST(DepthColourTest, WithoutMemoryTheResultsAreTheSame)
{
    for (const unsigned int most : {3U, 9000U}) {  // one table of counters and four
        Depths depths = randomDepths(std::size_t{321} * 50, most, 30, 3);
        const typedefNubrixFrame frame = frameOf(depths, 321);
        std::vector<float> expected(9001);
        plainHistogram(expected.data(), 9001, depths.data(), depths.size());
        std::vector<RGB888Pixel> colours(depths.size(), {kUnwritten, kUnwritten, kUnwritten});
        plainColours(colours.data(), depths.data(), depths.size(), expected.data());
        std::vector<float> histogram(9001);
        std::vector<RGB888Pixel> rgb(depths.size());
        unsigned int bytes = 0;
        const auto prepare = [&] {
            histogram.assign(histogram.size(), 5.0F);
            rgb.assign(rgb.size(), {kUnwritten, kUnwritten, kUnwritten});
            bytes = 0;
        };
        const auto isCounted = [&] {
            EXPECT_EQ(histogram, expected);
            prepare();
        };
        prepare();
        const auto count = [&] { calculateHistogram(histogram.data(), 9001, frame); };
        EXPECT_EQ(failEachAllocation(count, isCounted), 1);
        prepare();
        const auto isColoured = [&] {
            EXPECT_EQ(bytes, 3 * depths.size());
            EXPECT_EQ(std::memcmp(rgb.data(), colours.data(), bytes), 0);
            isCounted();
        };
        const auto colour = [&] {
            Depth2RGB888(rgb.data(), &bytes, histogram.data(), 9001, frame);
        };
        EXPECT_EQ(failEachAllocation(colour, isColoured), 1);
    }
}

// The caller's memory goes on behind `size` here; the depths there are counted all the same.
TEST(DepthColourTest, DepthsAreNotComparedWithTheSize)
{
    Depths depths = randomDepths(640, 1999, 10, 9);
    const typedefNubrixFrame frame = frameOf(depths, 64);
    std::vector<float> expected(2000, 5.0F);
    plainHistogram(expected.data(), 1000, depths.data(), depths.size());
    std::vector<float> histogram(2000, 5.0F);
    calculateHistogram(histogram.data(), 1000, frame);
    EXPECT_EQ(histogram, expected);
    EXPECT_TRUE(std::any_of(expected.begin() + 1000, expected.end(),
                            [](float count) { return count > 5.0F; }));
}

TEST(DepthColourTest, DepthsBeyondTheSizeAreColouredByWhatIsThere)
{
    Depths depths = randomDepths(640, 1999, 10, 9);
    const typedefNubrixFrame frame = frameOf(depths, 64);
    std::vector<float> expected(2000, 5.0F);
    plainHistogram(expected.data(), 1000, depths.data(), depths.size());
    std::vector<RGB888Pixel> colours(depths.size(), {kUnwritten, kUnwritten, kUnwritten});
    plainColours(colours.data(), depths.data(), depths.size(), expected.data());
    std::vector<float> histogram(2000, 5.0F);
    std::vector<RGB888Pixel> rgb(depths.size(), {kUnwritten, kUnwritten, kUnwritten});
    unsigned int bytes = 0;
    Depth2RGB888(rgb.data(), &bytes, histogram.data(), 1000, frame);
    EXPECT_EQ(bytes, 3 * depths.size());
    EXPECT_EQ(histogram, expected);
    EXPECT_EQ(std::memcmp(rgb.data(), colours.data(), bytes), 0);
}

// Floats cannot count further than 2^24 one by one.
TEST(DepthColourTest, FramesOfMorePixelsThanAFloatCounts)
{
    Depths depths((std::size_t{1} << 24) + 4096, 7);
    const typedefNubrixFrame frame = frameOf(depths, 4096);
    std::vector<float> expected(9);
    plainHistogram(expected.data(), 9, depths.data(), depths.size());
    std::vector<float> histogram(9, 5.0F);
    calculateHistogram(histogram.data(), 9, frame);
    EXPECT_EQ(histogram, expected);
    DepthHistogram counts(depthKernelOf(instructionSet()));
    EXPECT_FALSE(counts.fill(histogram.data(), 9, {depths.data(), depths.size()}));
}

TEST(DepthColourTest, FramesWithoutPixelsAndNullsAreIgnored)
{
    Depths depths = {1, 2};
    typedefNubrixFrame frame = frameOf(depths, 2);
    frame.height = 0;
    float histogram[3] = {7, 7, 7};
    RGB888Pixel rgb[2] = {{1, 1, 1}, {1, 1, 1}};
    unsigned int bytes = 9;
    Depth2RGB888(rgb, &bytes, histogram, 3, frame);
    EXPECT_EQ(bytes, 0U);
    EXPECT_EQ(histogram[1], 0.0F);
    frame.height = 1;
    histogram[1] = 7;
    Depth2RGB888(nullptr, &bytes, histogram, 3, frame);
    Depth2RGB888(rgb, nullptr, histogram, 3, frame);
    Depth2RGB888(rgb, &bytes, nullptr, 3, frame);
    calculateHistogram(nullptr, 3, frame);
    frame.data = nullptr;
    Depth2RGB888(rgb, &bytes, histogram, 3, frame);
    EXPECT_EQ(histogram[1], 7.0F);
    EXPECT_EQ(bytes, 0U);
    EXPECT_EQ(rgb[0].r, 1);
}

TEST(DepthColourFormulas, TheHistogramIsTheShareOfFartherDepths)
{
    const Depths depths = randomDepths(1000, 300, 20, 2);
    std::vector<float> histogram(301);
    plainHistogram(histogram.data(), 301, depths.data(), depths.size());
    const auto counted = std::count_if(depths.begin(), depths.end(), [](int d) { return d != 0; });
    EXPECT_EQ(histogram[0], 0.0F);
    for (int depth = 1; depth <= 300; ++depth) {
        const auto farther =
            std::count_if(depths.begin(), depths.end(), [&](int d) { return d > depth; });
        EXPECT_NEAR(histogram[static_cast<std::size_t>(depth)],
                    256.0 * static_cast<double>(farther) / static_cast<double>(counted), 1e-4);
    }
}

}  // namespace

}  // namespace nubrix
