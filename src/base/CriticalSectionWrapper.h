// A recursive lock, and a guard that holds it for a scope.
#pragma once

#include "base/Mutex.h"

namespace nubrix {

/// A lock that the thread which holds it may take again. Thread-safe.
class NUBRIX_CAPABILITY CriticalSectionWrapper {
public:
    CriticalSectionWrapper() = default;
    CriticalSectionWrapper(const CriticalSectionWrapper &) = delete;
    CriticalSectionWrapper &operator=(const CriticalSectionWrapper &) = delete;
    virtual ~CriticalSectionWrapper() = default;

    /// The caller owns the result.
    static CriticalSectionWrapper *create();

    /// Locks. Returns 0 or a POSIX error number.
    virtual int enter() NUBRIX_ACQUIRE() = 0;
    /// Unlocks; one call for each enter. Returns 0 or a POSIX error number.
    virtual int leave() NUBRIX_RELEASE() = 0;

    /// Add or subtract 1 with a full barrier; the result is the new value.
    static int atomic32Increment(int *value)
    {
        return __atomic_add_fetch(value, 1, __ATOMIC_SEQ_CST);
    }
    static int atomic32Decrement(int *value)
    {
        return __atomic_sub_fetch(value, 1, __ATOMIC_SEQ_CST);
    }
};

/// Holds a lock for a scope. Works on every lock with enter() and leave(); on a `final` class the
/// calls are direct.
template <class Lock>
class NUBRIX_SCOPED_CAPABILITY CriticalSectionScoped final {
public:
    explicit CriticalSectionScoped(Lock &lock) NUBRIX_ACQUIRE(lock) : m_lock(lock)
    {
        m_lock.enter();
    }
    ~CriticalSectionScoped() NUBRIX_RELEASE() { m_lock.leave(); }
    CriticalSectionScoped(const CriticalSectionScoped &) = delete;
    CriticalSectionScoped &operator=(const CriticalSectionScoped &) = delete;

private:
    Lock &m_lock;
};

}  // namespace nubrix
