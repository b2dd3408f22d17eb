// Notices that a stream that runs brings nothing.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace nubrix::net {

/// Has a thread of its own from begin to end.
class PictureWatch {
public:
    PictureWatch() = default;
    ~PictureWatch();
    PictureWatch(const PictureWatch &) = delete;
    PictureWatch &operator=(const PictureWatch &) = delete;

    /// From now on `tell` is called, by the watch's thread, once for each time that no picture
    /// comes for so long; it must not throw. Nothing once it has ended. Throws std::system_error
    /// when there is no thread. Thread-safe; once.
    void begin(std::chrono::milliseconds patience, std::function<void()> tell);
    /// For good. `tell` is not called any more when the first call returns; it must not be what
    /// calls. Thread-safe.
    void end();

    /// A picture of use has come. Thread-safe.
    void notePicture();
    /// It watches, and no picture has come for too long. Thread-safe.
    bool isSilent() const;

private:
    using Clock = std::chrono::steady_clock;

    Clock::time_point due() const;
    void run();

    std::function<void()> m_tell;  // fixed by begin
    std::atomic<Clock::rep> m_patience{0};
    std::atomic<Clock::rep> m_last{0};
    std::atomic<bool> m_isWatching{false};
    std::mutex m_lock;
    std::condition_variable m_ended;
    bool m_hasEnded = false;  // these two under m_lock
    std::thread m_thread;
};

}  // namespace nubrix::net
