#include "common/ModeTable.h"

#include <gtest/gtest.h>

namespace nubrix {
namespace {

const ModeTable kTable = {NUBRIX_STREAM_COLOR,
                          {{NUBRIX_PIXEL_RGB888, 1280, 720, 30},
                           {NUBRIX_PIXEL_RGB888, 640, 400, 60},
                           {NUBRIX_PIXEL_RGB888, 640, 400, 15},
                           {NUBRIX_PIXEL_GREY8, 640, 480, 30}}};

TEST(ModeTableTest, TheNearestModeHasTheFormatBeforeTheSizeBeforeTheRate)
{
    EXPECT_EQ(kTable.nearest({NUBRIX_PIXEL_RGB888, 640, 480, 30}), 2U);
    EXPECT_EQ(kTable.nearest({NUBRIX_PIXEL_RGB888, 640, 480, 50}), 1U);
    EXPECT_EQ(kTable.nearest({NUBRIX_PIXEL_RGB888, 1000, 700, 60}), 0U);
    EXPECT_EQ(kTable.nearest({NUBRIX_PIXEL_GREY8, 1280, 720, 15}), 3U);
}

TEST(ModeTableTest, TheDefaultHasTheFormatOfTheFirstMode)
{
    EXPECT_EQ(kTable.defaultMode(), 2U);
}

TEST(ModeTableTest, TheDefaultIsNextTo640x480At30FramesPerSecond)
{
    const ModeTable table = {NUBRIX_STREAM_COLOR,
                             {{NUBRIX_PIXEL_RGB888, 640, 481, 30},
                              {NUBRIX_PIXEL_RGB888, 640, 480, 31},
                              {NUBRIX_PIXEL_RGB888, 640, 480, 28},
                              {NUBRIX_PIXEL_RGB888, 639, 480, 30}}};
    EXPECT_EQ(table.defaultMode(), 1U);
}

TEST(ModeTableTest, AModeIsFoundByAllOfItsFields)
{
    for (std::size_t i = 0; i < kTable.records.size(); ++i)
        EXPECT_EQ(kTable.find(kTable.records[i]), i);
    EXPECT_EQ(kTable.find({NUBRIX_PIXEL_GREY8, 1280, 720, 30}), kTable.records.size());
    EXPECT_EQ(kTable.find({NUBRIX_PIXEL_RGB888, 641, 400, 60}), kTable.records.size());
    EXPECT_EQ(kTable.find({NUBRIX_PIXEL_RGB888, 640, 401, 60}), kTable.records.size());
    EXPECT_EQ(kTable.find({NUBRIX_PIXEL_RGB888, 640, 400, 30}), kTable.records.size());
}

TEST(ModeTableTest, EachStreamTypeHasItsName)
{
    EXPECT_STREQ(streamName(NUBRIX_STREAM_COLOR), "color");
    EXPECT_STREQ(streamName(NUBRIX_STREAM_DEPTH), "depth");
    EXPECT_STREQ(streamName(NUBRIX_STREAM_IR), "ir");
    EXPECT_STREQ(streamName(NUBRIX_STREAM_LIGHT_IR), "light-ir");
}

TEST(ModeTableTest, ARefusalNamesTheFirstFieldThatNoModeHas)
{
    const std::string end = ", the nearest mode is 640x400 at 60 frames/s with pixelFormat " +
                            std::to_string(NUBRIX_PIXEL_RGB888);
    EXPECT_EQ(kTable.refusal({NUBRIX_PIXEL_RGB888, 641, 400, 60}),
              "width 641 is not available for 641x400 at 60 frames/s" + end);
    EXPECT_EQ(kTable.refusal({NUBRIX_PIXEL_RGB888, 640, 401, 60}),
              "height 401 is not available for 640x401 at 60 frames/s" + end);
    EXPECT_EQ(kTable.refusal({NUBRIX_PIXEL_RGB888, 640, 400, 50}),
              "frameRate 50 is not available for 640x400 at 50 frames/s" + end);
    EXPECT_EQ(kTable.refusal({1000, 640, 400, 60}).find("pixelFormat 1000 is not available"), 0U);
}

}  // namespace
}  // namespace nubrix
