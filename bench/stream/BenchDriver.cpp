// A driver whose frames come on command, on the thread that commands.
#include "bench/stream/BenchDriver.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "nubrix/driver.h"

namespace {

typedefNubrixFrameMode g_mode = {NUBRIX_PIXEL_DEPTH_MM, 640, 480, 30};

class BenchStream;
std::vector<BenchStream *> g_running;
BenchHook g_keepLiveHook = nullptr;
void *g_keepLiveUser = nullptr;

class BenchStream final : public NubrixBaseStream {
public:
    explicit BenchStream(unsigned int type) : m_type(type) {}

    unsigned int getFrameBufferSize() override
    {
        const unsigned int bytesPerPixel = m_type == NUBRIX_STREAM_COLOR ? 3 : 2;
        return bytesPerPixel * g_mode.width * g_mode.height;
    }
    int setFrameAllocator(FrameAllocatorInterfaceBase *allocator) override
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
        g_running.push_back(this);
        return 0;
    }
    int stop() override
    {
        std::erase(g_running, this);
        return 0;
    }

    bool deliver()
    {
        NubrixFrameRef *const frame = m_allocator->allocOneFrame();
        if (!frame)
            return false;
        typedefNubrixFrame &record = frame->frame();
        record.pixelFormat = g_mode.pixelFormat;
        record.streamType = m_type;
        record.frameIndex = m_index++;
        record.width = g_mode.width;
        record.height = g_mode.height;
        record.dataSize = frame->bufferSize();
        m_callback(frame, m_user);
        frame->release();
        return true;
    }

private:
    const unsigned int m_type;
    FrameAllocatorInterfaceBase *m_allocator = nullptr;
    nubrix::DriverFrameCallback m_callback = nullptr;
    void *m_user = nullptr;
    unsigned int m_index = 0;
};

class BenchDevice final : public NubrixBaseDevice {
public:
    explicit BenchDevice(const char *uri) : m_uri(uri) {}

    int createStream(unsigned int type, NubrixBaseStream **stream) override
    {
        *stream = new BenchStream(type);
        return 0;
    }
    int destroyStream(NubrixBaseStream **stream) override
    {
        delete *stream;
        return 0;
    }
    int deviceState() override { return NUBRIX_DEVICE_CONNECTED; }
    int keepLiveState() override
    {
        if (g_keepLiveHook)
            g_keepLiveHook(g_keepLiveUser);
        return 1;
    }
    int getSupportFrameMode(unsigned int, const typedefNubrixFrameMode **modes,
                            unsigned int *count) override
    {
        *modes = &g_mode;
        *count = 1;
        return 0;
    }
    int setFrameMode(unsigned int, const typedefNubrixFrameMode &, bool) override { return 0; }
    typedefNubrixFrameMode *getCurrentFrameMode(unsigned int) override { return &g_mode; }
    const char *getDeviceId() override { return m_uri.c_str(); }
    int getDeviceKind() override { return 0; }

private:
    const std::string m_uri;
};

class BenchDriver final : public NubrixBaseDriver {
public:
    int initialize() override { return 0; }
    int setDeviceStateCallback(nubrix::DriverStateCallback, void *) override { return 0; }
    int getDeviceList(typedefNubrixeviceAttribute *records, unsigned int *count) override
    {
        for (unsigned int i = 0; i < kBenchDevices; ++i) {
            typedefNubrixeviceAttribute record = {};
            record.transport = 1;
            std::snprintf(record.uri, sizeof(record.uri), "usb:bench-%u", i);
            std::memcpy(&records[i], &record, sizeof(record));
        }
        *count = kBenchDevices;
        return 0;
    }
    int openDevice(const char *uri, NubrixBaseDevice **device) override
    {
        *device = new BenchDevice(uri);
        return 0;
    }
    int closeDevice(NubrixBaseDevice **device) override
    {
        delete *device;
        return 0;
    }
};

}  // namespace

extern "C" NUBRIX_API nubrix::NubrixBaseDriver *driverInstance()
{
    return new BenchDriver;
}

extern "C" NUBRIX_API void driverDestroy(nubrix::NubrixBaseDriver *driver)
{
    delete driver;
}

extern "C" NUBRIX_API bool benchDeliver(unsigned int stream)
{
    return g_running[stream]->deliver();
}

extern "C" NUBRIX_API void benchSetKeepLiveHook(BenchHook hook, void *user)
{
    g_keepLiveUser = user;
    g_keepLiveHook = hook;
}

extern "C" NUBRIX_API void benchSetSize(int width, int height)
{
    g_mode.width = static_cast<unsigned short>(width);
    g_mode.height = static_cast<unsigned short>(height);
}
