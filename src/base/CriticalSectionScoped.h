// Holds a lock for the length of a block.
#pragma once

#include "base/CriticalSectionWrapper.h"

namespace nubrix {

/// Works on every lock with enter() and leave(); on a `final` class the calls are direct.
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
