// The clock that the frame indices of an opened camera come from.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>

namespace nubrix::virtual_camera {

/// Runs while streams run and restarts when the first of them starts, so that all streams of one
/// rate have the same index at the same time. A recording is played from the time of the last seek.
/// Thread-safe.
class CameraClock {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// Where playback began.
    struct Place {
        Time epoch;            ///< time of frame 0, or of ...
        std::uint64_t us = 0;  ///< ... this position in a recording
        unsigned int seeks = 0;
    };

    /// Called when a stream starts.
    Place begin()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        if (m_running++ == 0)
            m_place.epoch = std::chrono::steady_clock::now();
        return m_place;
    }

    /// Moves all streams to a time in the recording, now or when they start.
    void seek(std::uint64_t us)
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_place = {std::chrono::steady_clock::now(), us, m_place.seeks + 1};
    }

    Place place() const
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_place;
    }

    void end()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        --m_running;
    }

    /// The time at which a frame is captured, in whole microseconds.
    static Time captureTime(Time epoch, std::uint32_t frameIndex, unsigned int frameRate)
    {
        return epoch + std::chrono::microseconds(std::uint64_t{frameIndex} * 1000000U / frameRate);
    }

    /// The newest frame that has been captured at a given time.
    static std::uint32_t indexAt(Time epoch, Time now, unsigned int frameRate)
    {
        if (now < epoch)
            return 0;
        const auto us = std::chrono::duration_cast<std::chrono::microseconds>(now - epoch).count();
        // The first frame not yet captured starts at the first whole microsecond after `us`.
        return static_cast<std::uint32_t>(((static_cast<std::uint64_t>(us) + 1) * frameRate - 1) /
                                          1000000U);
    }

private:
    mutable std::mutex m_lock;
    unsigned int m_running = 0;  // everything below is under m_lock
    Place m_place;
};

/// What a device shares with the threads of its streams. It outlives the device when the device is
/// closed from within one of its own frame callbacks. Thread-safe.
struct OpenState {
    CameraClock clock;
    std::atomic<bool> gone{false};  ///< the camera was unplugged; never reset
};

}  // namespace nubrix::virtual_camera
