// Which network cameras are there: asks them all, again and again.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "net/CameraState.h"
#include "net/GvcpProbe.h"
#include "net/NetSettings.h"

namespace nubrix {

/// Thread-safe, except that start comes first and stop last.
class CameraWatch {
public:
    struct Change {
        NetIdentity camera;
        bool connected;
    };
    /// Called on the watch's thread, without a lock.
    using Listener = std::function<void(const Change &)>;

    CameraWatch(const NetSettings &settings, Listener listener);
    ~CameraWatch();
    CameraWatch(const CameraWatch &) = delete;
    CameraWatch &operator=(const CameraWatch &) = delete;

    /// Throws std::system_error when there is no thread to be had.
    void start();
    void stop();

    /// The cameras by address. Waits for the first answers, at most 1.2 s since the start.
    std::vector<NetIdentity> cameras();
    /// Declares an opened camera gone, to all who have its state, when it is silent for too long.
    void watch(const std::string &address, const std::shared_ptr<CameraState> &state);

private:
    using Clock = CameraState::Clock;

    struct Entry {
        NetIdentity camera;
        Clock::time_point lastAnswer;
    };

    void run();
    void look();
    std::vector<std::string> addressesToAsk();
    std::vector<Change> update(const std::vector<NetIdentity> &found, Clock::time_point now);
    bool isLost(const std::string &address, const Entry &entry, Clock::time_point now);

    const NetSettings m_settings;
    const Listener m_listener;
    Clock::time_point m_started;
    std::mutex m_lock;
    std::condition_variable m_changed;
    bool m_ending = false;  // everything up to the thread is under m_lock
    bool m_hasLooked = false;
    std::map<std::string, Entry> m_cameras;                         // by address
    std::multimap<std::string, std::weak_ptr<CameraState>> m_open;  // by address
    std::thread m_thread;
};

}  // namespace nubrix
