// Brings threads to rest at a place that they choose, so that what they use can be compared.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace nubrix::soak {

/// Thread-safe.
class RestPoint {
public:
    /// `threads` call rest again and again.
    explicit RestPoint(int threads) : m_threads(threads) {}
    RestPoint(const RestPoint &) = delete;
    RestPoint &operator=(const RestPoint &) = delete;

    /// Whether the threads shall call rest soon.
    bool isDue() const { return m_isDue; }
    /// Whether the run is over: the threads shall end.
    bool isOver() const { return m_isOver; }

    /// Called by each of the threads; waits where they are to rest.
    void rest()
    {
        if (!m_isDue)
            return;
        std::unique_lock<std::mutex> lock(m_lock);
        ++m_resting;
        m_changed.notify_all();
        m_changed.wait(lock, [this] { return !m_isDue; });
        --m_resting;
        m_changed.notify_all();
    }
    /// Waits until all of them rest; false after the timeout.
    bool gather(std::chrono::seconds timeout)
    {
        std::unique_lock<std::mutex> lock(m_lock);
        m_isDue = true;
        return m_changed.wait_for(lock, timeout, [this] { return m_resting == m_threads; });
    }
    /// Lets them go on. Returns when none of them rests any more.
    void resume()
    {
        std::unique_lock<std::mutex> lock(m_lock);
        m_isDue = false;
        m_changed.notify_all();
        m_changed.wait(lock, [this] { return m_resting == 0; });
    }
    /// Ends the run, after which nobody rests.
    void end()
    {
        m_isOver = true;
        resume();
    }

private:
    const int m_threads;
    std::atomic<bool> m_isDue{false};  // written under m_lock
    std::atomic<bool> m_isOver{false};
    std::mutex m_lock;  // guards what follows
    std::condition_variable m_changed;
    int m_resting = 0;
};

}  // namespace nubrix::soak
