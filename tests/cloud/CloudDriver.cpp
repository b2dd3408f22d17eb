// A driver with one camera that makes "point clouds" of what it was asked.
#include <cstdio>

#include "nubrix/driver.h"

namespace {

class CloudDevice final : public NubrixBaseDevice {
public:
    int createStream(unsigned int, NubrixBaseStream **) override { return -8; }
    int destroyStream(NubrixBaseStream **) override { return -8; }
    int deviceState() override { return NUBRIX_DEVICE_CONNECTED; }
    int keepLiveState() override { return 1; }
    /// The arguments, in order; the status is the first depth, negative.
    int convertDepthToPointCloud2(const unsigned short *depth, unsigned int width,
                                  unsigned int height, float s, float fx, float fy, float cx,
                                  float cy, typedefNubrixPoint3D *points, unsigned int pixelType,
                                  bool limitRange) override
    {
        points[0] = {static_cast<float>(width), static_cast<float>(height), s};
        points[1] = {fx, fy, cx};
        points[2] = {cy, static_cast<float>(pixelType), limitRange ? 1.0F : 0.0F};
        return -static_cast<int>(*depth);
    }
    int getSupportFrameMode(unsigned int, const typedefNubrixFrameMode **, unsigned int *) override
    {
        return -8;
    }
    int setFrameMode(unsigned int, const typedefNubrixFrameMode &, bool) override { return -8; }
    typedefNubrixFrameMode *getCurrentFrameMode(unsigned int) override { return nullptr; }
    const char *getDeviceId() override { return "usb:cloud"; }
    int getDeviceKind() override { return 0; }
};

class CloudDriver final : public NubrixBaseDriver {
public:
    int initialize() override { return 0; }
    int setDeviceStateCallback(nubrix::DriverStateCallback, void *) override { return 0; }
    int getDeviceList(typedefNubrixeviceAttribute *records, unsigned int *count) override
    {
        records[0] = {};
        records[0].transport = 1;
        std::snprintf(records[0].uri, sizeof(records[0].uri), "usb:cloud");
        *count = 1;
        return 0;
    }
    int openDevice(const char *, NubrixBaseDevice **device) override
    {
        *device = new CloudDevice;
        return 0;
    }
    int closeDevice(NubrixBaseDevice **device) override
    {
        delete *device;
        *device = nullptr;
        return 0;
    }
};

}  // namespace

extern "C" NUBRIX_API nubrix::NubrixBaseDriver *driverInstance()
{
    return new CloudDriver;
}

extern "C" NUBRIX_API void driverDestroy(nubrix::NubrixBaseDriver *driver)
{
    delete driver;
}
