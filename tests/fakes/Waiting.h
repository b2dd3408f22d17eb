// What tests wait on, with a deadline that even a slow machine keeps.
#pragma once

#include <chrono>
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>

namespace nubrix {

constexpr std::chrono::seconds kTestDeadline{30};

/// A count that threads raise and others wait for.
class Counter {
public:
    void add()
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        ++m_value;
        m_changed.notify_all();
    }
    int value() const
    {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return m_value;
    }
    /// False when it has not come so far in time.
    bool reaches(int value)
    {
        std::unique_lock<std::mutex> guard(m_mutex);
        return m_changed.wait_for(guard, kTestDeadline, [&] { return m_value >= value; });
    }

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_value = 0;
};

/// Closed until somebody opens it.
class Latch {
public:
    void open() { m_opened.add(); }
    bool isOpen() const { return m_opened.value() != 0; }
    /// False when nobody opened it in time.
    bool pass() { return m_opened.reaches(1); }

private:
    Counter m_opened;
};

/// Whether a thread, by its kernel id, waits. Nothing reports that a call has begun to wait, but a
/// thread that computes nothing for so long waits.
inline bool hasFallenAsleep(int thread)
{
    for (int looks = 0; looks < 20; ++looks) {
        std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/stat");
        std::string line;
        std::getline(file, line);
        const std::size_t state = line.rfind(") ");
        if (state == std::string::npos || line[state + 2] != 'S')
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

}  // namespace nubrix
