// One stream of an opened virtual camera and the thread that delivers its frames.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "common/DriverStream.h"
#include "common/FrameFlags.h"
#include "common/FramePtr.h"
#include "virtual/CameraClock.h"
#include "virtual/FaultPlan.h"
#include "virtual/FrameSource.h"

namespace nubrix {

class VirtualDevice;

/// The operations come one at a time; the queries and wake may be used on any thread.
class VirtualStream final : public DriverStream {
public:
    VirtualStream(VirtualDevice &device, unsigned int streamType);
    ~VirtualStream() override;

    unsigned int getFrameBufferSize() override;
    /// -2 when it runs, lacks allocator or callback, or the camera is being upgraded, -9 when the
    /// camera has been unplugged, -1 when there is no thread or memory to be had, or what a fault
    /// says.
    int start() override;
    /// 0 also when it does not run; -2 from within the frame callback.
    int stop() override;

    /// The frame that comes next while it runs.
    std::uint32_t nextFrame() const { return m_next; }
    /// Has it look at once whether another place was sought or the camera is being upgraded.
    void wake();

private:
    using Time = std::chrono::steady_clock::time_point;

    void run();
    std::uint32_t firstFrame() const;
    /// Goes where a seek wants it to, and reads what is recorded of the frame there.
    void lookUpRecorded(std::uint32_t &frameIndex);
    /// Delivers the next frame from `frameIndex` on, or does not, and counts it. False at the end.
    bool runFrame(std::uint32_t &frameIndex);
    Time nextCapture(std::uint32_t &frameIndex) const;
    /// Leaves `frame` empty when there is no room or no picture. False when there are no more.
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

    VirtualDevice &m_device;
    typedefNubrixFrameMode m_mode = {};
    unsigned int m_frameRate = 0;
    CameraClock::Place m_place;
    unsigned int m_upgrades = 0;  // of the camera when it was started
    std::optional<RecordedPicture> m_recorded;
    std::atomic<std::uint32_t> m_next{0};
    std::thread m_thread;
    std::atomic<std::thread::id> m_runner{};  // the thread itself
    mutable std::mutex m_lock;
    std::condition_variable m_wake;
    bool m_stopping = false;  // under m_lock
};

}  // namespace nubrix
