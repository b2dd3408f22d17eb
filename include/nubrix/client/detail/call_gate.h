// Waiting for a function of the application that another thread calls.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

namespace nubrix {
namespace client {
namespace detail {

/// The calls of one stream's function, which come one after the other. Thread-safe.
class CallGate {
public:
    void begin()
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_runner = std::this_thread::get_id();
        ++m_begun;
    }
    void end() noexcept
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        m_runner = {};
        ++m_ended;
        m_changed.notify_all();
    }
    /// How many calls have begun.
    std::uint64_t begun()
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        return m_begun;
    }
    /// Waits until so many calls have ended; not within the call that runs.
    void waitFor(std::uint64_t calls) noexcept
    {
        std::unique_lock<std::mutex> guard(m_lock);
        if (m_runner != std::this_thread::get_id())
            m_changed.wait(guard, [&] { return m_ended >= calls; });
    }

private:
    std::mutex m_lock;  // guards what follows
    std::condition_variable m_changed;
    std::thread::id m_runner;  // none while no call runs
    std::uint64_t m_begun = 0;
    std::uint64_t m_ended = 0;
};

}  // namespace detail
}  // namespace client
}  // namespace nubrix
