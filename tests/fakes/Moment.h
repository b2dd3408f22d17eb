// How tests wait: for something to happen on another thread, and not for ever.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>

namespace nubrix {

/// Generous, because machines are slow and sanitizers slower; only a failing test waits that long.
constexpr std::chrono::seconds kPatience{20};

/// Something that happens, once or several times, and that other threads wait for.
class Moment {
public:
    void happen()
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        ++m_count;
        m_changed.notify_all();
    }
    /// Waits until it has happened `times` times; false when patience ran out.
    bool await(int times = 1)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, kPatience, [&] { return m_count >= times; });
    }
    int count()
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return m_count;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_count = 0;
};

/// Ends the process with a message when a test hangs: a deadlock then names itself.
class HangGuard {
public:
    explicit HangGuard(std::string what, std::chrono::seconds limit = 3 * kPatience)
        : m_thread([this, what = std::move(what), limit] {
              std::unique_lock<std::mutex> lock(m_mutex);
              if (!m_changed.wait_for(lock, limit, [this] { return m_done; })) {
                  std::fprintf(stderr, "%s hangs\n", what.c_str());
                  std::abort();
              }
          })
    {
    }
    ~HangGuard()
    {
        {
            const std::lock_guard<std::mutex> guard(m_mutex);
            m_done = true;
            m_changed.notify_all();
        }
        m_thread.join();
    }
    HangGuard(const HangGuard &) = delete;
    HangGuard &operator=(const HangGuard &) = delete;

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_done = false;
    std::thread m_thread;  // last: it uses the others
};

/// Polls until something is so; false when patience ran out.
template <class Condition>
bool eventually(Condition condition)
{
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace nubrix
