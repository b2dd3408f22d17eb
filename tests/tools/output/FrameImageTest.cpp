#include "output/FrameImage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>

namespace nubrix::tool {
namespace {

using testing::ElementsAre;

using Bytes = std::vector<std::uint8_t>;

Bytes samplesOf(unsigned int format, unsigned int width, unsigned int height, const Bytes &data)
{
    return imageOf({format, width, height, data}).samples;
}

Bytes colours(const std::vector<std::uint16_t> &depths)
{
    Image depth{static_cast<unsigned int>(depths.size()), 1, 1, 16, {}};
    for (const std::uint16_t value : depths) {
        depth.samples.push_back(static_cast<std::uint8_t>(value));
        depth.samples.push_back(static_cast<std::uint8_t>(value >> 8));
    }
    const Image image = falseColour(depth);
    EXPECT_EQ(image.channels, 3U);
    EXPECT_EQ(image.bits, 8U);
    EXPECT_EQ(image.width, depth.width);
    return image.samples;
}

TEST(FrameImageTest, OnlyTheFourDepthFormatsAreDepth)
{
    for (unsigned int format = 0; format < 12; ++format)
        EXPECT_EQ(isDepth(format), format >= 1 && format <= 4) << format;
}

TEST(FrameImageTest, ColourGreyAndDepthKeepTheirValues)
{
    EXPECT_THAT(samplesOf(NUBRIX_PIXEL_RGB888, 2, 1, {1, 2, 3, 4, 5, 6}),
                ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_THAT(samplesOf(NUBRIX_PIXEL_GREY8, 2, 1, {7, 8}), ElementsAre(7, 8));
    for (const unsigned int format : {NUBRIX_PIXEL_DEPTH_12_4, NUBRIX_PIXEL_DEPTH_13_3,
                                      NUBRIX_PIXEL_DEPTH_14_2, NUBRIX_PIXEL_DEPTH_MM}) {
        const Image image = imageOf({format, 2, 1, {0x34, 0x12, 0xff, 0x00}});
        EXPECT_EQ(image.bits, 16U);
        EXPECT_EQ(image.channels, 1U);
        EXPECT_THAT(image.samples, ElementsAre(0x34, 0x12, 0xff, 0x00));
    }
    EXPECT_EQ(imageOf({NUBRIX_PIXEL_GREY16, 1, 1, {1, 2}}).bits, 16U);
}

TEST(FrameImageTest, BytesAfterTheImageAreIgnored)
{
    EXPECT_THAT(samplesOf(NUBRIX_PIXEL_GREY8, 2, 1, {7, 8, 9, 10}), ElementsAre(7, 8));
}

TEST(FrameImageTest, GreyInEveryYuvLayoutIsGrey)
{
    EXPECT_THAT(samplesOf(NUBRIX_PIXEL_YUYV, 2, 1, {10, 128, 200, 128}),
                ElementsAre(10, 10, 10, 200, 200, 200));
    EXPECT_THAT(samplesOf(NUBRIX_PIXEL_UYVY, 2, 1, {128, 10, 128, 200}),
                ElementsAre(10, 10, 10, 200, 200, 200));
    EXPECT_THAT(samplesOf(NUBRIX_PIXEL_NV21, 2, 2, {1, 2, 3, 4, 128, 128}),
                ElementsAre(1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4));
    EXPECT_THAT(samplesOf(NUBRIX_PIXEL_I420, 2, 2, {1, 2, 3, 4, 128, 128}),
                ElementsAre(1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4));
}

TEST(FrameImageTest, TheColourDifferencesAreFoundInEveryYuvLayout)
{
    // Y 100, U 128, V 178: red is 100 + 1.370705 * 50, green 100 - 0.698001 * 50, blue 100.
    const Bytes reddish = {168, 65, 100};
    const Bytes two = {168, 65, 100, 168, 65, 100};
    EXPECT_EQ(samplesOf(NUBRIX_PIXEL_YUYV, 2, 1, {100, 128, 100, 178}), two);
    EXPECT_EQ(samplesOf(NUBRIX_PIXEL_UYVY, 2, 1, {128, 100, 178, 100}), two);
    EXPECT_EQ(samplesOf(NUBRIX_PIXEL_NV21, 1, 1, {100, 178, 128}), reddish);
    EXPECT_EQ(samplesOf(NUBRIX_PIXEL_I420, 1, 1, {100, 128, 178}), reddish);
}

TEST(FrameImageTest, ColoursOutOfRangeAreClamped)
{
    EXPECT_THAT(samplesOf(NUBRIX_PIXEL_I420, 1, 1, {255, 255, 255}), ElementsAre(255, 123, 255));
    EXPECT_THAT(samplesOf(NUBRIX_PIXEL_I420, 1, 1, {0, 0, 0}), ElementsAre(0, 132, 0));
}

TEST(FrameImageTest, AnUnknownFormatIsAFailure)
{
    EXPECT_THROW(imageOf({99, 1, 1, {0}}), std::runtime_error);
}

TEST(FrameImageTest, PixelsWithoutDepthAreBlackInFalseColour)
{
    EXPECT_THAT(colours({0, 0}), ElementsAre(0, 0, 0, 0, 0, 0));
}

TEST(FrameImageTest, NearAndFarHaveTheEndsOfTheScale)
{
    const Bytes pixels = colours({1000, 0, 2500, 4000});
    EXPECT_EQ(Bytes(pixels.begin(), pixels.begin() + 3), Bytes({215, 25, 28}));
    EXPECT_EQ(Bytes(pixels.begin() + 3, pixels.begin() + 6), Bytes({0, 0, 0}));
    EXPECT_EQ(Bytes(pixels.begin() + 9, pixels.end()), Bytes({70, 30, 110}));
    EXPECT_NE(Bytes(pixels.begin() + 6, pixels.begin() + 9), Bytes({0, 0, 0}));
}

TEST(FrameImageTest, OneOutlierInAHundredDoesNotSpoilTheScale)
{
    std::vector<std::uint16_t> depths(200, 1000);
    std::fill(depths.begin() + 100, depths.end(), static_cast<std::uint16_t>(2000));
    depths.front() = 1;
    depths.back() = 65535;
    const Bytes pixels = colours(depths);
    EXPECT_EQ(Bytes(pixels.begin(), pixels.begin() + 3), Bytes({215, 25, 28}));
    EXPECT_EQ(Bytes(pixels.begin() + 3, pixels.begin() + 6), Bytes({215, 25, 28}));
    EXPECT_EQ(Bytes(pixels.end() - 6, pixels.end() - 3), Bytes({70, 30, 110}));
    EXPECT_EQ(Bytes(pixels.end() - 3, pixels.end()), Bytes({70, 30, 110}));
}

TEST(FrameImageTest, OneDepthOnlyIsNotBlack)
{
    EXPECT_THAT(colours({500, 500}), ElementsAre(215, 25, 28, 215, 25, 28));
}

}  // namespace
}  // namespace nubrix::tool
