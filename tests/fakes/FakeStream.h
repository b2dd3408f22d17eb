// The stream of a fake device.
#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <thread>

#include "nubrix/driver.h"
#include "tests/fakes/FakeDriver.h"

namespace nubrix {

/// Shared by its device and by who delivers through it, so that a delivery may outlast the device.
class FakeStream final : public NubrixBaseStream {
public:
    FakeStream(FakeDriver &driver, const std::string &deviceId, unsigned int streamType);
    ~FakeStream() override;

    unsigned int type() const { return m_type; }
    bool running() const { return m_running; }
    bool deliver(const FakeFrame &frame);
    /// Ends delivery; the library's stop, and what is left to do when the device goes.
    void halt();

    unsigned int getFrameBufferSize() override;
    int setFrameAllocator(FrameAllocatorInterfaceBase *allocator) override;
    int setFrameCallback(DriverFrameCallback callback, void *user) override;
    int start() override;
    int stop() override;

private:
    void record(const char *operation);
    void runFreely();

    FakeDriver &m_driver;
    const std::string m_name;  // as calls are recorded
    const unsigned int m_type;
    std::atomic<bool> m_running{false};
    std::mutex m_delivery;  // held while the callback runs, so that a stop waits for it
    FrameAllocatorInterfaceBase *m_allocator = nullptr;  // these three are under m_delivery
    DriverFrameCallback m_callback = nullptr;
    void *m_user = nullptr;
    std::thread m_thread;  // while it runs freely
};

}  // namespace nubrix
