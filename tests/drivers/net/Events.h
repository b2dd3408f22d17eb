// What a driver tells of cameras that come and go.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "tests/drivers/FakePool.h"

namespace nubrix::net {

/// Collects hot-plug events. Thread-safe.
class Events {
public:
    static void take(const char *uri, const char *serial, const char * /*location*/,
                     unsigned int state, void *events)
    {
        auto *self = static_cast<Events *>(events);
        const std::lock_guard<std::mutex> lock(self->m_lock);
        self->m_events.push_back(std::string(state == NUBRIX_DEVICE_CONNECTED ? "+" : "-") + uri +
                                 " " + serial);
        self->m_changed.notify_all();
    }
    /// The first events once there are so many; fewer after the deadline.
    std::vector<std::string> await(std::size_t count)
    {
        std::unique_lock<std::mutex> lock(m_lock);
        m_changed.wait_for(lock, kDeadline, [&] { return m_events.size() >= count; });
        return m_events;
    }
    std::vector<std::string> soFar()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_events;
    }

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<std::string> m_events;  // under m_lock
};

}  // namespace nubrix::net
