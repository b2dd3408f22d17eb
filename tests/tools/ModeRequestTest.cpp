#include "ModeRequest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace nubrix::tool {
namespace {

using testing::HasSubstr;

const std::vector<client::Mode> kOffered = {
    {NUBRIX_PIXEL_YUYV, 320, 240, 5},    {NUBRIX_PIXEL_YUYV, 320, 240, 30},
    {NUBRIX_PIXEL_YUYV, 640, 400, 30},   {NUBRIX_PIXEL_YUYV, 640, 480, 5},
    {NUBRIX_PIXEL_YUYV, 640, 480, 30},   {NUBRIX_PIXEL_RGB888, 640, 480, 30},
    {NUBRIX_PIXEL_RGB888, 1280, 800, 15}};

TEST(ModeRequestTest, AModeIsWidthHeightAndRate)
{
    const auto mode = parseMode("640x480@30");
    ASSERT_TRUE(mode);
    EXPECT_EQ(mode->width, 640);
    EXPECT_EQ(mode->height, 480);
    EXPECT_EQ(mode->framesPerSecond, 30);
}

TEST(ModeRequestTest, AnyOtherTextIsNoMode)
{
    for (const char *text : {"",
                             "640",
                             "640x480",
                             "640x480@",
                             "x480@30",
                             "640x@30",
                             "640x480@30fps",
                             "640x480@-1",
                             "-640x480@30",
                             "640 x 480 @ 30",
                             " 640x480@30",
                             "640x480@30 ",
                             "640X480@30",
                             "0x480@30",
                             "640x0@30",
                             "640x480@0",
                             "65536x480@30",
                             "99999999999x480@30",
                             "640x480@30x",
                             "a"})
        EXPECT_FALSE(parseMode(text)) << text;
}

TEST(ModeRequestTest, AModeHasATextOfTheSameForm)
{
    EXPECT_EQ(modeText({NUBRIX_PIXEL_RGB888, 1280, 800, 15}), "1280x800@15");
}

TEST(ModeRequestTest, TheRequestedModeIsFound)
{
    const auto mode = findMode(kOffered, {320, 240, 30}, NUBRIX_PIXEL_YUYV);
    ASSERT_TRUE(mode);
    EXPECT_EQ(mode->width, 320);
    EXPECT_EQ(mode->framesPerSecond, 30);
}

TEST(ModeRequestTest, TheCurrentPixelFormatIsPreferred)
{
    EXPECT_EQ(findMode(kOffered, {640, 480, 30}, NUBRIX_PIXEL_RGB888)->format, NUBRIX_PIXEL_RGB888);
    EXPECT_EQ(findMode(kOffered, {640, 480, 30}, NUBRIX_PIXEL_YUYV)->format, NUBRIX_PIXEL_YUYV);
}

TEST(ModeRequestTest, AnotherPixelFormatIsUsedWhenTheCurrentOneIsNotOffered)
{
    EXPECT_EQ(findMode(kOffered, {640, 480, 5}, NUBRIX_PIXEL_RGB888)->format, NUBRIX_PIXEL_YUYV);
}

TEST(ModeRequestTest, AModeThatIsNotOfferedIsNotFound)
{
    EXPECT_FALSE(findMode(kOffered, {640, 480, 15}, NUBRIX_PIXEL_YUYV));
    EXPECT_FALSE(findMode(kOffered, {640, 800, 30}, NUBRIX_PIXEL_YUYV));
    EXPECT_FALSE(findMode({}, {640, 480, 30}, NUBRIX_PIXEL_YUYV));
}

TEST(ModeRequestTest, AWrongRateIsNamedWithTheOfferedOnes)
{
    EXPECT_EQ(explainMissingMode(kOffered, {640, 480, 25}),
              "frame rate 25 is not offered at 640x480 (offered: 5, 30); "
              "nearest mode: 640x480@30");
}

TEST(ModeRequestTest, AWrongHeightIsNamedWithTheOfferedOnes)
{
    EXPECT_EQ(explainMissingMode(kOffered, {640, 420, 30}),
              "height 420 is not offered with width 640 (offered: 400, 480); "
              "nearest mode: 640x400@30");
}

TEST(ModeRequestTest, AWrongWidthIsNamedWithTheOfferedOnes)
{
    EXPECT_EQ(explainMissingMode(kOffered, {1920, 1080, 60}),
              "width 1920 is not offered (offered: 320, 640, 1280); nearest mode: 1280x800@15");
}

TEST(ModeRequestTest, TheNearestModeIsNearInSizeFirst)
{
    EXPECT_THAT(explainMissingMode(kOffered, {330, 240, 5}), HasSubstr("nearest mode: 320x240@5"));
    EXPECT_THAT(explainMissingMode(kOffered, {330, 240, 60}),
                HasSubstr("nearest mode: 320x240@30"));
}

}  // namespace
}  // namespace nubrix::tool
