// The thread of the driver that plugs cameras in and out and tells the library.
#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>

#include "common/StateCallback.h"

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

    StateCallback &callback() { return m_callback; }
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

    StateCallback m_callback;
    std::thread m_thread;  // start and stop only
    std::mutex m_lock;
    std::condition_variable m_wake;
    bool m_stopping = false;              // this and m_events: under m_lock
    std::multimap<Time, Event> m_events;  // equal times stay in order
};

}  // namespace nubrix
