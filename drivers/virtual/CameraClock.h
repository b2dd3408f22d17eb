// The clock that the frame indices of an opened camera come from.
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>

namespace nubrix {

/// Runs while streams run and begins anew when the first of them starts, so that all streams of
/// one rate have the same index at the same time. Thread-safe.
class CameraClock {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// A stream starts. Gives the moment of frame 0 for this run.
    Time begin()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        if (m_running++ == 0)
            m_epoch = std::chrono::steady_clock::now();
        return m_epoch;
    }

    void end()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        --m_running;
    }

    /// When a frame is captured, in whole microseconds.
    static Time captureTime(Time epoch, std::uint32_t frameIndex, unsigned int frameRate)
    {
        return epoch + std::chrono::microseconds(std::uint64_t{frameIndex} * 1000000U / frameRate);
    }

    /// The newest frame that has been captured at a moment.
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
    std::mutex m_lock;
    unsigned int m_running = 0;  // everything below is under m_lock
    Time m_epoch;
};

}  // namespace nubrix
