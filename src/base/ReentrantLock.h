// A lock that serves its callers strictly in the order they came.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace nubrix {

/// Kept: despite its name a thread that takes it twice waits forever. Thread-safe.
class ReentrantLock final {
public:
    ReentrantLock() = default;
    ReentrantLock(const ReentrantLock &) = delete;
    ReentrantLock &operator=(const ReentrantLock &) = delete;

    void lock()
    {
        std::unique_lock<std::mutex> guard(m_mutex);
        const std::uint64_t ticket = m_nextTicket++;
        m_condition.wait(guard, [&] { return m_nowServing == ticket; });
    }
    void unlock()
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        ++m_nowServing;
        m_condition.notify_all();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_condition;
    std::uint64_t m_nextTicket = 0;  // under m_mutex, as is the next
    std::uint64_t m_nowServing = 0;
};

}  // namespace nubrix
