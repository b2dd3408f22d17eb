// Cameras whose drivers answer against their contract.
#include <gtest/gtest.h>

#include "device/Device.h"

namespace nubrix {
namespace {

// A camera that returns a stream together with a failure, and has no identifier.
class OddDevice final : public NubrixBaseDevice {
public:
    int createStream(unsigned int, NubrixBaseStream **stream) override
    {
        *stream = reinterpret_cast<NubrixBaseStream *>(this);
        return -1;
    }
    int destroyStream(NubrixBaseStream **stream) override
    {
        destroyed = *stream;
        *stream = nullptr;
        return 0;
    }
    int deviceState() override { return 0; }
    int keepLiveState() override { return 1; }
    int getSupportFrameMode(unsigned int, const typedefNubrixFrameMode **, unsigned int *) override
    {
        return 0;
    }
    int setFrameMode(unsigned int, const typedefNubrixFrameMode &, bool) override { return 0; }
    typedefNubrixFrameMode *getCurrentFrameMode(unsigned int) override { return nullptr; }
    const char *getDeviceId() override { return nullptr; }
    int getDeviceKind() override { return 0; }

    NubrixBaseStream *destroyed = nullptr;
};

class OddDriver final : public NubrixBaseDriver {
public:
    int initialize() override { return 0; }
    int setDeviceStateCallback(DriverStateCallback, void *) override { return 0; }
    int getDeviceList(typedefNubrixeviceAttribute *, unsigned int *) override { return 0; }
    int openDevice(const char *, NubrixBaseDevice **out) override { return *out = &device, 0; }
    int openDeviceByFd(unsigned int, unsigned int, int, const char *,
                       NubrixBaseDevice **out) override
    {
        return *out = &device, 0;
    }
    int closeDevice(NubrixBaseDevice **) override { return 0; }

    OddDevice device;
};

TEST(OddDeviceTest, WhatTheDriverWritesIsTheStreamWhateverItSays)
{
    OddDriver driver;
    Device device(driver);
    ASSERT_EQ(device.open("odd"), 0);
    NubrixBaseStream *const stream = device.createDriverStream(1);
    EXPECT_EQ(stream, reinterpret_cast<NubrixBaseStream *>(&driver.device));
    device.destroyDriverStream(stream);
    EXPECT_EQ(driver.device.destroyed, stream);
}

TEST(OddDeviceTest, ACameraWithoutAnIdentifierHasAnEmptyOne)
{
    OddDriver driver;
    Device device(driver);
    EXPECT_EQ(device.open2(1, 2, 3, "/dev/x"), 0);
    EXPECT_EQ(device.deviceId(), "");
    EXPECT_EQ(device.deviceState(), 0);
}

}  // namespace
}  // namespace nubrix
