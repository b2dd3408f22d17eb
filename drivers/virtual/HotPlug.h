// The thread of the driver that plugs cameras in and out and tells the library.
#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>

#include "nubrix/driver.h"

namespace nubrix {

class VirtualCamera;

/// Carries out events in the order of their times, on one thread and without a lock held. The
/// cameras must outlive it or its stop. Thread-safe.
class HotPlug {
public:
    using Time = std::chrono::steady_clock::time_point;

    enum class Action { kPlug, kUnplug, kTellConnected, kTellDisconnected };

    HotPlug() = default;
    HotPlug(const HotPlug &) = delete;
    HotPlug &operator=(const HotPlug &) = delete;
    ~HotPlug() { stop(); }

    void setCallback(DriverStateCallback callback, void *user);
    /// Starts the thread. Throws std::system_error when there is none to be had.
    void start();
    /// Forgets what is still to come and waits for an event that is being carried out.
    void stop();

    void schedule(Time when, VirtualCamera &camera, Action action);

private:
    struct Event {
        VirtualCamera *camera;
        Action action;
    };

    void run();
    void carryOut(const Event &event);

    std::thread m_thread;  // start and stop only
    std::mutex m_lock;
    std::condition_variable m_wake;
    DriverStateCallback m_callback = nullptr;  // everything below is under m_lock
    void *m_user = nullptr;
    bool m_stopping = false;
    std::multimap<Time, Event> m_events;  // equal times stay in order
};

}  // namespace nubrix
