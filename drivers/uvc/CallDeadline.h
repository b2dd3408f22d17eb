// By when the call of the application that a thread is in has to return.
#pragma once

#include <chrono>

namespace nubrix {

/// Lives as long as the call; of nested ones the outermost counts. For the thread that made it.
class CallDeadline {
public:
    using Clock = std::chrono::steady_clock;

    // What is promised is a second, and three to open; the rest is for what follows a timeout.
    static constexpr std::chrono::milliseconds kCallTime{900};
    static constexpr std::chrono::milliseconds kOpeningTime{2900};

    explicit CallDeadline(std::chrono::milliseconds time = kCallTime) : m_end(Clock::now() + time)
    {
        if (t_outermost == nullptr)
            t_outermost = this;
    }
    ~CallDeadline()
    {
        if (t_outermost == this)
            t_outermost = nullptr;
    }
    CallDeadline(const CallDeadline &) = delete;
    CallDeadline &operator=(const CallDeadline &) = delete;

    /// The calling thread's; outside of a call it has kCallTime from now on.
    static Clock::time_point current()
    {
        return t_outermost != nullptr ? t_outermost->m_end : Clock::now() + kCallTime;
    }
    /// Calls `wait`, which waits for the application itself: that does not count.
    template <class Wait>
    static void suspendFor(Wait wait)
    {
        const auto begin = Clock::now();
        wait();
        if (t_outermost != nullptr)
            t_outermost->m_end += Clock::now() - begin;
    }

private:
    static inline thread_local CallDeadline *t_outermost = nullptr;

    Clock::time_point m_end;
};

}  // namespace nubrix
