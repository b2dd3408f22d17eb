// Ends a test that hangs, and reports where.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "tests/fakes/Waiting.h"

namespace nubrix {

/// Ends the process with a message when a test hangs: a deadlock then names itself.
class HangGuard {
public:
    explicit HangGuard(std::string what, std::chrono::seconds limit = 3 * kTestDeadline)
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

/// Polls until the condition holds; false after kTestDeadline.
template <class Condition>
bool eventually(Condition condition)
{
    const auto end = std::chrono::steady_clock::now() + kTestDeadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace nubrix
