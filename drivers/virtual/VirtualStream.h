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
#include "common/FrameFlags.h"
#include "common/FramePtr.h"
#include "nubrix/driver.h"
#include "virtual/CameraClock.h"
#include "virtual/FaultPlan.h"
#include "virtual/FrameSource.h"

namespace nubrix::virtual_camera {

class VirtualCamera;

/// Shared by the stream and its thread: a frame callback may stop the stream, or destroy it and its
/// device. So it refers to nothing that is gone then, and touches neither pool nor receiver once it
/// has been ended. Thread-safe but for deliver.
class StreamRun {
public:
    struct Setup {
        VirtualCamera &camera;  ///< lives until the threads of the driver have been joined
        std::shared_ptr<OpenState> state;
        unsigned int streamType;
        unsigned int upgrades;  ///< that the camera had seen before the start
        typedefNubrixFrameMode mode;
        CameraClock::Place place;
        FrameAllocatorInterfaceBase *allocator;
        DriverFrameCallback callback;
        void *user;
    };

    explicit StreamRun(Setup setup);

    /// Delivers frames until it is ended, the camera is gone or an upgrade begins. Lets nothing
    /// out.
    void deliver();
    /// Has it end soon. On the thread that delivers the callback is not called again.
    void end();
    /// Has it look at once whether another place was sought or the camera is being upgraded.
    void wake();
    /// The frame that comes next.
    std::uint32_t nextFrame() const { return m_next; }

private:
    using Time = std::chrono::steady_clock::time_point;

    std::uint32_t firstFrame() const;
    /// Goes where a seek wants it to, and reads what is recorded of the frame there.
    void lookUpRecorded(std::uint32_t &frameIndex);
    /// Delivers the next frame from `frameIndex` on, or does not, and counts it. False at the end.
    bool runFrame(std::uint32_t &frameIndex);
    Time nextCapture(std::uint32_t &frameIndex) const;
    /// Leaves `frame` empty when there is no space or no image. False when there are no more.
    bool render(std::uint32_t frameIndex, FramePtr &frame);
    NubrixFrameRef *takeFrame();
    void describe(typedefNubrixFrame &record, std::uint32_t frameIndex, Time capture,
                  const FrameOrders &orders) const;
    void awaitReturn(NubrixFrameRef &frame);
    /// Sleeps; returns at once when the stream is to end or to be elsewhere. A null `until` is for
    /// ever.
    void sleepUntil(const Time *until);
    bool isEnding() const;
    bool isUpgraded() const;
    bool isSought() const;
    bool isFree() const;
    bool isRecorded() const;

    const Setup m_setup;
    const unsigned int m_frameRate;
    CameraClock::Place m_place;
    std::optional<RecordedPicture> m_recorded;
    std::atomic<std::uint32_t> m_next{0};
    mutable std::mutex m_lock;
    std::condition_variable m_wake;
    bool m_ended = false;  // under m_lock
};

class VirtualDevice;

/// The operations come one at a time; the queries and wake may be used on any thread.
class VirtualStream final : public DriverStream {
public:
    VirtualStream(VirtualDevice &device, unsigned int streamType);
    /// May be called from within the frame callback, as stop.
    ~VirtualStream() override;

    unsigned int getFrameBufferSize() override;
    /// -2 when it runs, lacks allocator or callback, or the camera is being upgraded, -9 when the
    /// camera has been unplugged, -1 when there is no thread or memory to be had, or what a fault
    /// says.
    int start() override;
    /// 0, also when it does not run. From within the frame callback it does not wait: the frame
    /// that is being delivered is the last one, and is held until the callback returns.
    int stop() override;

    /// The frame that comes next while it runs.
    std::uint32_t nextFrame() const;
    /// Has it look at once whether another place was sought or the camera is being upgraded.
    void wake();

private:
    int begin(const typedefNubrixFrameMode &mode, unsigned int upgrades);

    VirtualDevice &m_device;
    mutable std::mutex m_lock;
    std::shared_ptr<StreamRun>
        m_run;                       // of the last start; written, and read elsewhere, under m_lock
    DriverThreads::Handle m_thread;  // as m_run
};

}  // namespace nubrix::virtual_camera
