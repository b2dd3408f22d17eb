// Waiting for callbacks, which may wait for this thread.
#pragma once

#include "base/Mutex.h"

namespace nubrix {

class CallbackScope;

/// A callback may wait for other callbacks: one that stops a stream waits for that stream's. Two
/// that wait for each other, directly or through others, would hang, so the wait that would close
/// the cycle must not begin. Thread-safe.
class CallbackWait final {
public:
    /// This thread is about to wait until the callbacks of `caller` (as of CallbackScope) return;
    /// it has waited when this is destroyed.
    explicit CallbackWait(const void *caller);
    ~CallbackWait();
    CallbackWait(const CallbackWait &) = delete;
    CallbackWait &operator=(const CallbackWait &) = delete;

    /// This thread must not wait: a callback of `caller` waits for the callback that this thread
    /// runs, or is that one.
    bool wouldHang() const { return m_wouldHang; }

private:
    static bool leadsTo(const void *caller, const CallbackScope &callback) NUBRIX_REQUIRES(s_mutex);

    static Mutex &s_mutex;
    static CallbackWait *s_first NUBRIX_GUARDED_BY(s_mutex);  // those of threads in callbacks

    const CallbackScope *const m_within;  // the callback that this thread runs
    const void *const m_for;
    bool m_wouldHang = false;
    CallbackWait *m_next = nullptr;
};

}  // namespace nubrix
