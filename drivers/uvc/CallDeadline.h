// By when the call of the application that a thread is in has to return.
#pragma once

#include <algorithm>
#include <chrono>
#include <utility>

namespace nubrix {

/// Lives as long as the call; of nested ones the earliest counts. For the thread that made it.
class CallDeadline {
public:
    using Clock = std::chrono::steady_clock;

    // What is promised is a second, and three to open; the rest is for what follows a timeout.
    static constexpr std::chrono::milliseconds kCallTime{900};
    static constexpr std::chrono::milliseconds kOpeningTime{2900};

    explicit CallDeadline(std::chrono::milliseconds time = kCallTime)
        : m_outer(std::exchange(t_innermost, this)), m_end(Clock::now() + time)
    {
        if (m_outer != nullptr)
            m_end = std::min(m_end, m_outer->m_end);
    }
    ~CallDeadline() { t_innermost = m_outer; }
    CallDeadline(const CallDeadline &) = delete;
    CallDeadline &operator=(const CallDeadline &) = delete;

    /// The calling thread's; outside of a call it has kCallTime from now on.
    static Clock::time_point current()
    {
        return t_innermost != nullptr ? t_innermost->m_end : Clock::now() + kCallTime;
    }
    /// Calls `wait`, which waits for the application itself: that does not count.
    template <class Wait>
    static void suspendFor(Wait wait)
    {
        const auto begin = Clock::now();
        wait();
        const auto waited = Clock::now() - begin;
        for (CallDeadline *each = t_innermost; each != nullptr; each = each->m_outer)
            each->m_end += waited;
    }

private:
    static inline thread_local CallDeadline *t_innermost = nullptr;

    CallDeadline *const m_outer;
    Clock::time_point m_end;
};

}  // namespace nubrix
