// One stream of an opened virtual camera and the thread that delivers its frames.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>

#include "nubrix/driver.h"
#include "virtual/FaultPlan.h"

namespace nubrix {

class VirtualDevice;

/// Bits of typedefNubrixFrame::flags of frames that a fault has spoilt.
constexpr unsigned int kFrameFlagShort = 1;
constexpr unsigned int kFrameFlagEmpty = 2;
constexpr unsigned int kFrameFlagWrongType = 4;

/// The operations come one at a time; isRunning may be asked on any thread.
class VirtualStream final : public NubrixBaseStream {
public:
    VirtualStream(VirtualDevice &device, unsigned int streamType);
    ~VirtualStream() override;

    unsigned int getFrameBufferSize() override;
    int setFrameAllocator(FrameAllocatorInterfaceBase *allocator) override;
    int setFrameCallback(DriverFrameCallback callback, void *user) override;
    /// -2 when it runs or lacks allocator or callback, -9 when the camera has been unplugged, -1
    /// when there is no thread or memory to be had, or what a fault says.
    int start() override;
    /// 0 also when it does not run; -2 from within the frame callback.
    int stop() override;

    bool isRunning() const { return m_running; }

private:
    using Time = std::chrono::steady_clock::time_point;

    struct Releaser {
        void operator()(NubrixFrameRef *frame) const { frame->release(); }
    };
    using FramePtr = std::unique_ptr<NubrixFrameRef, Releaser>;

    void run();
    /// Delivers the next frame from `frameIndex` on, or does not, and counts it. False at the end.
    bool runFrame(std::uint32_t &frameIndex);
    Time nextCapture(std::uint32_t &frameIndex) const;
    /// Leaves `frame` empty when there is no room or no picture. False when there are no more.
    bool render(std::uint32_t frameIndex, FramePtr &frame);
    NubrixFrameRef *takeFrame();
    void describe(typedefNubrixFrame &record, std::uint32_t frameIndex, Time capture,
                  const FrameOrders &orders) const;
    void awaitReturn(NubrixFrameRef &frame);
    /// Sleeps; returns at once when the stream is to end. A null `until` is for ever.
    void sleepUntil(const Time *until);
    bool isEnding() const;
    bool isFree() const;

    VirtualDevice &m_device;
    const unsigned int m_streamType;
    FrameAllocatorInterfaceBase *m_allocator = nullptr;  // changed only while no thread runs
    DriverFrameCallback m_callback = nullptr;
    void *m_user = nullptr;
    typedefNubrixFrameMode m_mode = {};
    unsigned int m_frameRate = 0;
    Time m_epoch;
    std::thread m_thread;
    std::atomic<std::thread::id> m_runner{};  // the thread itself
    std::atomic<bool> m_running{false};
    mutable std::mutex m_lock;
    std::condition_variable m_wake;
    bool m_stopping = false;  // under m_lock
};

}  // namespace nubrix
