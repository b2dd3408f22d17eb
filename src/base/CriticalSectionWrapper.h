// A recursive lock.
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

}  // namespace nubrix
