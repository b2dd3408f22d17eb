// One image source of a camera: the driver's stream, its frame pool and its listeners.
#pragma once

#include <atomic>
#include <cstdint>

#include "base/CriticalSectionImpl.h"
#include "base/sigslot.h"
#include "nubrix/driver.h"
#include "stream/DataPreProcess.h"
#include "stream/FrameAllocator.h"

namespace nubrix {

class Device;

/// Shared by all video streams of one type of one device: the first start and the last stop act on
/// the driver. Any thread; start and stop may block in the driver.
class Sensor final {
public:
    using NewFrameSignal = sigslot::signal1<NubrixFrameRef *, sigslot::multi_threaded_local>;

    /// `type` is a NubrixStreamType.
    Sensor(Device &device, unsigned int type);
    ~Sensor();
    Sensor(const Sensor &) = delete;
    Sensor &operator=(const Sensor &) = delete;

    /// 0; -8 when the device gives no driver stream; or what the driver's start returned. The start
    /// counts even when it failed, but not when it throws.
    int start();
    /// The sensor counts as started when it throws.
    void stop();
    /// Forgets and returns the driver's stream, which ends with the driver's device; null without
    /// one. Waits for a start or stop that is under way; a later one does not reach the driver.
    NubrixBaseStream *detachDriverStream();
    /// Uses a stream of detachDriverStream again, because closing the device has failed.
    void attachDriverStream(NubrixBaseStream *stream);

    /// Hands a frame to every connected stream, on this thread. Takes no reference.
    void onNewFrame(NubrixFrameRef *frame)
    {
        if (!m_newFrame.emit(frame))
            m_unclaimedCount.fetch_add(1, std::memory_order_relaxed);
    }
    static void onNewFrameCallBackFunc(NubrixFrameRef *frame, void *context);

    NewFrameSignal &newFrameSignal() { return m_newFrame; }
    unsigned int type() const { return m_type; }
    /// What the ledgers of its streams share: the frames that arrived while no stream was
    /// connected, and the pool.
    std::uint64_t unclaimedCount() const { return m_unclaimedCount; }
    FrameAllocator &pool() { return m_pool; }

private:
    int startDriverStream() NUBRIX_REQUIRES(m_lock);
    bool prepareDriverStream() NUBRIX_REQUIRES(m_lock);

    NewFrameSignal m_newFrame;  // first, so that it dies last
    Device &m_device;
    const unsigned int m_type;
    CriticalSectionImpl m_lock;
    NubrixBaseStream *m_driverStream NUBRIX_GUARDED_BY(m_lock) = nullptr;  // the driver's
    bool m_started NUBRIX_GUARDED_BY(m_lock) = false;
    unsigned int m_startCount NUBRIX_GUARDED_BY(m_lock) = 0;
    std::atomic<std::uint64_t> m_unclaimedCount{0};
    FrameAllocator m_pool;
    const bool m_usePreProcess = false;  // frames go straight from the driver to the streams
    DataPreProcess m_preProcess;
};

}  // namespace nubrix
