#include "common/DriverDevice.h"

#include <gmock/gmock.h>

namespace nubrix {
namespace {

using testing::HasSubstr;

class FakeStream final : public DriverStream {
public:
    explicit FakeStream(unsigned int streamType) : DriverStream(streamType) {}

    unsigned int getFrameBufferSize() override { return 1; }
    int start() override
    {
        m_running = true;
        return kDone;
    }
    int stop() override
    {
        m_running = false;
        return kDone;
    }
    bool isResponsive() const override { return responsive; }
    StreamCounters counters() const override { return {7, 0, 0, 0, 0}; }

    bool responsive = true;
};

class FakeDevice final : public DriverDevice {
public:
    FakeDevice() : DriverDevice({"module", "subject"}, "camera 1")
    {
        addStream(m_depth, 1);
        addStream(m_color, 0);
    }
    bool isGone() override { return gone; }
    int getDeviceKind() override { return 1; }

    bool gone = false;
    bool failing = false;
    FakeStream *last = nullptr;

private:
    std::shared_ptr<DriverStream> newStream(unsigned int streamType) override
    {
        if (failing)
            throw std::bad_alloc();
        auto stream = std::make_shared<FakeStream>(streamType);
        last = stream.get();
        return stream;
    }
    NubrixVersions versions() const override { return versionsWith("S1"); }

    const ModeTable m_depth = {NUBRIX_STREAM_DEPTH, {{2, 64, 48, 30}, {2, 32, 24, 30}}};
    const ModeTable m_color = {NUBRIX_STREAM_COLOR};
};

class DriverDeviceTest : public testing::Test {
protected:
    /// Creates a stream, and captures what is reported.
    int create(unsigned int streamType)
    {
        testing::internal::CaptureStderr();
        const int status = device.createStream(streamType, &stream);
        report = testing::internal::GetCapturedStderr();
        return status;
    }
    int setMode(const typedefNubrixFrameMode &mode)
    {
        testing::internal::CaptureStderr();
        const int status = device.setFrameMode(NUBRIX_STREAM_DEPTH, mode, false);
        report = testing::internal::GetCapturedStderr();
        return status;
    }

    FakeDevice device;
    NubrixBaseStream *stream = nullptr;
    std::string report;
};

TEST_F(DriverDeviceTest, OnlyStreamsWithModesAreCreatedOnce)
{
    EXPECT_EQ(create(NUBRIX_STREAM_IR), -4);
    EXPECT_EQ(create(NUBRIX_STREAM_COLOR), -8);
    EXPECT_THAT(report, HasSubstr("subject: camera 1 has no color stream\n"));
    EXPECT_EQ(create(NUBRIX_STREAM_DEPTH), 0);
    EXPECT_EQ(report, "");
    EXPECT_EQ(create(NUBRIX_STREAM_DEPTH), -2);
    EXPECT_THAT(report, HasSubstr("camera 1 has its depth stream open already"));
}

TEST_F(DriverDeviceTest, AStreamThatCannotBeCreatedLeavesItsPlaceFree)
{
    device.failing = true;
    EXPECT_EQ(create(NUBRIX_STREAM_DEPTH), -1);
    device.failing = false;
    EXPECT_EQ(create(NUBRIX_STREAM_DEPTH), 0);
}

TEST_F(DriverDeviceTest, DestroysItsOwnStreamsOnly)
{
    FakeStream other(NUBRIX_STREAM_DEPTH);
    NubrixBaseStream *foreign = &other;
    EXPECT_EQ(device.destroyStream(&foreign), -4);
    ASSERT_EQ(create(NUBRIX_STREAM_DEPTH), 0);
    EXPECT_EQ(device.destroyStream(&stream), 0);
    EXPECT_EQ(stream, nullptr);
    EXPECT_EQ(device.destroyStream(&stream), -4);
    EXPECT_EQ(create(NUBRIX_STREAM_DEPTH), 0);
}

TEST_F(DriverDeviceTest, AModeIsSetUnlessItIsUnknownOrTheStreamRuns)
{
    EXPECT_EQ(device.getCurrentFrameMode(NUBRIX_STREAM_DEPTH)->width, 32);
    EXPECT_EQ(device.getCurrentFrameMode(NUBRIX_STREAM_COLOR), nullptr);
    EXPECT_EQ(setMode({2, 64, 48, 30}), 0);
    EXPECT_EQ(device.mode(NUBRIX_STREAM_DEPTH).width, 64);
    EXPECT_EQ(device.getCurrentFrameMode(NUBRIX_STREAM_DEPTH)->width, 64);
    EXPECT_EQ(setMode({2, 64, 48, 60}), -4);
    EXPECT_THAT(report, HasSubstr("camera 1 depth: frameRate 60"));
    ASSERT_EQ(create(NUBRIX_STREAM_DEPTH), 0);
    ASSERT_EQ(stream->start(), 0);
    EXPECT_EQ(setMode({2, 32, 24, 30}), -2);
    EXPECT_THAT(report, HasSubstr("camera 1 depth runs: stop it"));
    EXPECT_EQ(device.mode(NUBRIX_STREAM_DEPTH).width, 64);
}

TEST_F(DriverDeviceTest, AnUnresponsiveStreamMakesTheCameraUnresponsive)
{
    ASSERT_EQ(create(NUBRIX_STREAM_DEPTH), 0);
    EXPECT_EQ(device.keepLiveState(), 1);
    device.last->responsive = false;
    EXPECT_EQ(device.keepLiveState(), 0);
    EXPECT_EQ(device.deviceState(), NUBRIX_DEVICE_CONNECTED);
}

TEST_F(DriverDeviceTest, ADetachedCameraRefusesEverything)
{
    device.gone = true;
    EXPECT_EQ(create(NUBRIX_STREAM_DEPTH), -9);
    EXPECT_EQ(setMode({2, 64, 48, 30}), -9);
    unsigned int value = 2;
    unsigned int size = sizeof value;
    EXPECT_EQ(device.setProperty(NUBRIX_PROPERTY_STREAM_FLAG_MODE, &value, sizeof value), -9);
    EXPECT_EQ(device.getProperty(NUBRIX_PROPERTY_STREAM_FLAG_MODE, &value, &size), -9);
    EXPECT_EQ(device.keepLiveState(), 0);
    EXPECT_EQ(device.deviceState(), NUBRIX_DEVICE_DISCONNECTED);
}

TEST_F(DriverDeviceTest, HasAVersionRecordAStreamFlagModeAndCounters)
{
    NubrixVersions versions = {};
    unsigned int size = 0;
    EXPECT_EQ(device.getProperty(NUBRIX_PROPERTY_VERSION, &versions, &size), -4);
    ASSERT_EQ(size, sizeof versions);
    EXPECT_EQ(device.getProperty(NUBRIX_PROPERTY_VERSION, &versions, &size), 0);
    EXPECT_STREQ(static_cast<const char *>(versions.serialNumber), "S1");
    unsigned int mode = 5;
    EXPECT_EQ(device.setProperty(NUBRIX_PROPERTY_STREAM_FLAG_MODE, &mode, sizeof mode), -4);
    mode = 3;
    EXPECT_EQ(device.setProperty(NUBRIX_PROPERTY_STREAM_FLAG_MODE, &mode, sizeof mode), 0);
    mode = 0;
    size = sizeof mode;
    EXPECT_EQ(device.getProperty(NUBRIX_PROPERTY_STREAM_FLAG_MODE, &mode, &size), 0);
    EXPECT_EQ(mode, 3U);
    StreamCounters counters = {1, 1, 1, 1, 1};
    size = sizeof counters;
    constexpr unsigned int kDepthCounters = NUBRIX_PROPERTY_STREAM_COUNTERS + NUBRIX_STREAM_DEPTH;
    EXPECT_EQ(device.getProperty(kDepthCounters, &counters, &size), 0);
    EXPECT_EQ(counters.delivered, 0U);
    ASSERT_EQ(create(NUBRIX_STREAM_DEPTH), 0);
    EXPECT_EQ(device.getProperty(kDepthCounters, &counters, &size), 0);
    EXPECT_EQ(counters.delivered, 7U);
    device.gone = true;
    counters.delivered = 0;
    EXPECT_EQ(device.getProperty(kDepthCounters, &counters, &size), 0)
        << "of a camera that is gone";
    EXPECT_EQ(counters.delivered, 7U);
    EXPECT_EQ(device.getProperty(NUBRIX_PROPERTY_STREAM_COUNTERS + 64, &counters, &size), -9);
}

}  // namespace
}  // namespace nubrix
