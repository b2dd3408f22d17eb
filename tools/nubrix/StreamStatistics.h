// The figures of a running stream: frame rate, lost and damaged frames, age of the frames.
#pragma once

#include <array>
#include <cstdint>

namespace nubrix::tool {

/// Microseconds of the monotonic clock, which is that of the frames' capture times. Thread-safe.
std::uint64_t monotonicUs();

/// Percentiles of any number of durations in a fixed amount of memory: the buckets are exact below
/// 256 us and at most 1/128 wide above.
///
/// Not thread-safe.
class AgeHistogram {
public:
    /// Durations above 2^36 us (19 hours) count as 2^36 us.
    void add(std::uint64_t microseconds);

    /// The smallest duration that at least `percent` of all durations do not exceed, within 0.4 %;
    /// 0 when there are none.
    std::uint64_t percentile(double percent) const;

    std::uint64_t count() const { return m_count; }

private:
    static constexpr unsigned int kExact = 256;         // durations below have a bucket each
    static constexpr unsigned int kPerDoubling = 128;   // buckets from 2^n to 2^(n+1)
    static constexpr unsigned int kDoublings = 36 - 8;  // 2^8 to 2^36
    static constexpr std::uint64_t kLongest = (std::uint64_t{1} << 36) - 1;

    static unsigned int bucketOf(std::uint64_t microseconds);
    static std::uint64_t middleOf(unsigned int bucket);

    std::array<std::uint64_t, kExact + kDoublings *kPerDoubling> m_buckets = {};
    std::uint64_t m_count = 0;
};

struct StreamFigures {
    std::uint64_t frames = 0;
    double framesPerSecond = 0;     // by arrival, over all frames; 0 for fewer than two
    std::uint64_t gaps = 0;         // jumps in the frame index
    std::uint64_t lost = 0;         // captured, but not received
    std::uint64_t damaged = 0;      // frames with too few bytes or of another stream's type
    std::uint64_t ageMedianUs = 0;  // from capture to arrival, microseconds
    std::uint64_t age99PercentUs = 0;
    bool hasAge = true;           // false: the frames of a recording are as old as the recording
    std::uint32_t lastIndex = 0;  // meaningful if frames is not 0
};

/// Computes the figures of one stream from its frames.
///
/// Not thread-safe.
class StreamStatistics {
public:
    struct Arrival {
        std::uint32_t frameIndex;
        std::uint64_t captureUs;  // monotonic clock
        std::uint64_t arrivalUs;  // monotonic clock; a capture after it counts as age 0
        bool damaged;
    };

    void add(const Arrival &arrival);
    StreamFigures figures() const;

private:
    void compareIndex(std::uint32_t index);

    StreamFigures m_figures;
    AgeHistogram m_ages;
    std::uint64_t m_firstArrivalUs = 0;
    std::uint64_t m_lastArrivalUs = 0;
};

}  // namespace nubrix::tool
