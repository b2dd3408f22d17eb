// The process-wide error number.
#pragma once

#include "nubrix/types.h"

extern "C" unsigned int g_nubrixErrno;

namespace nubrix {

/// Stores a code. One number for all threads, never cleared. Thread-safe.
inline void setErrorNumber(unsigned int code)
{
    __atomic_store_n(&g_nubrixErrno, code, __ATOMIC_RELAXED);
}

}  // namespace nubrix
