// The delivery of frames from one start of a stream to its stop.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

#include "common/FrameFlags.h"
#include "common/FramePtr.h"
#include "nubrix/driver.h"
#include "virtual/CameraClock.h"
#include "virtual/FaultPlan.h"
#include "virtual/FrameSource.h"
#include "virtual/OpenState.h"

namespace nubrix {

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

}  // namespace nubrix
