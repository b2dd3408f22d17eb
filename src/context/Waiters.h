// The threads that wait for frames.
#pragma once

#include <map>
#include <memory>
#include <vector>

#include "base/Mutex.h"

namespace nubrix {

class MultiStreamsListener;

/// One listener for each thread that ever waited, until clear. Thread-safe.
class Waiters final {
public:
    /// This thread's listener, created on first use.
    std::shared_ptr<MultiStreamsListener> ofThisThread();
    /// Ends the waits that are under way.
    void wakeAll();
    void clear();

private:
    using Listeners = std::map<unsigned int, std::shared_ptr<MultiStreamsListener>>;  // by thread

    void disconnectIdle();

    Mutex m_mutex;
    Listeners m_listeners NUBRIX_GUARDED_BY(m_mutex);
};

}  // namespace nubrix
