// Clocks and pauses.
#pragma once

#include <cstdint>
#include <string>

namespace nubrix {

/// The monotonic clock in nanoseconds, milliseconds and microseconds. Thread-safe, as all here.
std::int64_t timeNanos();
std::int64_t time();
std::int64_t timeMicros();

/// Sleeps once; an interrupted sleep is not resumed. Returns 0, or -1 when interrupted.
int sleepMs(int ms);

/// a - b modulo 2^32.
unsigned int timeDiff(unsigned int a, unsigned int b);

/// The local wall clock as "20240105_09:03:07:42"; the milliseconds at the end are not padded.
std::string localTimeFormat();

}  // namespace nubrix
