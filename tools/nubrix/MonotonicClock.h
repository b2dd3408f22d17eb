// The clock of the frames' capture times.
#pragma once

#include <cstdint>
#include <ctime>

namespace nubrix {

/// Microseconds of the monotonic clock. Thread-safe.
inline std::uint64_t monotonicUs()
{
    struct timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000000 +
           static_cast<std::uint64_t>(now.tv_nsec) / 1000;
}

}  // namespace nubrix
