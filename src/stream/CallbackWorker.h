// The thread of a stream that calls the application's frame callback.
#pragma once

#include <condition_variable>
#include <memory>

#include "base/EventImpl.h"
#include "base/Mutex.h"
#include "base/ThreadWrapper.h"

namespace nubrix {

/// Callbacks may stop and destroy streams, also their own. So a thread waits for a worker to end
/// only where the worker does not itself wait for that thread (CallbackWait). Thread-safe.
class CallbackWorker final {
public:
    /// `pass` with `stream` is called back to back on the thread, until it returns false. It calls
    /// callbacks in a CallbackScope of this worker.
    CallbackWorker(bool (*pass)(void *), void *stream);
    /// The worker must have ended, or end by itself: this joins the thread.
    ~CallbackWorker() = default;
    CallbackWorker(const CallbackWorker &) = delete;
    CallbackWorker &operator=(const CallbackWorker &) = delete;

    /// Starts the thread unless it runs. Does nothing after close.
    void run();
    /// Wakes the thread for a frame.
    void notify() { m_event.set(); }
    /// Requests the thread to end: it starts no further callback. notify wakes it for that.
    void requestEnd();
    /// Waits until the thread has ended after requestEnd, and joins it. False when this thread must
    /// not wait for it; it ends when its callback returns.
    bool awaitEnd();
    /// Like requestEnd, permanently.
    void close();
    bool hasEnded();

    /// For the thread: waits for a frame. False when the thread must end instead.
    bool awaitFrame();

private:
    enum class State { kIdle, kRunning, kEnded };  // ended: to be joined

    bool isEnding();

    EventImpl m_event;
    Mutex m_control;  // one start or join at a time; taken before m_mutex
    Mutex m_mutex;
    std::condition_variable m_changed;

    State m_state NUBRIX_GUARDED_BY(m_mutex) = State::kIdle;
    bool m_wanted NUBRIX_GUARDED_BY(m_mutex) = false;
    bool m_closed NUBRIX_GUARDED_BY(m_mutex) = false;
    const std::unique_ptr<ThreadWrapper> m_thread;  // last: it ends before what it uses
};

}  // namespace nubrix
