// Which network cameras are there: asks them all, again and again.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "net/CameraFinder.h"
#include "net/CameraState.h"
#include "net/NetSettings.h"

namespace nubrix::net {

/// Thread-safe, except that start comes first and stop last.
class CameraWatch {
public:
    struct Change {
        NetIdentity camera;  ///< of one that was opened and never found: its address alone
        bool connected;
    };
    /// Called on the watch's thread, without a lock. What is in the first list is not told.
    using Listener = std::function<void(const Change &)>;

    CameraWatch(const NetSettings &settings, Listener listener);
    ~CameraWatch();
    CameraWatch(const CameraWatch &) = delete;
    CameraWatch &operator=(const CameraWatch &) = delete;

    /// Throws std::system_error when there is no thread to be had.
    void start();
    /// Waits for the listener, and else a tenth of a second at most.
    void stop();

    /// The cameras by address. Until 0.3 s after the start it waits for answers, while none has
    /// come until 1.1 s after it.
    std::vector<NetIdentity> cameras();
    /// Declares an opened camera gone, to all who have its state, when it is silent for too long.
    void watch(const std::string &address, const std::shared_ptr<CameraState> &state);

private:
    using Clock = CameraState::Clock;
    using Answer = std::optional<CameraFinder::Answer>;

    struct Entry {
        NetIdentity camera;
        Clock::time_point lastAnswer;
    };
    /// By one who has opened it; there may be several of an address.
    struct Opened {
        std::string address;
        std::weak_ptr<CameraState> state;
        Clock::time_point lastAnswer;
    };

    void run();
    void look();
    bool isEnding();
    std::vector<std::string> addressesToAsk();
    std::vector<Change> update(const Answer &answer, Clock::time_point now);
    void noteAnswer(const CameraFinder::Answer &answer, Clock::time_point now);
    std::set<std::string> loseOpened(Clock::time_point now);
    std::vector<Change> loseListed(std::set<std::string> lost, Clock::time_point now);

    const NetSettings m_settings;
    const Listener m_listener;
    Clock::time_point m_started;
    std::mutex m_lock;
    std::condition_variable m_changed;
    bool m_ending = false;  // everything up to the thread is under m_lock
    bool m_hasListed = false;
    std::map<std::string, Entry> m_cameras;  // by address
    std::vector<Opened> m_open;
    std::thread m_thread;
};

}  // namespace nubrix::net
