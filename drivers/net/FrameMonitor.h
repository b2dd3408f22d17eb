// The frames that a stream receives: their numbers and times, whether they are valid, and whether
// they keep coming.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "common/CameraProperties.h"
#include "net/Aravis.h"
#include "net/CameraSetup.h"

namespace nubrix::net {

/// Turns the frame numbers of a camera into an index that grows by one for each frame that the
/// camera has sent. Not thread-safe.
class FrameNumbers {
public:
    /// Takes the number of the next frame that has arrived, 0 if it is unknown because the packet
    /// that contains it may be lost. Returns how many frames are missing before it.
    unsigned int take(std::uint64_t id);
    /// The index of the frame that was taken last.
    unsigned int index() const { return m_index; }

private:
    static constexpr std::uint64_t kIds = 0xffff;  // the protocol counts from 1 to this number

    std::optional<std::uint64_t> m_last;
    bool m_hasTaken = false;
    unsigned int m_index = 0;
};

/// Remembers when the frames in flight began to arrive. Aravis reports that by the wall clock,
/// which may be set at any time; this class finds the monotonic time that was noted at the same
/// moment. Not thread-safe.
class ArrivalTimes {
public:
    /// Notes the beginning of a frame; both times in microseconds.
    void note(std::int64_t wallUs, std::int64_t monotonicUs);
    /// The monotonic time in microseconds of the beginning at a wall time; 0 when none was noted.
    std::int64_t monotonicAt(std::int64_t wallUs) const;

private:
    struct Arrival {
        std::int64_t wallUs;
        std::int64_t monotonicUs;
    };

    std::array<Arrival, 16> m_arrivals = {};
    std::size_t m_next = 0;
};

/// Notices that no valid frame arrives any more. Has a thread of its own from start to stop.
class FrameWatchdog {
public:
    FrameWatchdog() = default;
    ~FrameWatchdog();
    FrameWatchdog(const FrameWatchdog &) = delete;
    FrameWatchdog &operator=(const FrameWatchdog &) = delete;

    /// From now on the watchdog's thread calls `onTimeout`, which must not throw, once for each
    /// time that no frame arrives within the timeout. Does nothing after stop. Throws
    /// std::system_error when no thread can be started. Thread-safe; once.
    void start(std::chrono::milliseconds timeout, std::function<void()> onTimeout);
    /// For good: `onTimeout` is not called any more when the first call returns. Must not be called
    /// from within it. Thread-safe.
    void stop();

    /// Reports a valid frame. Thread-safe.
    void noteFrame();
    /// The watchdog runs, and no valid frame has arrived within the timeout. Thread-safe.
    bool isExpired() const;

private:
    using Clock = std::chrono::steady_clock;

    Clock::time_point deadline() const;
    void run();

    std::function<void()> m_onTimeout;  // fixed by start
    std::atomic<Clock::rep> m_timeout{0};
    std::atomic<Clock::rep> m_lastFrame{0};
    std::atomic<bool> m_isRunning{false};
    std::mutex m_lock;
    std::condition_variable m_stopped;
    bool m_hasStopped = false;  // these two under m_lock
    std::thread m_thread;
};

/// Decides which frames are valid and counts the others.
class FrameMonitor {
public:
    /// The setup must outlive it.
    FrameMonitor(const CameraSetup &setup, bool deliversIncomplete)
        : m_setup(setup), m_deliversIncomplete(deliversIncomplete)
    {
    }

    /// Whether a frame is delivered, which has `bytes` when it is complete. Counts it otherwise. On
    /// the thread of the stream only.
    bool accept(ArvBuffer &buffer, std::size_t bytes);

    /// Why no valid frame arrives, as far as that can be known. Thread-safe.
    std::string causeOfTimeout(ArvStream &stream) const;
    /// Reports the frames that were lost, if any. Thread-safe.
    void reportLosses() const noexcept;

    /// Thread-safe.
    RunningCounters &counters() { return m_counters; }
    const RunningCounters &counters() const { return m_counters; }

private:
    const CameraSetup &m_setup;
    const bool m_deliversIncomplete;
    bool m_isLastIncomplete = false;  // of the stream's thread
    RunningCounters m_counters;
    std::string m_mismatch;  // what the first mismatched frame is; fixed once one is counted
    std::atomic<unsigned int> m_mismatched{0};
};

}  // namespace nubrix::net
