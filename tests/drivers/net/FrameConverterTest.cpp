#include "net/FrameConverter.h"

#include <gmock/gmock.h>

#include <array>
#include <cstring>
#include <ostream>
#include <vector>

#include "nubrix/image.h"
#include "nubrix/types.h"

namespace nubrix::net {
namespace {

using testing::Each;
using testing::ElementsAre;

std::vector<std::uint8_t> convert(const char *format, unsigned int stream, unsigned int width,
                                  unsigned int height, const std::vector<std::uint8_t> &source,
                                  const DepthScale &depth = {})
{
    const FrameConverter converter(*findPixelFormat(format, stream), depth, width, height);
    EXPECT_EQ(converter.sourceBytes(), source.size());
    std::vector<std::uint8_t> frame(converter.frameBytes());
    converter.convert(source.data(), frame.data());
    return frame;
}

std::vector<std::uint16_t> convertDepth(const std::vector<std::uint16_t> &counts,
                                        const DepthScale &depth)
{
    std::vector<std::uint8_t> source(2 * counts.size());
    std::memcpy(source.data(), counts.data(), source.size());
    const auto frame = convert("Coord3D_C16", NUBRIX_STREAM_DEPTH,
                               static_cast<unsigned int>(counts.size()), 1, source, depth);
    std::vector<std::uint16_t> depths(counts.size());
    std::memcpy(depths.data(), frame.data(), frame.size());
    return depths;
}

TEST(FrameConverterTest, DepthBecomesQuartersOfMillimetres)
{
    EXPECT_THAT(convertDepth({0, 1, 1000, 16383}, {1.0, 0, 0}), ElementsAre(0, 4, 4000, 65532));
    EXPECT_THAT(convertDepth({0, 1000}, {0.1, 0, 0}), ElementsAre(0, 400));
    EXPECT_THAT(convertDepth({1, 1000}, {1.0, 500, 0}), ElementsAre(2004, 6000));
}

TEST(FrameConverterTest, DepthThatDoesNotFitOrWasNotMeasuredIsZero)
{
    EXPECT_THAT(convertDepth({16384, 65535}, {1.0, 0, 0}), Each(0));
    EXPECT_THAT(convertDepth({100, 200}, {1.0, -150, 0}), ElementsAre(0, 200));
    EXPECT_THAT(convertDepth({0, 65535}, {0.25, 10, 65535}), ElementsAre(40, 0));
}

TEST(FrameConverterTest, DepthInQuartersOfMillimetresPassesThrough)
{
    const PixelFormat &format = *findPixelFormat("Coord3D_C16", NUBRIX_STREAM_DEPTH);
    EXPECT_TRUE(FrameConverter(format, {0.25, 0, 0}, 4, 4).passesThrough());
    EXPECT_FALSE(FrameConverter(format, {0.5, 0, 0}, 4, 4).passesThrough());
    EXPECT_FALSE(FrameConverter(format, {0.25, 1, 0}, 4, 4).passesThrough());
    EXPECT_FALSE(FrameConverter(format, {0.25, 0, 7}, 4, 4).passesThrough());
}

TEST(FrameConverterTest, BlueAndRedChangePlaces)
{
    EXPECT_THAT(convert("BGR8", NUBRIX_STREAM_COLOR, 2, 1, {1, 2, 3, 4, 5, 6}),
                ElementsAre(3, 2, 1, 6, 5, 4));
}

TEST(FrameConverterTest, SharedColoursAreConvertedAsInTheLibrary)
{
    std::vector<std::uint8_t> yuyv = {100, 90, 120, 200, 30, 128, 220, 128};
    std::vector<std::uint8_t> expected(12);
    YUV422ToRGB(expected.data(), yuyv.data(), 4, 1);
    EXPECT_EQ(convert("YUV422_8", NUBRIX_STREAM_COLOR, 4, 1, yuyv), expected);
    const std::vector<std::uint8_t> uyvy = {90, 100, 200, 120, 128, 30, 128, 220};
    unsigned int consumed = 0;
    unsigned int produced = 12;
    std::vector<std::uint8_t> others(12 + 6);
    YUV422ToRGB888(uyvy.data(), others.data(), 8, &consumed, &produced);
    others.resize(12);
    EXPECT_EQ(convert("YUV422_8_UYVY", NUBRIX_STREAM_COLOR, 4, 1, uyvy), others);
}

struct MosaicCase {
    const char *format;
    int redX;
    int redY;
};

void PrintTo(const MosaicCase &order, std::ostream *out)
{
    *out << order.format;
}

class MosaicTest : public testing::TestWithParam<MosaicCase> {};

TEST_P(MosaicTest, AUniformColourStaysUniform)
{
    constexpr unsigned int kWidth = 6;
    constexpr unsigned int kHeight = 4;
    constexpr std::array<std::uint8_t, 3> kColour = {200, 100, 50};
    std::vector<std::uint8_t> source;
    for (int y = 0; y < static_cast<int>(kHeight); ++y) {
        for (int x = 0; x < static_cast<int>(kWidth); ++x) {
            const bool redColumn = x % 2 == GetParam().redX;
            const bool redRow = y % 2 == GetParam().redY;
            source.push_back(kColour[redColumn && redRow ? 0U : redColumn == redRow ? 2U : 1U]);
        }
    }
    const auto frame = convert(GetParam().format, NUBRIX_STREAM_COLOR, kWidth, kHeight, source);
    for (std::size_t i = 0; i < frame.size(); ++i)
        EXPECT_EQ(frame[i], kColour[i % 3]) << i;
}

INSTANTIATE_TEST_SUITE_P(Orders, MosaicTest,
                         testing::Values(MosaicCase{"BayerRG8", 0, 0}, MosaicCase{"BayerGR8", 1, 0},
                                         MosaicCase{"BayerGB8", 0, 1},
                                         MosaicCase{"BayerBG8", 1, 1}),
                         [](const auto &test) { return test.param.format; });

TEST(FrameConverterTest, AMosaicIsInterpolatedFromTheNeighbours)
{
    const auto frame = convert("BayerRG8", NUBRIX_STREAM_COLOR, 4, 4,
                               {10, 20, 30, 40,     //
                                50, 60, 70, 80,     //
                                90, 100, 110, 120,  //
                                130, 140, 150, 160});
    const auto pixel = [&](std::size_t x, std::size_t y) {
        const auto *first = frame.data() + 3 * (4 * y + x);
        return std::vector<int>(first, first + 3);
    };
    EXPECT_THAT(pixel(1, 1), ElementsAre((10 + 30 + 90 + 110) / 4, (20 + 50 + 70 + 100) / 4, 60));
    EXPECT_THAT(pixel(2, 1), ElementsAre((30 + 110) / 2, 70, (60 + 80) / 2));
    EXPECT_THAT(pixel(1, 2), ElementsAre((90 + 110) / 2, 100, (60 + 140) / 2));
    // The image is mirrored at its edges.
    EXPECT_THAT(pixel(0, 0), ElementsAre(10, (20 + 50) / 2, 60));
    EXPECT_THAT(pixel(3, 0), ElementsAre(30, 40, 80));
    EXPECT_THAT(pixel(0, 3), ElementsAre(90, 130, 140));
    EXPECT_THAT(pixel(3, 3), ElementsAre(110, (150 + 120) / 2, 160));
    EXPECT_THAT(pixel(2, 0), ElementsAre(30, (20 + 40 + 70 + 70) / 4, (60 + 80) / 2));
    EXPECT_THAT(pixel(3, 1), ElementsAre((30 + 110) / 2, (70 + 70 + 40 + 120) / 4, 80));
}

TEST(FrameConverterTest, AMosaicMayHaveAnOddSize)
{
    const auto frame = convert("BayerRG8", NUBRIX_STREAM_COLOR, 3, 3,
                               {10, 20, 30,  //
                                40, 50, 60,  //
                                70, 80, 90});
    EXPECT_THAT(std::vector<int>(frame.end() - 3, frame.end()), ElementsAre(90, (80 + 60) / 2, 50));
    EXPECT_THAT(convert("BayerRG8", NUBRIX_STREAM_COLOR, 1, 1, {7}), ElementsAre(7, 7, 7));
}

}  // namespace
}  // namespace nubrix::net
