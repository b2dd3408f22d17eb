#include "tests/fakes/FakeStream.h"

#include <algorithm>
#include <chrono>
#include <cstring>

namespace nubrix {

FakeStream::FakeStream(FakeDriver &driver, const std::string &deviceId, unsigned int streamType)
    : m_driver(driver),
      m_name(deviceId + " stream " + std::to_string(streamType) + " "),
      m_type(streamType)
{
}

FakeStream::~FakeStream()
{
    halt();
}

void FakeStream::record(const char *operation)
{
    m_driver.record(m_name + operation);
}

bool FakeStream::deliver(const FakeFrame &frame)
{
    const std::lock_guard<std::mutex> guard(m_delivery);
    if (!m_running || !m_allocator || !m_callback)
        return false;
    NubrixFrameRef *const pooled = m_allocator->allocOneFrame();
    if (!pooled)
        return false;
    typedefNubrixFrame &record = pooled->frame();
    record.pixelFormat = frame.pixelFormat;
    record.streamType = frame.streamType.value_or(m_type);
    record.frameIndex = frame.index;
    record.timestampLow = static_cast<unsigned int>(frame.timestampUs);
    record.timestampHigh = static_cast<unsigned int>(frame.timestampUs >> 32);
    record.flags = frame.flags;
    record.width = frame.width;
    record.height = frame.height;
    record.reserved = frame.reserved;
    record.dataSize =
        std::min(pooled->bufferSize(), static_cast<unsigned int>(frame.pixels.size()));
    if (record.dataSize != 0)
        std::memcpy(record.data, frame.pixels.data(), record.dataSize);
    m_callback(pooled, m_user);
    pooled->release();
    return true;
}

void FakeStream::halt()
{
    m_running = false;
    if (m_thread.joinable())
        m_thread.join();
    const std::lock_guard<std::mutex> deliveryIsOver(m_delivery);
}

unsigned int FakeStream::getFrameBufferSize()
{
    record("getFrameBufferSize");
    return m_driver.frameBufferSize;
}

int FakeStream::setFrameAllocator(FrameAllocatorInterfaceBase *allocator)
{
    record("setFrameAllocator");
    const std::lock_guard<std::mutex> guard(m_delivery);
    m_allocator = allocator;
    return 0;
}

int FakeStream::setFrameCallback(DriverFrameCallback callback, void *user)
{
    record("setFrameCallback");
    const std::lock_guard<std::mutex> guard(m_delivery);
    m_callback = callback;
    m_user = user;
    return 0;
}

int FakeStream::start()
{
    record("start");
    if (const int failed = m_driver.results.start)
        return failed;
    m_running = true;
    if (m_driver.freeRunning)
        m_thread = std::thread(&FakeStream::runFreely, this);
    return 0;
}

void FakeStream::runFreely()
{
    for (FakeFrame frame; m_running; ++frame.index) {
        deliver(frame);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

int FakeStream::stop()
{
    record("stop");
    halt();
    return m_driver.results.stop;
}

}  // namespace nubrix
