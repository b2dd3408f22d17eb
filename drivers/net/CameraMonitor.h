// Which network cameras are present, and which of the open ones respond.
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

#include "net/Gvcp.h"
#include "net/NetSettings.h"

namespace nubrix::net {

/// Shared by the device, its streams, its worker and the watch. Thread-safe.
class CameraState {
public:
    using Clock = std::chrono::steady_clock;

    /// For good: the camera must be opened again.
    void setGone() { m_gone = true; }
    bool isGone() const { return m_gone; }

    /// It has just not answered: whoever waited for it tells the others, so that nobody does again.
    void noteSilence() { m_silent = true; }
    void noteAnswer() { m_silent = false; }
    /// Gone, or it did not answer when it was asked last.
    bool isSilent() const { return m_gone || m_silent; }

    void noteFrame()
    {
        m_lastFrame = Clock::now().time_since_epoch().count();
        m_silent = false;
    }
    Clock::time_point lastFrame() const
    {
        return Clock::time_point(Clock::duration(m_lastFrame.load()));
    }

private:
    std::atomic<bool> m_gone{false};
    std::atomic<bool> m_silent{false};
    std::atomic<Clock::rep> m_lastFrame{0};
};

/// Answers may be late: a camera may put off that to a broadcast for a second, so that not all send
/// at once. Not thread-safe.
class CameraFinder {
public:
    struct Answer {
        NetIdentity camera;
        std::string sender;  ///< not the camera's own address where addresses are translated
    };

    /// Throws std::system_error when there is no descriptor left.
    CameraFinder();

    /// Asks on every interface that is up, and at `addresses`. Does not wait.
    void ask(const std::vector<std::string> &addresses);
    /// Waits until `end` for an answer to any of the questions.
    std::optional<Answer> await(UdpSocket::Clock::time_point end);

private:
    UdpSocket m_socket;
};

/// Thread-safe, except that start comes first and stop last.
class CameraMonitor {
public:
    struct Change {
        NetIdentity camera;  ///< of one that was opened and never found: its address alone
        bool connected;
    };
    /// Called on the watch's thread, without a lock. What is in the first list is not told.
    using Listener = std::function<void(const Change &)>;

    CameraMonitor(const NetSettings &settings, Listener listener);
    ~CameraMonitor();
    CameraMonitor(const CameraMonitor &) = delete;
    CameraMonitor &operator=(const CameraMonitor &) = delete;

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
