// What the parts of the driver know of an open camera's health.
#pragma once

#include <atomic>
#include <chrono>

namespace nubrix::net {

/// Shared by the device, its streams, its worker and the watch. Thread-safe.
class CameraState {
public:
    using Clock = std::chrono::steady_clock;

    /// For good: the camera must be opened again.
    void setGone() { m_gone = true; }
    bool isGone() const { return m_gone; }

    /// It has just not answered: whoever waited for it tells the others, so that nobody does again.
    void noteSilence() { m_silent = true; }
    void noteAnswer() { m_silent = false; }
    /// Gone, or it did not answer when it was asked last.
    bool isSilent() const { return m_gone || m_silent; }

    void notePicture()
    {
        m_lastPicture = Clock::now().time_since_epoch().count();
        m_silent = false;
    }
    Clock::time_point lastPicture() const
    {
        return Clock::time_point(Clock::duration(m_lastPicture.load()));
    }

private:
    std::atomic<bool> m_gone{false};
    std::atomic<bool> m_silent{false};
    std::atomic<Clock::rep> m_lastPicture{0};
};

}  // namespace nubrix::net
