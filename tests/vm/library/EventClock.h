// When the kernel and udev reported video nodes that arrived and left.
#pragma once

#include <libudev.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace nubrix::vm {

/// Listens from construction to destruction. Thread-safe.
class EventClock {
public:
    using Time = std::chrono::steady_clock::time_point;
    enum class Teller { kKernel, kUdev };

    EventClock();
    ~EventClock();
    EventClock(const EventClock &) = delete;
    EventClock &operator=(const EventClock &) = delete;

    /// Of the events reported before `end` that are of this action ("add" or "remove"), the moments
    /// in their order; no older ones than `begin`.
    std::vector<Time> moments(Teller teller, const std::string &action, Time begin, Time end) const;

private:
    struct Event {
        Teller teller;
        std::string action;
        Time when;
    };
    template <typename Handle>
    using Owned = std::unique_ptr<Handle, Handle *(*)(Handle *)>;

    Owned<udev_monitor> listenTo(const char *name);
    void receive(udev_monitor &monitor, Teller teller);
    void run();

    Owned<udev> m_udev;
    Owned<udev_monitor> m_kernel;
    Owned<udev_monitor> m_user;
    mutable std::mutex m_lock;
    std::vector<Event> m_events;  // under m_lock
    std::atomic<bool> m_end{false};
    std::thread m_thread;  // last: begins when all else is there
};

}  // namespace nubrix::vm
