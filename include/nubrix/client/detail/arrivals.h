// Waiting for the frames of several streams at once.
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "nubrix/export.h"

namespace nubrix {
namespace client {

/// What timeouts are given in.
using Milliseconds = std::chrono::milliseconds;

/// The timeout of every wait that is given none: a camera may take seconds to its first frame.
inline constexpr Milliseconds kDefaultTimeout{5000};

namespace detail {

using Clock = std::chrono::steady_clock;

/// When a wait that begins now ends. A year stands for everything longer, up to
/// Milliseconds::max(): what waits takes no later time on every system.
inline Clock::time_point deadlineAfter(Milliseconds timeout)
{
    constexpr Milliseconds kLongest = std::chrono::hours(24 * 365);
    return Clock::now() + std::min(std::max(timeout, Milliseconds::zero()), kLongest);
}

/// Wakes those who wait for one of several streams.
class NUBRIX_API Arrivals {
public:
    static Arrivals &instance()
    {
        static auto *const all = new Arrivals;  // never destroyed
        return *all;
    }
    void notify() noexcept
    {
        if (m_waiters == 0)  // whoever begins to wait from now on sees the frame
            return;
        const std::lock_guard<std::mutex> guard(m_lock);
        ++m_count;
        m_changed.notify_all();
    }
    /// Whether `isReady` holds before the deadline.
    template <class Condition>
    bool waitFor(Clock::time_point deadline, const Condition &isReady)
    {
        const Waiter waiter(m_waiters);
        std::unique_lock<std::mutex> guard(m_lock);
        for (;;) {
            const std::uint64_t seen = m_count;
            guard.unlock();
            if (isReady())
                return true;
            guard.lock();
            if (!m_changed.wait_until(guard, deadline, [&] { return m_count != seen; }))
                return false;
        }
    }

private:
    struct Waiter {
        explicit Waiter(std::atomic<int> &waiters) : count(waiters) { ++count; }
        ~Waiter() { --count; }
        Waiter(const Waiter &) = delete;
        Waiter &operator=(const Waiter &) = delete;

        std::atomic<int> &count;
    };

    std::atomic<int> m_waiters{0};
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::uint64_t m_count = 0;
};

}  // namespace detail
}  // namespace client
}  // namespace nubrix
