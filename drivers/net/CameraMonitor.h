// Finds network cameras, and notices which of the opened ones do not respond any more.
#pragma once

#include <atomic>
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
#include "net/Gvcp.h"
#include "net/NetSettings.h"

namespace nubrix::net {

/// What is known of an opened camera. Shared by the device, its streams, its worker and the
/// monitor. Thread-safe.
class CameraState {
public:
    using Clock = std::chrono::steady_clock;

    /// The camera is gone for good: it must be opened again.
    void setGone() { m_gone = true; }
    bool isGone() const { return m_gone; }

    /// A request was not answered. Other threads need not wait for the camera then.
    void noteNoAnswer() { m_unresponsive = true; }
    void noteAnswer() { m_unresponsive = false; }
    /// It is gone, or it did not answer the last request.
    bool isUnresponsive() const { return m_gone || m_unresponsive; }

    void noteFrame()
    {
        m_lastFrame = Clock::now().time_since_epoch().count();
        m_unresponsive = false;
    }
    Clock::time_point lastFrame() const
    {
        return Clock::time_point(Clock::duration(m_lastFrame.load()));
    }

private:
    std::atomic<bool> m_gone{false};
    std::atomic<bool> m_unresponsive{false};
    std::atomic<Clock::rep> m_lastFrame{0};
};

/// Searches for cameras: sends the first requests when it is constructed, so that cameras answer
/// while other things start, and does the rest on a thread of its own. Thread-safe, except that
/// beginSearch and start come first and stop last.
class CameraMonitor {
public:
    struct Change {
        NetIdentity camera;  ///< address only, if the camera was opened but never found
        bool connected;
    };
    /// Called on the monitor's thread, without a lock; not for the cameras of the first list.
    using Listener = std::function<void(const Change &)>;

    CameraMonitor(const NetSettings &settings, Listener listener);
    ~CameraMonitor();
    CameraMonitor(const CameraMonitor &) = delete;
    CameraMonitor &operator=(const CameraMonitor &) = delete;

    /// Before start: sends the first requests once more, as if it had just been constructed.
    void beginSearch();
    /// Throws std::system_error when no thread can be started.
    void start();
    /// Waits for the listener, and for a tenth of a second at most otherwise.
    void stop();

    /// The cameras, ordered by address. Waits for answers to the first requests as long as there
    /// can be any: until 0.3 s after they were sent, and until 1.1 s after it while there is
    /// none.
    std::vector<NetIdentity> cameras();
    /// Marks the state of an opened camera as gone when it does not respond within the timeout.
    void track(const std::string &address, const std::shared_ptr<CameraState> &state);

private:
    using Clock = CameraState::Clock;
    using Answer = std::optional<CameraFinder::Answer>;

    struct Entry {
        NetIdentity camera;
        Clock::time_point lastAnswer;
    };
    /// There may be several of one address.
    struct Opened {
        std::string address;
        std::weak_ptr<CameraState> state;
        Clock::time_point lastAnswer;
    };

    void run();
    void search();
    void sendIfDue();
    bool awaitWork();
    std::chrono::milliseconds slice();
    bool isFirstListComplete(const Answer &answer, Clock::time_point now) const;
    std::vector<std::string> addressesToQuery();
    std::vector<Change> update(const Answer &answer, Clock::time_point now);
    void noteAnswer(const CameraFinder::Answer &answer, Clock::time_point now);
    std::set<std::string> expireOpened(Clock::time_point now);
    std::vector<Change> expireListed(std::set<std::string> lost, Clock::time_point now);

    const NetSettings m_settings;
    const Listener m_listener;
    Clock::time_point m_began;  // this and the next two: of the thread, once it runs
    std::optional<CameraFinder> m_finder;
    Clock::time_point m_nextRequests;
    std::mutex m_lock;
    std::condition_variable m_changed;
    bool m_stopping = false;    // everything up to the thread is under m_lock
    bool m_isComplete = false;  // the first list
    bool m_hasListed = false;
    std::map<std::string, Entry> m_cameras;  // by address
    std::vector<Opened> m_open;
    std::thread m_thread;
};

}  // namespace nubrix::net
