// Waiting for callbacks, which may wait for this thread.
#pragma once

#include "base/Mutex.h"

namespace nubrix {

/// Callbacks may end what calls other callbacks, and so wait for these: frame callbacks that stop
/// each other's streams, or one that closes a camera whose upgrade closes its stream. The wait that
/// would close a circle never ends and must not begin. Thread-safe.
class CallbackWait final {
public:
    /// This thread is about to wait until the callbacks of `caller` (as of CallbackScope) return;
    /// it has waited when this is destroyed.
    explicit CallbackWait(const void *caller);
    ~CallbackWait();
    CallbackWait(const CallbackWait &) = delete;
    CallbackWait &operator=(const CallbackWait &) = delete;

    /// A callback of `caller` waits, through however many others, for the callback that this thread
    /// runs, or is that callback.
    bool isEndless() const { return m_endless; }

private:
    static bool leadsTo(const void *from, const void *to) NUBRIX_REQUIRES(s_mutex);

    static Mutex &s_mutex;
    static CallbackWait *s_first NUBRIX_GUARDED_BY(s_mutex);  // those of threads in callbacks

    const void *const m_within;  // the caller of this thread's callback
    const void *const m_for;
    bool m_endless = false;
    CallbackWait *m_next = nullptr;
};

}  // namespace nubrix
