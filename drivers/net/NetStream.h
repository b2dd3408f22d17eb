// One stream of an opened network camera.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>

#include "net/StreamSession.h"
#include "nubrix/driver.h"

namespace nubrix {

class NetDevice;

/// The operations come one at a time; the queries may be used on any thread.
class NetStream final : public NubrixBaseStream {
public:
    NetStream(NetDevice &device, unsigned int streamType);
    ~NetStream() override;

    unsigned int getFrameBufferSize() override;
    int setFrameAllocator(FrameAllocatorInterfaceBase *allocator) override;
    int setFrameCallback(DriverFrameCallback callback, void *user) override;
    /// -2 when it runs, lacks allocator or callback, or another stream of the camera runs; -9 when
    /// the camera is gone or does not answer; -4 when it refuses the mode.
    int start() override;
    /// 0 also when it does not run; -2 from within the frame callback.
    int stop() override;

    unsigned int type() const { return m_streamType; }
    bool isRunning() const { return m_running; }
    StreamCounters counters() const;

private:
    NetDevice &m_device;
    const unsigned int m_streamType;
    FrameAllocatorInterfaceBase *m_allocator = nullptr;  // changed only while it does not run
    DriverFrameCallback m_callback = nullptr;
    void *m_user = nullptr;
    std::atomic<bool> m_running{false};
    mutable std::mutex m_lock;
    std::shared_ptr<StreamSession> m_session;  // under m_lock; stays after the stop
};

}  // namespace nubrix
