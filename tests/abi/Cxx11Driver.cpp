// A driver as its author writes it: C++11, the public headers, and no library.
#include "nubrix/driver.h"

namespace {

class Stream final : public nubrix::NubrixBaseStream {
public:
    unsigned int getFrameBufferSize() override { return 4; }
    int setFrameAllocator(nubrix::FrameAllocatorInterfaceBase *allocator) override
    {
        m_allocator = allocator;
        return 0;
    }
    int setFrameCallback(nubrix::DriverFrameCallback callback, void *user) override
    {
        m_callback = callback;
        m_user = user;
        return 0;
    }
    int start() override
    {
        nubrix::NubrixFrameRef *const frame = m_allocator->allocOneFrame();
        if (!frame)
            return -1;
        frame->frame().dataSize = frame->bufferSize();
        m_callback(frame, m_user);
        frame->release();
        return 0;
    }
    int stop() override { return 0; }

private:
    nubrix::FrameAllocatorInterfaceBase *m_allocator = nullptr;
    nubrix::DriverFrameCallback m_callback = nullptr;
    void *m_user = nullptr;
};

class Device final : public nubrix::NubrixBaseDevice {
public:
    int createStream(unsigned int, nubrix::NubrixBaseStream **stream) override
    {
        *stream = &m_stream;
        return 0;
    }
    int destroyStream(nubrix::NubrixBaseStream **) override { return 0; }
    int deviceState() override { return NUBRIX_DEVICE_CONNECTED; }
    int keepLiveState() override { return 1; }
    int getSupportFrameMode(unsigned int, const typedefNubrixFrameMode **, unsigned int *) override
    {
        return -8;
    }
    int setFrameMode(unsigned int, const typedefNubrixFrameMode &, bool) override { return -8; }
    typedefNubrixFrameMode *getCurrentFrameMode(unsigned int) override { return nullptr; }
    const char *getDeviceId() override { return "c++11"; }
    int getDeviceKind() override { return 1; }

private:
    Stream m_stream;
};

class Driver final : public nubrix::NubrixBaseDriver {
public:
    int initialize() override { return 0; }
    int setDeviceStateCallback(nubrix::DriverStateCallback, void *) override { return 0; }
    int getDeviceList(typedefNubrixeviceAttribute *records, unsigned int *count) override
    {
        records[0] = typedefNubrixeviceAttribute();
        records[0].transport = 1;
        records[0].uri[0] = 'x';
        *count = 1;
        return 0;
    }
    int openDevice(const char *, nubrix::NubrixBaseDevice **device) override
    {
        *device = &m_device;
        return 0;
    }
    int closeDevice(nubrix::NubrixBaseDevice **) override { return 0; }

private:
    Device m_device;
};

}  // namespace

extern "C" {

NUBRIX_API nubrix::NubrixBaseDriver *driverInstance();
NUBRIX_API void driverDestroy(nubrix::NubrixBaseDriver *driver);

nubrix::NubrixBaseDriver *driverInstance()
{
    return new Driver;
}

void driverDestroy(nubrix::NubrixBaseDriver *driver)
{
    delete driver;
}
}
