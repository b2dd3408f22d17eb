// What streams of all drivers have: a type, the pool of their frames, a receiver, counters.
#pragma once

#include <atomic>
#include <memory>

#include "common/CameraProperties.h"
#include "common/Report.h"
#include "nubrix/driver.h"

namespace nubrix {

struct FrameReleaser {
    void operator()(NubrixFrameRef *frame) const { frame->release(); }
};

/// Owns a reference to a frame of the pool.
using FramePtr = std::unique_ptr<NubrixFrameRef, FrameReleaser>;

// The bits of typedefNubrixFrame::flags that drivers set.
constexpr unsigned int kFrameFlagShort = 1;  ///< pixels at the end are missing
constexpr unsigned int kFrameFlagEmpty = 2;
constexpr unsigned int kFrameFlagWrongType = 4;
constexpr unsigned int kFrameFlagDamaged = 8;  ///< the camera or the cable corrupted some pixels

/// As thread-safe as the class that derives from it.
class DriverStream : public NubrixBaseStream {
public:
    /// -2 while it runs.
    int setFrameAllocator(FrameAllocatorInterfaceBase *allocator) final
    {
        if (m_running)
            return kWrongState;
        m_allocator = allocator;
        return kDone;
    }
    /// -2 while it runs.
    int setFrameCallback(DriverFrameCallback callback, void *user) final
    {
        if (m_running)
            return kWrongState;
        m_callback = callback;
        m_user = user;
        return kDone;
    }

    unsigned int type() const { return m_streamType; }
    bool isRunning() const { return m_running; }
    /// False for a stream that runs and has had no frame for too long.
    virtual bool isResponsive() const { return true; }
    /// Since the last start.
    virtual StreamCounters counters() const { return {}; }

protected:
    explicit DriverStream(unsigned int streamType) : m_streamType(streamType) {}

    /// The stream does not run, and has a pool and a receiver.
    bool mayStart() const { return !m_running && m_allocator != nullptr && m_callback != nullptr; }

    const unsigned int m_streamType;
    FrameAllocatorInterfaceBase *m_allocator = nullptr;  // these three: fixed while it runs
    DriverFrameCallback m_callback = nullptr;
    void *m_user = nullptr;
    std::atomic<bool> m_running{false};
};

}  // namespace nubrix
