#include "uvc/CameraModes.h"

#include <gmock/gmock.h>

#include <memory>

#include "tests/drivers/uvc/FakeNode.h"

namespace nubrix::uvc {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

std::vector<std::string> texts(const StreamModes &modes)
{
    std::vector<std::string> all;
    for (const auto &record : modes.records)
        all.push_back(textOf(record));
    return all;
}

class CameraModesTest : public testing::Test {
protected:
    FakeCamera &addNode(std::vector<FakeCamera::Format> formats)
    {
        m_cameras.push_back(std::make_unique<FakeCamera>());
        m_cameras.back()->formats = std::move(formats);
        m_nodes.push_back(std::make_unique<FakeNode>(*m_cameras.back()));
        return *m_cameras.back();
    }
    CameraModes read()
    {
        std::vector<NodeIo *> nodes;
        for (const auto &node : m_nodes)
            nodes.push_back(node.get());
        return readModes(nodes);
    }
    StreamModes read(unsigned int streamType)
    {
        for (const StreamModes &modes : read()) {
            if (modes.streamType == streamType)
                return modes;
        }
        return {0};
    }

private:
    std::vector<std::unique_ptr<FakeCamera>> m_cameras;
    std::vector<std::unique_ptr<FakeNode>> m_nodes;
};

/// A node that answers every query with ranges, endlessly.
class RangeNode final : public NodeIo {
public:
    int control(unsigned long request, void *argument) override
    {
        if (request == VIDIOC_ENUM_FMT) {
            auto &answer = *static_cast<v4l2_fmtdesc *>(argument);
            answer.pixelformat = V4L2_PIX_FMT_YUYV;
            return 0;
        }
        if (request == VIDIOC_ENUM_FRAMESIZES) {
            auto &answer = *static_cast<v4l2_frmsizeenum *>(argument);
            answer.type = V4L2_FRMSIZE_TYPE_STEPWISE;
            answer.stepwise = {320, 700, 2, 240, 500, 2};
            return 0;
        }
        if (request == VIDIOC_ENUM_FRAMEINTERVALS) {
            auto &answer = *static_cast<v4l2_frmivalenum *>(argument);
            answer.type = V4L2_FRMIVAL_TYPE_CONTINUOUS;
            answer.stepwise = {{333334, 10000000}, {1, 12}, {1, 1}};
            return 0;
        }
        return ENOTTY;
    }
    void *map(std::size_t, std::uint32_t) override { return nullptr; }
    void unmap(void *, std::size_t) override {}
    int descriptor() const override { return -1; }
};

/// A node whose enumerations never end.
class EndlessNode final : public NodeIo {
public:
    int control(unsigned long request, void *argument) override
    {
        if (request == VIDIOC_ENUM_FMT) {
            auto &answer = *static_cast<v4l2_fmtdesc *>(argument);
            answer.pixelformat = V4L2_PIX_FMT_Z16;
            return 0;
        }
        if (request == VIDIOC_ENUM_FRAMESIZES) {
            auto &answer = *static_cast<v4l2_frmsizeenum *>(argument);
            answer.type = V4L2_FRMSIZE_TYPE_DISCRETE;
            answer.discrete = {64 + answer.index, 48};
            return 0;
        }
        if (request == VIDIOC_ENUM_FRAMEINTERVALS) {
            auto &answer = *static_cast<v4l2_frmivalenum *>(argument);
            answer.type = V4L2_FRMIVAL_TYPE_DISCRETE;
            answer.discrete = {1, 1 + answer.index};
            return 0;
        }
        return ENOTTY;
    }
    void *map(std::size_t, std::uint32_t) override { return nullptr; }
    void unmap(void *, std::size_t) override {}
    int descriptor() const override { return -1; }
};

TEST_F(CameraModesTest, EachSizeAtEachRateIsAModeLargestFirst)
{
    addNode({{V4L2_PIX_FMT_Z16, {{320, 240, {15, 60}}, {640, 480, {30}}}}});
    const StreamModes modes = read(NUBRIX_STREAM_DEPTH);
    EXPECT_THAT(texts(modes), ElementsAre("640x480 at 30 frames/s", "320x240 at 60 frames/s",
                                          "320x240 at 15 frames/s"));
    EXPECT_EQ(modes.records[0].pixelFormat, NUBRIX_PIXEL_DEPTH_14_2);
    EXPECT_EQ(modes.sources[1].interval.denominator, 60U);
}

TEST_F(CameraModesTest, OfTwoFormatsForAModeTheCheaperOneIsTaken)
{
    addNode({{V4L2_PIX_FMT_MJPEG, {{640, 480, {30}}, {1280, 720, {30}}}},
             {V4L2_PIX_FMT_YUYV, {{640, 480, {30}}}}});
    const StreamModes modes = read(NUBRIX_STREAM_COLOR);
    ASSERT_THAT(texts(modes), ElementsAre("1280x720 at 30 frames/s", "640x480 at 30 frames/s"));
    EXPECT_EQ(modes.sources[0].format->code, V4L2_PIX_FMT_MJPEG);
    EXPECT_EQ(modes.sources[1].format->code, V4L2_PIX_FMT_YUYV);
}

TEST_F(CameraModesTest, ACompressedFormatOfTheSameModeIsKeptForLowBandwidth)
{
    addNode({{V4L2_PIX_FMT_YUYV, {{640, 480, {30, 15}}, {320, 240, {30}}}},
             {V4L2_PIX_FMT_NV12, {{640, 480, {30, 15}}, {320, 240, {30}}}},
             {V4L2_PIX_FMT_MJPEG, {{640, 480, {30}}, {160, 120, {30}}}},
             {V4L2_PIX_FMT_JPEG, {{640, 480, {30}}, {160, 120, {30}}}}});
    const StreamModes modes = read(NUBRIX_STREAM_COLOR);
    ASSERT_THAT(texts(modes), ElementsAre("640x480 at 30 frames/s", "640x480 at 15 frames/s",
                                          "320x240 at 30 frames/s", "160x120 at 30 frames/s"));
    ASSERT_NE(modes.sources[0].compressed, nullptr);
    EXPECT_EQ(modes.sources[0].compressed->code, V4L2_PIX_FMT_MJPEG);
    for (const std::size_t alone : {1, 2, 3})
        EXPECT_EQ(modes.sources[alone].compressed, nullptr) << alone;
}

TEST_F(CameraModesTest, AStreamBelongsToTheNodeWithTheFewestOthers)
{
    addNode({{V4L2_PIX_FMT_UYVY, {{64, 48, {30}}}}, {V4L2_PIX_FMT_GREY, {{64, 48, {30}}}}});
    addNode({{V4L2_PIX_FMT_YUYV, {{64, 48, {30}}}}});
    EXPECT_EQ(read(NUBRIX_STREAM_COLOR).node, 1U);
    EXPECT_EQ(read(NUBRIX_STREAM_IR).node, 0U);
}

TEST_F(CameraModesTest, OfEqualNodesTheFirstDeliversTheStream)
{
    addNode({{V4L2_PIX_FMT_GREY, {{64, 48, {30}}}}});
    addNode({{V4L2_PIX_FMT_GREY, {{32, 24, {30}}}}});
    EXPECT_EQ(read(NUBRIX_STREAM_IR).node, 0U);
    EXPECT_THAT(texts(read(NUBRIX_STREAM_IR)), ElementsAre("64x48 at 30 frames/s"));
}

TEST_F(CameraModesTest, UnknownFormatsAndImpossibleModesAreLeftOut)
{
    addNode({{V4L2_PIX_FMT_H264, {{640, 480, {30}}}},
             {V4L2_PIX_FMT_Z16,
              {{0, 480, {30}}, {70000, 480, {30}}, {60000, 60000, {30}}, {64, 48, {30, 500, 0}}}}});
    EXPECT_THAT(texts(read(NUBRIX_STREAM_DEPTH)), ElementsAre("64x48 at 30 frames/s"));
    EXPECT_TRUE(read(NUBRIX_STREAM_COLOR).records.empty());
}

TEST_F(CameraModesTest, SizesThatPairsOfPixelsDoNotFillAreLeftOut)
{
    const std::vector<FakeCamera::Size> sizes = {{63, 48, {30}}, {64, 47, {30}}};
    for (const std::uint32_t code : {V4L2_PIX_FMT_YUYV, V4L2_PIX_FMT_UYVY})
        addNode({{code, sizes}});
    EXPECT_THAT(texts(read(NUBRIX_STREAM_COLOR)), ElementsAre("64x47 at 30 frames/s"));
    addNode({{V4L2_PIX_FMT_GREY, sizes}});
    EXPECT_EQ(texts(read(NUBRIX_STREAM_IR)).size(), 2U);
}

TEST_F(CameraModesTest, SizesThatPairsOfRowsDoNotFillAreLeftOut)
{
    addNode({{V4L2_PIX_FMT_NV12, {{63, 48, {30}}, {64, 47, {30}}, {64, 46, {30}}}}});
    EXPECT_THAT(texts(read(NUBRIX_STREAM_COLOR)), ElementsAre("64x46 at 30 frames/s"));
}

TEST_F(CameraModesTest, ANodeWithoutRatesHasItsCurrentRate)
{
    addNode({{V4L2_PIX_FMT_Z16, {{64, 48, {}}}}});
    const StreamModes modes = read(NUBRIX_STREAM_DEPTH);
    ASSERT_THAT(texts(modes), ElementsAre("64x48 at 30 frames/s"));
    EXPECT_EQ(modes.sources[0].interval.denominator, 0U);
}

TEST_F(CameraModesTest, ANodeWithoutSizesHasItsCurrentSize)
{
    addNode({{V4L2_PIX_FMT_Z16, {{64, 48, {25}}}}}).enumeratesSizes = false;
    EXPECT_THAT(texts(read(NUBRIX_STREAM_DEPTH)), ElementsAre("64x48 at 25 frames/s"));
}

TEST_F(CameraModesTest, RangesOfferTheUsualModes)
{
    RangeNode node;
    const CameraModes modes = readModes({&node});
    EXPECT_THAT(texts(modes[0]), ElementsAre("640x480 at 30 frames/s", "640x480 at 15 frames/s",
                                             "640x360 at 30 frames/s", "640x360 at 15 frames/s",
                                             "320x240 at 30 frames/s", "320x240 at 15 frames/s"));
}

TEST_F(CameraModesTest, AnEndlessEnumerationIsCutOff)
{
    EndlessNode node;
    const CameraModes modes = readModes({&node});
    EXPECT_EQ(modes[1].records.size(), 1000U);
}

TEST_F(CameraModesTest, TheDefaultIs640x480At30)
{
    addNode({{V4L2_PIX_FMT_Z16, {{1280, 720, {30}}, {640, 480, {60, 30}}, {320, 240, {30}}}}});
    const StreamModes modes = read(NUBRIX_STREAM_DEPTH);
    EXPECT_EQ(textOf(modes.records[modes.defaultMode()]), "640x480 at 30 frames/s");
}

TEST_F(CameraModesTest, ARefusalNamesTheFieldAndTheNearestMode)
{
    addNode({{V4L2_PIX_FMT_Z16, {{640, 480, {30, 15}}, {320, 240, {60}}}}});
    const StreamModes modes = read(NUBRIX_STREAM_DEPTH);
    const auto refusal = [&](unsigned int format, unsigned short width, unsigned short height,
                             signed char rate) {
        return modes.refusal({format, width, height, rate});
    };
    EXPECT_EQ(
        refusal(3, 640, 480, 20),
        "frameRate 20 is not available for 640x480 at 20 frames/s, the nearest mode is 640x480 "
        "at 15 frames/s with pixelFormat 3");
    EXPECT_THAT(refusal(3, 330, 240, 30), HasSubstr("width 330 is not available"));
    EXPECT_THAT(refusal(3, 330, 240, 30), HasSubstr("320x240 at 60"));
    EXPECT_THAT(refusal(3, 640, 400, 30), HasSubstr("height 400 is not available"));
    EXPECT_THAT(refusal(0, 640, 480, 30), HasSubstr("pixelFormat 0 is not available"));
    EXPECT_THAT(refusal(0, 640, 480, 30), HasSubstr("640x480 at 30 frames/s with pixelFormat 3"));
}

}  // namespace
}  // namespace nubrix::uvc
