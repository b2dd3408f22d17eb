// One stream of an opened virtual camera.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

#include "common/DriverStream.h"
#include "common/DriverThreads.h"
#include "nubrix/driver.h"
#include "virtual/CameraClock.h"
#include "virtual/FaultPlan.h"
#include "virtual/FrameSource.h"

namespace nubrix::virtual_camera {

class VirtualCamera;

/// The delivery of frames from one start of a stream to its stop. The stream and its thread share
/// it, because a frame callback may stop the stream or destroy it together with its device.
/// Therefore it refers to nothing that may be destroyed by then, and uses neither pool nor callback
/// after end(). Thread-safe, except deliver.
class StreamRun {
public:
    struct Setup {
        VirtualCamera &camera;  ///< lives until the threads of the driver have been joined
        std::shared_ptr<OpenState> state;
        unsigned int streamType;
        unsigned int upgrades;  ///< upgrades of the camera before this start
        typedefNubrixFrameMode mode;
        CameraClock::Place place;
        FrameAllocatorInterfaceBase *allocator;
        DriverFrameCallback callback;
        void *user;
    };

    explicit StreamRun(Setup setup);

    /// Delivers frames until end(), until the camera is unplugged, or until an upgrade begins.
    /// Throws nothing.
    void deliver();
    /// Makes deliver return soon. On the delivering thread, the callback is not called again.
    void end();
    /// Makes deliver check at once for a seek or an upgrade.
    void wake();
    /// Index of the frame that comes next.
    std::uint32_t nextFrame() const { return m_next; }
    StreamCounters counters() const { return m_counters.now(); }

private:
    using Time = std::chrono::steady_clock::time_point;

    std::uint32_t firstFrame() const;
    /// Performs a pending seek, and reads the metadata of the frame at that position.
    void lookUpRecorded(std::uint32_t &frameIndex);
    /// Delivers or skips one frame, from `frameIndex` on, and advances the index. False at the end.
    bool runFrame(std::uint32_t &frameIndex);
    Time nextCapture(std::uint32_t &frameIndex);
    /// Leaves `frame` empty when the pool is exhausted or the image is missing. False at the end.
    bool render(std::uint32_t frameIndex, FramePtr &frame);
    NubrixFrameRef *takeFrame();
    void deliverFrame(NubrixFrameRef &frame, std::uint32_t frameIndex, Time capture,
                      const FrameEffects &effects);
    void fillRecord(typedefNubrixFrame &record, std::uint32_t frameIndex, Time capture,
                    const FrameEffects &effects) const;
    /// Pauses the delivery; empty: until it ends.
    void stall(const std::optional<std::uint32_t> &ms);
    void awaitReturn(NubrixFrameRef &frame);
    /// Sleeps until a time (null: without limit); returns early at the end, on an upgrade or on a
    /// seek.
    void sleepUntil(const Time *until);
    bool isEnding() const;
    bool isUpgraded() const;
    bool isSeekPending() const;
    bool isFreePacing() const;
    bool isRecorded() const;

    const Setup m_setup;
    const unsigned int m_frameRate;
    CameraClock::Place m_place;
    std::optional<RecordedFrame> m_recorded;
    RunningCounters m_counters;
    bool m_isPoolEmpty = false;  // when a frame was last taken
    std::atomic<std::uint32_t> m_next{0};
    mutable std::mutex m_lock;
    std::condition_variable m_wake;
    bool m_ended = false;  // under m_lock
};

class VirtualDevice;

/// The operations are called one at a time; the queries and wake on any thread.
class VirtualStream final : public DriverStream {
public:
    VirtualStream(VirtualDevice &device, unsigned int streamType);
    /// May be called from within the frame callback, as stop.
    ~VirtualStream() override;

    unsigned int getFrameBufferSize() override;
    /// -2 when it runs, lacks allocator or callback, or the camera is being upgraded; -9 when the
    /// camera has been unplugged; -1 when there is no thread or memory; or the status of a fault.
    int start() override;
    /// 0, also when it does not run. From within the frame callback it does not wait: the frame
    /// that is being delivered is the last one, and stays in use until the callback returns.
    int stop() override;

    /// Index of the frame that comes next while it runs.
    std::uint32_t nextFrame() const;
    /// Makes the delivery check at once for a seek or an upgrade.
    void wake();
    StreamCounters counters() const override;

private:
    int begin(const typedefNubrixFrameMode &mode, unsigned int upgrades);

    VirtualDevice &m_device;
    mutable std::mutex m_lock;
    std::shared_ptr<StreamRun>
        m_run;                       // of the last start; written, and read elsewhere, under m_lock
    DriverThreads::Handle m_thread;  // as m_run
};

}  // namespace nubrix::virtual_camera
