// Streams of cameras that are unplugged, become unresponsive, refuse a request, or differ from
// their description.
#include <linux/videodev2.h>

#include <thread>

#include "tests/drivers/uvc/LineMonitor.h"
#include "tests/drivers/uvc/UvcDeviceFixture.h"
#include "uvc/UvcStream.h"

namespace nubrix::uvc {
namespace {

using testing::AllOf;
using testing::HasSubstr;

class UvcStreamFaultsTest : public UvcDeviceTest {};

TEST_F(UvcStreamFaultsTest, UnpluggingEndsTheStreamAndTheDevice)
{
    FakeCamera &camera = addNode({V4L2_PIX_FMT_Z16});
    UvcDevice &device = open();
    PixelStream stream(device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    camera.captureAll(1);
    ASSERT_TRUE(stream.sink().await(1));
    EXPECT_EQ(device.deviceState(), NUBRIX_DEVICE_CONNECTED);
    EXPECT_NE(device.keepLiveState(), 0);
    const LineMonitor lines;
    camera.unplug();
    EXPECT_TRUE(lines.await("usb:1-2 depth is gone: check its cable"));  // its thread has ended
    EXPECT_EQ(device.deviceState(), NUBRIX_DEVICE_DISCONNECTED);
    EXPECT_EQ(device.keepLiveState(), 0);
    EXPECT_EQ(stream->stop(), 0);
    EXPECT_EQ(stream.start(), -9);
    EXPECT_EQ(stream.pool().inUse(), 0);
}

TEST_F(UvcStreamFaultsTest, AStreamThatTheKernelEndsIsReportedOnceAndUnresponsive)
{
    FakeCamera &camera = addNode({V4L2_PIX_FMT_Z16});
    UvcDevice &device = open();
    PixelStream stream(device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    testing::internal::CaptureStderr();
    camera.fail(VIDIOC_DQBUF, EIO);
    camera.captureAll(1);
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    while (device.keepLiveState() != 0 && std::chrono::steady_clock::now() < end)
        std::this_thread::yield();
    EXPECT_EQ(device.keepLiveState(), 0);
    EXPECT_EQ(device.deviceState(), NUBRIX_DEVICE_CONNECTED);
    EXPECT_EQ(stream->stop(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "nubrix usb camera: usb:1-2 depth does not answer (Input/output error): plug it in "
              "again\n");
    camera.fail(VIDIOC_DQBUF, 0);
    ASSERT_EQ(stream.start(), 0);
    EXPECT_NE(device.keepLiveState(), 0);
    camera.captureAll(1);
    EXPECT_TRUE(stream.sink().await(1));
}

TEST_F(UvcStreamFaultsTest, ACameraWithoutFramesIsUnresponsiveUntilItSendsAgain)
{
    FakeCamera &camera = addNode({V4L2_PIX_FMT_Z16});
    UvcDevice &device = open();
    PixelStream stream(device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    EXPECT_NE(device.keepLiveState(), 0);
    const LineMonitor lines;
    const auto begin = std::chrono::steady_clock::now();
    while (device.keepLiveState() != 0 && std::chrono::steady_clock::now() < begin + kDeadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_GE(std::chrono::steady_clock::now() - begin,
              UvcStream::kFrameTimeout - std::chrono::milliseconds(500));
    EXPECT_EQ(device.keepLiveState(), 0);
    EXPECT_EQ(device.deviceState(), NUBRIX_DEVICE_CONNECTED);
    EXPECT_TRUE(lines.await("usb:1-2 depth has sent no frame for 3 s: check its cable"));
    camera.captureAll(1);
    ASSERT_TRUE(stream.sink().await(1));
    EXPECT_NE(device.keepLiveState(), 0);
}

TEST_F(UvcStreamFaultsTest, ACameraThatSendsOnlyUnusableFramesIsUnresponsive)
{
    FakeCamera &camera = addNode({V4L2_PIX_FMT_MJPEG});
    UvcDevice &device = open();
    PixelStream stream(device, NUBRIX_STREAM_COLOR);
    const LineMonitor lines;
    ASSERT_EQ(stream.start(), 0);
    camera.captureAll(0x55);
    EXPECT_TRUE(lines.await("usb:1-2 color: a frame cannot be used"));
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    while (device.keepLiveState() != 0 && std::chrono::steady_clock::now() < end) {
        camera.captureAll(0x55);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_EQ(device.keepLiveState(), 0);
    EXPECT_TRUE(lines.await("usb:1-2 color has sent no frame for 3 s"));
    EXPECT_EQ(lines.count("a frame cannot be used"), 1U);
    EXPECT_EQ(lines.count("has sent no frame"), 1U);
}

TEST_F(UvcStreamFaultsTest, ARateThatTheCameraDoesNotKeepIsReported)
{
    FakeCamera &camera = addNode({V4L2_PIX_FMT_Z16});
    camera.givenRate = 15;
    PixelStream stream(open(), NUBRIX_STREAM_DEPTH);
    testing::internal::CaptureStderr();
    EXPECT_EQ(stream.start(), 0);
    EXPECT_EQ(
        testing::internal::GetCapturedStderr(),
        "nubrix usb camera: usb:1-2 depth is set to 30 frames/s, but the camera delivers 15\n");
}

class UvcStreamBandwidthTest : public UvcStreamFaultsTest,
                               public testing::WithParamInterface<std::uint32_t> {};

TEST_P(UvcStreamBandwidthTest, ABusWithLittleBandwidthGetsCompressedImages)
{
    FakeCamera &camera = addNode({GetParam(), V4L2_PIX_FMT_MJPEG});
    UvcDevice &device = open();
    TestStream stream(device, NUBRIX_STREAM_COLOR);
    ASSERT_EQ(device.setFrameMode(NUBRIX_STREAM_COLOR, {NUBRIX_PIXEL_RGB888, 64, 48, 15}, false),
              0);
    camera.tooMuch = GetParam();
    testing::internal::CaptureStderr();
    ASSERT_EQ(stream.start(), 0);
    EXPECT_EQ(
        testing::internal::GetCapturedStderr(),
        "nubrix usb camera: usb:1-2 color 64x48 at 15 frames/s: little USB bandwidth is left, "
        "so the camera compresses its images\n");
    EXPECT_EQ(camera.format().pixelformat, V4L2_PIX_FMT_MJPEG);
    EXPECT_EQ(camera.interval().denominator, 15U);
    EXPECT_TRUE(camera.isStreaming());
    camera.captureAll(1);  // not a JPEG, but it is decoded as one
    EXPECT_TRUE(awaitCount(device, NUBRIX_STREAM_COLOR, 1));
    EXPECT_EQ(countersOf(device, NUBRIX_STREAM_COLOR).unusable, 1U);
    EXPECT_EQ(stream->stop(), 0);
    camera.tooMuch = 0;  // the next start has enough bandwidth
    ASSERT_EQ(stream.start(), 0);
    EXPECT_EQ(camera.format().pixelformat, GetParam());
}

TEST_P(UvcStreamBandwidthTest, ARateThatTheCameraDoesNotKeepIsReportedOnce)
{
    FakeCamera &camera = addNode({GetParam(), V4L2_PIX_FMT_MJPEG});
    TestStream stream(open(), NUBRIX_STREAM_COLOR);
    camera.tooMuch = GetParam();
    camera.givenRate = 7;
    const LineMonitor lines;
    ASSERT_EQ(stream.start(), 0);
    EXPECT_TRUE(lines.await("so the camera compresses its images"));
    EXPECT_TRUE(lines.await("frames/s, but the camera delivers 7"));
    EXPECT_EQ(lines.count("but the camera delivers"), 1U);
    EXPECT_EQ(stream->stop(), 0);
}

INSTANTIATE_TEST_SUITE_P(Formats, UvcStreamBandwidthTest,
                         testing::Values(V4L2_PIX_FMT_YUYV, V4L2_PIX_FMT_RGB24));

struct Refusal {
    unsigned long request;
    int error;
    int status;
    const char *advice;
};

class UvcStreamRefusalTest : public UvcStreamFaultsTest,
                             public testing::WithParamInterface<Refusal> {};

TEST_P(UvcStreamRefusalTest, AFailedStartReportsWhyAndReleasesEverything)
{
    FakeCamera &camera = addNode({V4L2_PIX_FMT_Z16});
    UvcDevice &device = open();
    PixelStream stream(device, NUBRIX_STREAM_DEPTH);
    camera.fail(GetParam().request, GetParam().error);
    testing::internal::CaptureStderr();
    EXPECT_EQ(stream.start(), GetParam().status);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr(GetParam().advice));
    EXPECT_EQ(stream.pool().inUse(), 0);
    EXPECT_EQ(camera.mappings(), 0U);
    if (GetParam().error != ENODEV && GetParam().request != VIDIOC_REQBUFS) {
        EXPECT_FALSE(camera.isClaimed()) << "nobody else could have it";
    }
    camera.fail(GetParam().request, 0);
    if (GetParam().error == ENODEV)
        return;
    ASSERT_EQ(stream.start(), 0);
    camera.captureAll(1);
    EXPECT_TRUE(stream.sink().await(1));
}

INSTANTIATE_TEST_SUITE_P(
    Errors, UvcStreamRefusalTest,
    testing::Values(
        Refusal{VIDIOC_S_FMT, EBUSY, -2, "usb:1-2 depth 64x48 at 30 frames/s is busy"},
        Refusal{VIDIOC_REQBUFS, EBUSY, -2, "end the other program that streams from it"},
        Refusal{VIDIOC_STREAMON, ENOSPC, -5, "not enough USB bandwidth for usb:1-2 depth 64x48"},
        Refusal{VIDIOC_STREAMON, EIO, -1, "does not answer"},
        Refusal{VIDIOC_S_PARM, EIO, -1, "does not answer"},
        Refusal{VIDIOC_QUERYBUF, EINVAL, -4, "failed: Invalid argument"},
        Refusal{VIDIOC_S_FMT, ENODEV, -9, "is gone"}));

TEST_F(UvcStreamFaultsTest, ACameraWithChangedModesMustBeOpenedAgain)
{
    FakeCamera &camera = addNode({V4L2_PIX_FMT_Z16});
    PixelStream stream(open(), NUBRIX_STREAM_DEPTH);
    camera.changeModes();
    testing::internal::CaptureStderr();
    EXPECT_EQ(stream.start(), -4);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                AllOf(HasSubstr("64x48 at 30 frames/s is no longer available"), HasSubstr("32x48"),
                      HasSubstr("open it again")));
    EXPECT_FALSE(camera.isClaimed()) << "nobody else could have it";
}

}  // namespace
}  // namespace nubrix::uvc
