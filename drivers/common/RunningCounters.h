// The counters of a stream while it runs.
#pragma once

#include <atomic>

#include "common/CameraProperties.h"

namespace nubrix {

/// As StreamCounters. Thread-safe.
struct RunningCounters {
    std::atomic<unsigned int> delivered{0};
    std::atomic<unsigned int> flagged{0};
    std::atomic<unsigned int> held{0};
    std::atomic<unsigned int> unusable{0};
    std::atomic<unsigned int> missed{0};

    void clear() { delivered = flagged = held = unusable = missed = 0; }
    StreamCounters now() const { return {delivered, flagged, held, unusable, missed}; }
};

}  // namespace nubrix
