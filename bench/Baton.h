// The bare hand-over between two threads, which benchmarks compare with.
#pragma once

#include <condition_variable>
#include <mutex>

namespace nubrix::bench {

/// A counter that one thread raises and another waits for: the bare hand-over.
class Baton {
public:
    void pass()
    {
        {
            const std::lock_guard<std::mutex> guard(m_mutex);
            ++m_passed;
        }
        m_condition.notify_one();
    }
    void take()
    {
        std::unique_lock<std::mutex> guard(m_mutex);
        m_condition.wait(guard, [&] { return m_passed > m_taken; });
        ++m_taken;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_condition;
    long m_passed = 0;
    long m_taken = 0;
};

}  // namespace nubrix::bench
