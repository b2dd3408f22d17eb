#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <map>

#include "CameraFixture.h"

namespace nubrix::vm {

namespace {

// The kernel's test driver: its node comes from the test's script. It is no USB camera.
class Vivid : public CameraFixture {
protected:
    void SetUp() override
    {
        const char *node = std::getenv("VIVID_NODE");
        ASSERT_NE(node, nullptr);
        m_node = ::open(node, O_RDWR | O_NONBLOCK | O_CLOEXEC);
        ASSERT_GE(m_node, 0);
        for (v4l2_queryctrl control = next(0); control.id != 0; control = next(control.id)) {
            m_controls[reinterpret_cast<const char *>(control.name)] = control.id;
        }
        ASSERT_TRUE(isListed(node));
        ASSERT_EQ(m_context->openDevice(node, &m_camera), 0);
        select(NUBRIX_STREAM_COLOR, NUBRIX_PIXEL_RGB888);
    }

    ~Vivid() override { ::close(m_node); }

    // Only a path that was listed can be opened.
    bool isListed(const std::string &node)
    {
        _NubrixGmslDeviceInfo *list = nullptr;
        unsigned int count = 0;
        EXPECT_EQ(m_context->nubrixGetGmslDeviceList(&list, &count), 0);
        bool found = false;
        for (unsigned int i = 0; i < count; ++i) {
            found = found || node == list[i].devicePath;
        }
        return found;
    }

    void select(unsigned int stream, unsigned int pixelFormat)
    {
        const typedefNubrixFrameMode *modes = nullptr;
        unsigned int count = 0;
        ASSERT_EQ(m_context->getSupportFrameMode(m_camera, stream, &modes, &count), 0);
        typedefNubrixFrameMode chosen = {};
        for (unsigned int i = 0; i < count; ++i) {
            if (modes[i].pixelFormat == pixelFormat && modes[i].frameRate >= 20) {
                chosen = modes[i];  // the smallest comes last
            }
        }
        ASSERT_NE(chosen.width, 0);
        ASSERT_EQ(m_context->setFrameMode(m_camera, stream, chosen), 0);
        m_mode = chosen;
    }

    void set(const std::string &name, int value)
    {
        ASSERT_EQ(m_controls.count(name), 1U) << name;
        v4l2_control control = {m_controls[name], value};
        ASSERT_EQ(ioctl(m_node, VIDIOC_S_CTRL, &control), 0) << name;
    }

    NubrixDevice *m_camera = nullptr;
    typedefNubrixFrameMode m_mode = {};

private:
    v4l2_queryctrl next(std::uint32_t after) const
    {
        v4l2_queryctrl control = {};
        control.id = after | V4L2_CTRL_FLAG_NEXT_CTRL;
        return ioctl(m_node, VIDIOC_QUERYCTRL, &control) == 0 ? control : v4l2_queryctrl{};
    }

    int m_node = -1;
    std::map<std::string, std::uint32_t> m_controls;
};

// The mean of the pixels of a column.
struct Colour {
    int red;
    int green;
    int blue;
};

Colour columnOf(const typedefNubrixFrame &frame, int x)
{
    long sums[3] = {};
    const auto *data = static_cast<const std::uint8_t *>(frame.data);
    for (int y = 0; y < frame.height; ++y) {
        for (int i = 0; i < 3; ++i) {
            sums[i] += data[(y * frame.width + x) * 3 + i];
        }
    }
    return {static_cast<int>(sums[0] / frame.height), static_cast<int>(sums[1] / frame.height),
            static_cast<int>(sums[2] / frame.height)};
}

}  // namespace

// Its image is eight bars: white, yellow, cyan, green, magenta, red, blue, black.
TEST_F(Vivid, ColourBarsHaveTheirColours)
{
    set("OSD Text Mode", 2);  // none
    set("Test Pattern", 1);   // full brightness
    NubrixStream *color = stream(m_camera, NUBRIX_STREAM_COLOR);
    ASSERT_NE(color, nullptr);
    typedefNubrixFrame *frame = nextFrame(color);
    ASSERT_NE(frame, nullptr);
    ASSERT_EQ(frame->dataSize, static_cast<unsigned int>(m_mode.width) * m_mode.height * 3U);
    for (int bar = 0; bar < 8; ++bar) {
        const Colour colour = columnOf(*frame, (2 * bar + 1) * frame->width / 16);
        EXPECT_NEAR(colour.red, (bar & 2) ? 0 : 255, 24) << "bar " << bar;
        EXPECT_NEAR(colour.green, (bar & 4) ? 0 : 255, 24) << "bar " << bar;
        EXPECT_NEAR(colour.blue, (bar & 1) ? 0 : 255, 24) << "bar " << bar;
    }
    m_context->releaseFrame(frame);
    EXPECT_EQ(m_context->closeStream(color), 0);
}

TEST_F(Vivid, GreyFramesHaveOneOrTwoBytesAPixel)
{
    for (const unsigned int format : {NUBRIX_PIXEL_GREY8, NUBRIX_PIXEL_GREY16}) {
        select(NUBRIX_STREAM_IR, format);
        NubrixStream *infrared = stream(m_camera, NUBRIX_STREAM_IR);
        ASSERT_NE(infrared, nullptr);
        typedefNubrixFrame *frame = nextFrame(infrared);
        ASSERT_NE(frame, nullptr);
        EXPECT_EQ(frame->pixelFormat, format);
        EXPECT_EQ(frame->dataSize, static_cast<unsigned int>(m_mode.width) * m_mode.height *
                                       (format == NUBRIX_PIXEL_GREY8 ? 1U : 2U));
        m_context->releaseFrame(frame);
        EXPECT_EQ(m_context->closeStream(infrared), 0);
    }
}

// Each error is given once.
TEST_F(Vivid, WhatTheKernelRefusesOnceIsTriedWithOtherBuffers)
{
    for (const char *error : {"Inject VIDIOC_REQBUFS Error", "Inject VIDIOC_QBUF Error",
                              "Inject VIDIOC_STREAMON Error"}) {
        set(error, 1);
        NubrixStream *color = stream(m_camera, NUBRIX_STREAM_COLOR);
        ASSERT_NE(color, nullptr) << error;
        EXPECT_EQ(readUntil(color, 0), 0) << error;
        EXPECT_EQ(m_context->closeStream(color), 0);
    }
}

TEST_F(Vivid, AQueueThatBreaksEndsTheStreamAndItStartsAgain)
{
    NubrixStream *color = stream(m_camera, NUBRIX_STREAM_COLOR);
    EXPECT_EQ(readUntil(color, 0), 0);
    set("Inject Fatal Streaming Error", 1);
    EXPECT_EQ(readUntil(color, -10), -10);
    EXPECT_EQ(m_context->closeStream(color), 0);
    color = stream(m_camera, NUBRIX_STREAM_COLOR);
    EXPECT_EQ(readUntil(color, 0), 0);
    EXPECT_EQ(m_context->closeStream(color), 0);
}

TEST_F(Vivid, LostFramesAreCountedAsGapsInTheIndices)
{
    NubrixStream *color = stream(m_camera, NUBRIX_STREAM_COLOR);
    ASSERT_EQ(readUntil(color, 0), 0);
    set("Percentage of Dropped Buffers", 90);
    const unsigned int missed = counters(m_camera, NUBRIX_STREAM_COLOR).missed;
    EXPECT_TRUE(
        eventually([&] { return counters(m_camera, NUBRIX_STREAM_COLOR).missed > missed + 5; }));
    set("Percentage of Dropped Buffers", 0);
    typedefNubrixFrame *frame = nextFrame(color);
    ASSERT_NE(frame, nullptr);
    EXPECT_GT(frame->frameIndex, counters(m_camera, NUBRIX_STREAM_COLOR).missed);
    m_context->releaseFrame(frame);
    EXPECT_EQ(counters(m_camera, NUBRIX_STREAM_COLOR).held, 0U);
    EXPECT_EQ(m_context->closeStream(color), 0);
}

}  // namespace nubrix::vm
