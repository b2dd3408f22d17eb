// The thread of a stream that calls the application's frame callback.
#pragma once

#include <condition_variable>
#include <memory>

#include "base/EventImpl.h"
#include "base/Mutex.h"
#include "base/ThreadWrapper.h"

namespace nubrix {

/// Callbacks may stop and destroy streams, also their own. So a worker that is to end is waited
/// for, unless that would wait for the thread that waits (CallbackWait). Thread-safe.
class CallbackWorker final {
public:
    enum class Wakeup { kNone, kFrame, kEnd };

    /// `pass` with `stream` is called back to back on the thread, until it returns false. It calls
    /// callbacks in a CallbackScope of this worker.
    CallbackWorker(bool (*pass)(void *), void *stream);
    /// The worker must have ended, or end by itself: this joins the thread.
    ~CallbackWorker() = default;
    CallbackWorker(const CallbackWorker &) = delete;
    CallbackWorker &operator=(const CallbackWorker &) = delete;

    /// Starts the thread unless it runs. Nothing once it is closed.
    void run();
    /// Wakes the thread for a frame.
    void notify() { m_event.set(); }
    /// Asks the thread to end: it calls no callback any more, but the one it may be in.
    void requestEnd();
    /// Waits until the thread has ended after requestEnd, and joins it. False when this thread must
    /// not wait for it; it ends when its callback returns.
    bool awaitEnd();
    /// As requestEnd, for good.
    void close();
    bool hasEnded();

    /// For the thread: what it was woken for, within 100 ms.
    Wakeup wait();

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
