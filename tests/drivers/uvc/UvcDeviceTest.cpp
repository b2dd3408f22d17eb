#include "uvc/UvcDevice.h"

#include <linux/videodev2.h>

#include <cerrno>
#include <cstring>

#include "tests/drivers/uvc/UvcDeviceFixture.h"

namespace nubrix::uvc {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr unsigned int kBrightness = V4L2_CID_BRIGHTNESS;
constexpr unsigned int kExposure = V4L2_CID_EXPOSURE_ABSOLUTE;

unsigned int modeCount(UvcDevice &device, unsigned int streamType)
{
    const typedefNubrixFrameMode *modes = nullptr;
    unsigned int count = 99;
    EXPECT_EQ(device.getSupportFrameMode(streamType, &modes, &count), 0);
    return count;
}

TEST_F(UvcDeviceTest, WithoutPermissionItReportsWhatToDo)
{
    addNode({V4L2_PIX_FMT_Z16});
    openErrors["0"] = EACCES;
    testing::internal::CaptureStderr();
    EXPECT_EQ(tryOpen(), -1);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("permission denied on usb:1-2: add the user to group video"));
}

TEST_F(UvcDeviceTest, ACameraThatVanishesMeanwhileIsGone)
{
    addNode({V4L2_PIX_FMT_Z16});
    addNode({V4L2_PIX_FMT_YUYV});
    openErrors["1"] = ENOENT;
    testing::internal::CaptureStderr();
    EXPECT_EQ(tryOpen(), -9);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("usb:1-2 is gone"));
}

TEST_F(UvcDeviceTest, ABusyCameraIsBusy)
{
    addNode({V4L2_PIX_FMT_Z16});
    openErrors["0"] = EBUSY;
    testing::internal::CaptureStderr();
    EXPECT_EQ(tryOpen(), -2);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("usb:1-2 is busy"));
}

TEST_F(UvcDeviceTest, ANodeThatDoesNotCaptureIsNotOpened)
{
    addNode({V4L2_PIX_FMT_Z16}).capabilities = V4L2_CAP_META_CAPTURE | V4L2_CAP_STREAMING;
    testing::internal::CaptureStderr();
    EXPECT_EQ(tryOpen(), -8);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("delivers no frames"));
}

TEST_F(UvcDeviceTest, ACameraOfUnknownFormatsOpensAndReportsIt)
{
    addNode({V4L2_PIX_FMT_H264});
    testing::internal::CaptureStderr();
    UvcDevice &device = open();
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("no pixel format that is known here"));
    EXPECT_EQ(modeCount(device, NUBRIX_STREAM_COLOR), 0U);
    EXPECT_EQ(device.getCurrentFrameMode(NUBRIX_STREAM_COLOR), nullptr);
    NubrixBaseStream *stream = nullptr;
    testing::internal::CaptureStderr();
    EXPECT_EQ(device.createStream(NUBRIX_STREAM_COLOR, &stream), -8);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("usb:1-2 has no color stream"));
}

TEST_F(UvcDeviceTest, StreamsAreIdentifiedByTheirFormats)
{
    addNode({V4L2_PIX_FMT_Z16});
    addNode({V4L2_PIX_FMT_MJPEG});
    addNode({V4L2_PIX_FMT_GREY});
    UvcDevice &device = open();
    EXPECT_EQ(modeCount(device, NUBRIX_STREAM_COLOR), 3U);
    EXPECT_EQ(modeCount(device, NUBRIX_STREAM_DEPTH), 3U);
    EXPECT_EQ(modeCount(device, NUBRIX_STREAM_IR), 3U);
    const typedefNubrixFrameMode *modes = nullptr;
    unsigned int count = 0;
    EXPECT_EQ(device.getSupportFrameMode(NUBRIX_STREAM_LIGHT_IR, &modes, &count), -4);
}

TEST_F(UvcDeviceTest, SettingAModeSetsTheNode)
{
    FakeCamera &camera = addNode({V4L2_PIX_FMT_Z16});
    UvcDevice &device = open();
    EXPECT_EQ(device.getCurrentFrameMode(NUBRIX_STREAM_DEPTH)->frameRate, 30);
    ASSERT_EQ(
        device.setFrameMode(NUBRIX_STREAM_DEPTH, {NUBRIX_PIXEL_DEPTH_14_2, 64, 48, 15}, false), 0);
    EXPECT_EQ(device.getCurrentFrameMode(NUBRIX_STREAM_DEPTH)->frameRate, 15);
    PixelStream stream(device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    EXPECT_EQ(camera.format().width, 64U);
    EXPECT_EQ(camera.format().pixelformat, V4L2_PIX_FMT_Z16);
    EXPECT_EQ(camera.interval().denominator, 15U);
    EXPECT_EQ(
        device.setFrameMode(NUBRIX_STREAM_DEPTH, {NUBRIX_PIXEL_DEPTH_14_2, 32, 24, 30}, false), -2);
}

TEST_F(UvcDeviceTest, WritingToTheReturnedModeChangesNothing)
{
    FakeCamera &camera = addNode({V4L2_PIX_FMT_Z16});
    UvcDevice &device = open();
    device.getCurrentFrameMode(NUBRIX_STREAM_DEPTH)->width = 1000;
    PixelStream stream(device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    EXPECT_EQ(stream->getFrameBufferSize(), 2U * 64 * 48);
    EXPECT_EQ(camera.format().width, 64U);
}

TEST_F(UvcDeviceTest, ASecondStreamOfATypeIsRefusedAndReported)
{
    addNode({V4L2_PIX_FMT_Z16});
    UvcDevice &device = open();
    PixelStream stream(device, NUBRIX_STREAM_DEPTH);
    testing::internal::CaptureStderr();
    NubrixBaseStream *second = nullptr;
    EXPECT_EQ(device.createStream(NUBRIX_STREAM_DEPTH, &second), -2);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("usb:1-2 has its depth stream open already"));
}

TEST_F(UvcDeviceTest, AnUnsupportedModeIsRefusedWithTheFieldAndTheNearestMode)
{
    addNode({V4L2_PIX_FMT_Z16});
    UvcDevice &device = open();
    testing::internal::CaptureStderr();
    EXPECT_EQ(
        device.setFrameMode(NUBRIX_STREAM_DEPTH, {NUBRIX_PIXEL_DEPTH_14_2, 64, 48, 60}, false), -4);
    EXPECT_THAT(
        testing::internal::GetCapturedStderr(),
        HasSubstr("usb:1-2 depth: frameRate 60 is not available for 64x48 at 60 frames/s, the "
                  "nearest mode is 64x48 at 30 frames/s"));
    EXPECT_EQ(device.getCurrentFrameMode(NUBRIX_STREAM_DEPTH)->frameRate, 30);
}

TEST_F(UvcDeviceTest, TheVersionIsThatOfTheUsbDescriptor)
{
    usb.release = 0x1234;
    usb.serial = "SN1";
    addNode({V4L2_PIX_FMT_Z16});
    NubrixVersions versions = {};
    unsigned int size = sizeof versions;
    ASSERT_EQ(open().getProperty(NUBRIX_PROPERTY_VERSION, &versions, &size), 0);
    EXPECT_EQ(size, 82U);
    const unsigned short *firmware = versions.firmware;
    EXPECT_EQ(firmware[0], 12);
    EXPECT_EQ(firmware[1], 3);
    EXPECT_EQ(firmware[2], 4);
    EXPECT_STREQ(versions.serialNumber, "SN1");
}

TEST_F(UvcDeviceTest, ATooSmallBufferReturnsTheRequiredSize)
{
    addNode({V4L2_PIX_FMT_Z16});
    NubrixVersions versions = {};
    unsigned int size = 81;
    EXPECT_EQ(open().getProperty(NUBRIX_PROPERTY_VERSION, &versions, &size), -4);
    EXPECT_EQ(size, 82U);
}

TEST_F(UvcDeviceTest, KeepsTheStreamFlagMode)
{
    addNode({V4L2_PIX_FMT_Z16});
    UvcDevice &device = open();
    unsigned int mode = 3;
    EXPECT_EQ(device.setProperty(NUBRIX_PROPERTY_STREAM_FLAG_MODE, &mode, sizeof mode), 0);
    mode = 5;
    EXPECT_EQ(device.setProperty(NUBRIX_PROPERTY_STREAM_FLAG_MODE, &mode, sizeof mode), -4);
    unsigned int size = sizeof mode;
    EXPECT_EQ(device.getProperty(NUBRIX_PROPERTY_STREAM_FLAG_MODE, &mode, &size), 0);
    EXPECT_EQ(mode, 3U);
}

TEST_F(UvcDeviceTest, AControlIsReachedOnTheNodeThatHasIt)
{
    addNode({V4L2_PIX_FMT_Z16}).controls = {{kExposure, 10}};
    addNode({V4L2_PIX_FMT_YUYV}).controls = {{kBrightness, 20}};
    UvcDevice &device = open();
    std::int32_t value = 33;
    unsigned int size = sizeof value;
    EXPECT_EQ(device.setProperty(kBrightness, &value, sizeof value), 0);
    value = 0;
    EXPECT_EQ(device.getProperty(kBrightness, &value, &size), 0);
    EXPECT_EQ(value, 33);
    EXPECT_EQ(device.getProperty(kExposure, &value, &size), 0);
    EXPECT_EQ(value, 10);
}

TEST_F(UvcDeviceTest, BadPropertiesAreRefused)
{
    FakeCamera &camera = addNode({V4L2_PIX_FMT_Z16});
    camera.controls = {{kExposure, 10}};
    UvcDevice &device = open();
    std::int32_t value = 1000;
    unsigned int size = sizeof value;
    EXPECT_EQ(device.setProperty(kExposure, &value, sizeof value), -4);
    EXPECT_EQ(device.setProperty(kExposure, &value, 2), -4);
    EXPECT_EQ(device.setProperty(kExposure, nullptr, sizeof value), -4);
    EXPECT_EQ(device.getProperty(kBrightness, &value, &size), -8);
    EXPECT_EQ(device.getProperty(1234, &value, &size), -8);
    EXPECT_EQ(device.setProperty(1234, &value, size), -8);
    EXPECT_EQ(device.getProperty(kExposure, &value, nullptr), -4);
    camera.fail(VIDIOC_S_CTRL, EACCES);
    EXPECT_EQ(device.setProperty(kExposure, &value, sizeof value), -8);
    camera.unplug();
    EXPECT_EQ(device.getProperty(kExposure, &value, &size), -9);
    EXPECT_EQ(device.setProperty(kExposure, &value, size), -9);
}

class ExtensionUnitTest : public UvcDeviceTest {
protected:
    void SetUp() override
    {
        addNode({V4L2_PIX_FMT_Z16}).extension = {1, 2, 3};
        m_device = &open();
    }

    int pass(std::vector<unsigned char> in)
    {
        size = sizeof out;
        return m_device->propertyTranspraentTransmission(
            in.data(), static_cast<unsigned int>(in.size()), out, &size);
    }

    unsigned char out[8] = {};
    unsigned int size = 0;

private:
    UvcDevice *m_device = nullptr;
};

TEST_F(ExtensionUnitTest, ReadsAControlOfASizeThatTheCameraKnows)
{
    ASSERT_EQ(pass({0x81, 4, 2, 0, 0, 0}), 0);
    EXPECT_EQ(size, 3U);
    EXPECT_THAT(std::vector<int>(out, out + 3), ElementsAre(1, 2, 3));
}

TEST_F(ExtensionUnitTest, WritesAControlAndReadsItBack)
{
    ASSERT_EQ(pass({0x01, 4, 2, 0, 3, 0, 7, 8, 9}), 0);
    EXPECT_EQ(size, 0U);
    ASSERT_EQ(pass({0x81, 4, 2, 0, 3, 0}), 0);
    EXPECT_THAT(std::vector<int>(out, out + 3), ElementsAre(7, 8, 9));
}

TEST_F(ExtensionUnitTest, ReadsTheSizeOfAControl)
{
    ASSERT_EQ(pass({0x85, 4, 2, 0, 0, 0}), 0);
    EXPECT_EQ(size, 2U);
    EXPECT_EQ(out[0], 3);
}

TEST_F(ExtensionUnitTest, RefusesInvalidRequests)
{
    EXPECT_EQ(pass({0x81, 4, 2, 0, 0}), -4);           // header incomplete
    EXPECT_EQ(pass({0x01, 4, 2, 0, 3, 0, 7, 8}), -4);  // data missing
    EXPECT_EQ(pass({0x81, 4, 2, 1, 0, 0}), -4);        // no such node
    EXPECT_EQ(pass({0x81, 4, 2, 0, 9, 0}), -4);        // output too small
    EXPECT_EQ(pass({0x81, 4, 2, 0, 2, 0}), -4);        // wrong size
    EXPECT_EQ(pass({0x81, 5, 2, 0, 0, 0}), -8);        // no such unit
}

}  // namespace
}  // namespace nubrix::uvc
