#include "virtual/VirtualDevice.h"

#include <gmock/gmock.h>

#include <cstring>
#include <set>
#include <tuple>

#include "tests/drivers/virtual/VirtualCameraFixture.h"
#include "virtual/Scene.h"

namespace nubrix::virtual_camera {
namespace {

using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

constexpr unsigned int kStreams[] = {NUBRIX_STREAM_COLOR, NUBRIX_STREAM_DEPTH, NUBRIX_STREAM_IR,
                                     NUBRIX_STREAM_LIGHT_IR};

unsigned int formatOf(unsigned int streamType)
{
    if (streamType == NUBRIX_STREAM_COLOR)
        return NUBRIX_PIXEL_RGB888;
    return streamType == NUBRIX_STREAM_DEPTH ? NUBRIX_PIXEL_DEPTH_12_4 : NUBRIX_PIXEL_GREY8;
}

std::vector<typedefNubrixFrameMode> modesOf(NubrixBaseDevice &device, unsigned int streamType)
{
    const typedefNubrixFrameMode *modes = nullptr;
    unsigned int count = 0;
    EXPECT_EQ(device.getSupportFrameMode(streamType, &modes, &count), 0);
    return {modes, modes + count};
}

class VirtualDeviceTest : public VirtualCameraTest {
protected:
    NubrixBaseDevice &openDefault()
    {
        useDefault();
        return *open();
    }
};

TEST_F(VirtualDeviceTest, EveryStreamHasFourSizesAtFourRates)
{
    NubrixBaseDevice &device = openDefault();
    for (const unsigned int streamType : kStreams) {
        std::set<std::tuple<int, int, int>> found;
        for (const auto &mode : modesOf(device, streamType)) {
            EXPECT_EQ(mode.pixelFormat, formatOf(streamType));
            found.emplace(mode.width, mode.height, mode.frameRate);
        }
        std::set<std::tuple<int, int, int>> wanted;
        for (const int rate : {5, 15, 30, 60}) {
            for (const auto &[width, height] : {std::pair(320, 240), std::pair(640, 400),
                                                std::pair(640, 480), std::pair(1280, 800)})
                wanted.emplace(width, height, rate);
        }
        EXPECT_EQ(found, wanted) << "stream " << streamType;
    }
}

TEST_F(VirtualDeviceTest, BeginsWith640x480At30)
{
    NubrixBaseDevice &device = openDefault();
    for (const unsigned int streamType : kStreams) {
        const typedefNubrixFrameMode *mode = device.getCurrentFrameMode(streamType);
        ASSERT_NE(mode, nullptr);
        EXPECT_EQ(mode->pixelFormat, formatOf(streamType));
        EXPECT_EQ(mode->width, 640);
        EXPECT_EQ(mode->height, 480);
        EXPECT_EQ(mode->frameRate, 30);
    }
}

TEST_F(VirtualDeviceTest, BeginsWithTheRateOfTheScenarioWhichIsAModeThen)
{
    useScenario(R"({"frame_rate": 24})");
    NubrixBaseDevice &device = *open();
    EXPECT_EQ(modesOf(device, NUBRIX_STREAM_DEPTH).size(), 20U);
    const typedefNubrixFrameMode *mode = device.getCurrentFrameMode(NUBRIX_STREAM_DEPTH);
    EXPECT_EQ(mode->width, 640);
    EXPECT_EQ(mode->height, 480);
    EXPECT_EQ(mode->frameRate, 24);
}

TEST_F(VirtualDeviceTest, TakesTheModesOfItsTableOnly)
{
    NubrixBaseDevice &device = openDefault();
    for (const auto &mode : modesOf(device, NUBRIX_STREAM_IR)) {
        EXPECT_EQ(device.setFrameMode(NUBRIX_STREAM_IR, mode, false), 0);
        EXPECT_EQ(std::memcmp(device.getCurrentFrameMode(NUBRIX_STREAM_IR), &mode, 9), 0);
    }
    const typedefNubrixFrameMode good = {NUBRIX_PIXEL_GREY8, 640, 400, 15};
    ASSERT_EQ(device.setFrameMode(NUBRIX_STREAM_IR, good, false), 0);
    typedefNubrixFrameMode bad = good;
    bad.frameRate = 14;
    EXPECT_EQ(device.setFrameMode(NUBRIX_STREAM_IR, bad, false), -4);
    bad = good;
    bad.width = 641;
    EXPECT_EQ(device.setFrameMode(NUBRIX_STREAM_IR, bad, false), -4);
    bad = good;
    bad.height = 240;
    EXPECT_EQ(device.setFrameMode(NUBRIX_STREAM_IR, bad, false), -4);
    bad = good;
    bad.pixelFormat = NUBRIX_PIXEL_RGB888;
    EXPECT_EQ(device.setFrameMode(NUBRIX_STREAM_IR, bad, false), -4);
    EXPECT_EQ(device.getCurrentFrameMode(NUBRIX_STREAM_IR)->height, 400);
    EXPECT_EQ(device.getCurrentFrameMode(NUBRIX_STREAM_COLOR)->height, 480);
}

TEST_F(VirtualDeviceTest, RefusesANewModeWhileTheStreamRunsAndTakesItAfterwards)
{
    NubrixBaseDevice &device = openDefault();
    TestStream stream(device, NUBRIX_STREAM_IR);
    ASSERT_EQ(stream.start(), 0);
    const typedefNubrixFrameMode mode = {NUBRIX_PIXEL_GREY8, 320, 240, 60};
    EXPECT_EQ(device.setFrameMode(NUBRIX_STREAM_IR, mode, false), -2);
    EXPECT_EQ(device.setFrameMode(NUBRIX_STREAM_LIGHT_IR, mode, false), 0);
    EXPECT_EQ(stream.stop(), 0);
    EXPECT_EQ(device.setFrameMode(NUBRIX_STREAM_IR, mode, true), 0);
    EXPECT_EQ(stream->getFrameBufferSize(), 320U * 240U);
}

TEST_F(VirtualDeviceTest, RefusesStreamTypesItDoesNotHave)
{
    NubrixBaseDevice &device = openDefault();
    const typedefNubrixFrameMode mode = {NUBRIX_PIXEL_GREY8, 640, 480, 30};
    const typedefNubrixFrameMode *modes = nullptr;
    unsigned int count = 9;
    NubrixBaseStream *stream = nullptr;
    for (const unsigned int streamType : {0U, 3U, 8U, 16U, 33U, 64U}) {
        EXPECT_EQ(device.createStream(streamType, &stream), -4);
        EXPECT_EQ(device.setFrameMode(streamType, mode, false), -4);
        EXPECT_EQ(device.getSupportFrameMode(streamType, &modes, &count), -4);
        EXPECT_EQ(device.getCurrentFrameMode(streamType), nullptr);
    }
    EXPECT_EQ(stream, nullptr);
    EXPECT_EQ(device.createStream(NUBRIX_STREAM_IR, nullptr), -4);
    EXPECT_EQ(device.getSupportFrameMode(NUBRIX_STREAM_IR, nullptr, &count), -4);
    EXPECT_EQ(device.getSupportFrameMode(NUBRIX_STREAM_IR, &modes, nullptr), -4);
}

TEST_F(VirtualDeviceTest, HasOneStreamOfATypeAtATime)
{
    NubrixBaseDevice &device = openDefault();
    NubrixBaseStream *first = nullptr;
    NubrixBaseStream *second = nullptr;
    ASSERT_EQ(device.createStream(NUBRIX_STREAM_COLOR, &first), 0);
    EXPECT_EQ(device.createStream(NUBRIX_STREAM_COLOR, &second), -2);
    EXPECT_EQ(second, nullptr);
    EXPECT_EQ(device.destroyStream(&second), -4);
    EXPECT_EQ(device.destroyStream(nullptr), -4);
    EXPECT_EQ(device.destroyStream(&first), 0);
    EXPECT_EQ(first, nullptr);
    EXPECT_EQ(device.createStream(NUBRIX_STREAM_COLOR, &second), 0);
    EXPECT_EQ(device.closeAllStreams(), 0);
    EXPECT_EQ(device.createStream(NUBRIX_STREAM_COLOR, &first), 0);
}

TEST_F(VirtualDeviceTest, ReportsWhatItRefuses)
{
    NubrixBaseDevice &device = openDefault();
    NubrixBaseStream *stream = nullptr;
    ASSERT_EQ(device.createStream(NUBRIX_STREAM_COLOR, &stream), 0);
    CaptureStderr();
    EXPECT_EQ(device.createStream(NUBRIX_STREAM_COLOR, &stream), -2);
    EXPECT_EQ(device.setFrameMode(NUBRIX_STREAM_IR, {NUBRIX_PIXEL_GREY8, 640, 480, 31}, false), -4);
    const std::string subject = "nubrix virtual camera: usb:virtual-VIRT0001 ";
    EXPECT_EQ(
        GetCapturedStderr(),
        subject + "has its color stream open already\n" + subject +
            "ir: frameRate 31 is not available for 640x480 at 31 frames/s, the nearest mode is "
            "640x480 at 30 frames/s with pixelFormat " +
            std::to_string(NUBRIX_PIXEL_GREY8) + "\n");
}

TEST_F(VirtualDeviceTest, ReturnsItsVersionsAndSerialNumber)
{
    NubrixBaseDevice &device = openDefault();
    unsigned char record[100];
    std::memset(record, 0xEE, sizeof record);
    unsigned int size = sizeof record;
    ASSERT_EQ(device.getProperty(NUBRIX_PROPERTY_VERSION, record, &size), 0);
    EXPECT_EQ(size, 82U);
    NubrixVersions versions;
    std::memcpy(&versions, record, sizeof versions);
    EXPECT_EQ(versions.sdk[0] + 0, 2);
    EXPECT_EQ(versions.sdk[1] + 0, 0);
    EXPECT_EQ(versions.sdk[2] + 0, 182);
    EXPECT_EQ(versions.firmware[0] + 0, 1);
    EXPECT_STREQ(versions.serialNumber, "VIRT0001");
    EXPECT_EQ(record[82], 0xEE);
}

TEST_F(VirtualDeviceTest, APropertyThatDoesNotFitIsRefusedWithTheSizeItNeeds)
{
    NubrixBaseDevice &device = openDefault();
    unsigned char record[100] = {};
    const std::pair<unsigned int, unsigned int> sizes[] = {
        {NUBRIX_PROPERTY_VERSION, 82U},
        {NUBRIX_PROPERTY_STREAM_FLAG_MODE, 4U},
        {kPropertyIntrinsics + NUBRIX_STREAM_DEPTH, 16U},
        {kPropertyTruth, 24U}};
    for (const auto &[id, needed] : sizes) {
        std::memset(record, 0, sizeof record);
        unsigned int size = needed - 1;
        EXPECT_EQ(device.getProperty(id, record, &size), -4) << id;
        EXPECT_EQ(size, needed);
        EXPECT_EQ(device.getProperty(id, record, &size), 0) << id;
        EXPECT_EQ(size, needed);
        EXPECT_EQ(device.getProperty(id, nullptr, &size), -4);
        EXPECT_EQ(device.getProperty(id, record, nullptr), -4);
    }
}

TEST_F(VirtualDeviceTest, KeepsTheStreamFlagMode)
{
    NubrixBaseDevice &device = openDefault();
    const auto read = [&] {
        unsigned int value = 0;
        unsigned int size = sizeof value;
        EXPECT_EQ(device.getProperty(NUBRIX_PROPERTY_STREAM_FLAG_MODE, &value, &size), 0);
        return value;
    };
    const auto write = [&](unsigned int value, unsigned int size) {
        return device.setProperty(NUBRIX_PROPERTY_STREAM_FLAG_MODE, &value, size);
    };
    EXPECT_EQ(read(), 1U);
    for (unsigned int mode = 4; mode >= 1; --mode) {
        EXPECT_EQ(write(mode, 4), 0);
        EXPECT_EQ(read(), mode);
    }
    EXPECT_EQ(write(3, 4), 0);
    EXPECT_EQ(write(0, 4), -4);
    EXPECT_EQ(write(5, 4), -4);
    EXPECT_EQ(write(2, 3), -4);
    EXPECT_EQ(write(2, 8), -4);
    EXPECT_EQ(device.setProperty(NUBRIX_PROPERTY_STREAM_FLAG_MODE, nullptr, 4), -4);
    EXPECT_EQ(read(), 3U);
}

TEST_F(VirtualDeviceTest, OtherPropertiesAreUnsupported)
{
    NubrixBaseDevice &device = openDefault();
    unsigned char data[100] = {};
    for (const unsigned int id : {0U, 1U, 71U, 73U, 74U, 76U, kPropertyIntrinsics,
                                  kPropertyIntrinsics + 3U, kPropertyTruth + 1U}) {
        unsigned int size = sizeof data;
        EXPECT_EQ(device.getProperty(id, data, &size), -8) << id;
        EXPECT_EQ(device.setProperty(id, data, 4), -8) << id;
    }
    EXPECT_EQ(device.setProperty(NUBRIX_PROPERTY_VERSION, data, 82), -8);
}

TEST_F(VirtualDeviceTest, TheIntrinsicsAreThoseOfTheCurrentMode)
{
    NubrixBaseDevice &device = openDefault();
    CameraIntrinsics intrinsics = {};
    unsigned int size = sizeof intrinsics;
    ASSERT_EQ(device.getProperty(kPropertyIntrinsics + NUBRIX_STREAM_DEPTH, &intrinsics, &size), 0);
    EXPECT_EQ(intrinsics.fx, 520.0F);
    EXPECT_EQ(intrinsics.fy, 520.0F);
    EXPECT_EQ(intrinsics.cx, 319.5F);
    EXPECT_EQ(intrinsics.cy, 239.5F);
    setMode(device, NUBRIX_STREAM_DEPTH, 320, 240, 15);
    ASSERT_EQ(device.getProperty(kPropertyIntrinsics + NUBRIX_STREAM_DEPTH, &intrinsics, &size), 0);
    EXPECT_EQ(intrinsics.fx, 260.0F);
    EXPECT_EQ(intrinsics.cy, 119.5F);
    ASSERT_EQ(device.getProperty(kPropertyIntrinsics + NUBRIX_STREAM_COLOR, &intrinsics, &size), 0);
    EXPECT_EQ(intrinsics.fx, 520.0F);
}

TEST_F(VirtualDeviceTest, ReturnsTheTrueDepthOfAnyPixelOfAnyFrame)
{
    NubrixBaseDevice &device = openDefault();
    setMode(device, NUBRIX_STREAM_DEPTH, 320, 240, 15);
    VirtualTruth truth = {71, 160, 200, 0, 0.0};
    unsigned int size = sizeof truth;
    ASSERT_EQ(device.getProperty(kPropertyTruth, &truth, &size), 0);
    EXPECT_EQ(truth.depthMm, sceneDepthMm(320, 240, 71, 160, 200));
    truth.x = 320;
    EXPECT_EQ(device.getProperty(kPropertyTruth, &truth, &size), -4);
    truth.x = 0;
    truth.y = 240;
    EXPECT_EQ(device.getProperty(kPropertyTruth, &truth, &size), -4);
}

TEST_F(VirtualDeviceTest, MissingFeaturesAreUnsupported)
{
    NubrixBaseDevice &device = openDefault();
    unsigned char data[4] = {};
    unsigned int size = sizeof data;
    EXPECT_EQ(device.propertyTranspraentTransmission(data, 4, data, &size), -8);
    EXPECT_EQ(device.setTemperatureParamsFilePath("file"), -8);
}

}  // namespace
}  // namespace nubrix::virtual_camera
