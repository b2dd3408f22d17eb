// What can be said of a stream from the frames that arrived.
#pragma once

#include <cstdint>

#include "AgeHistogram.h"

namespace nubrix {

struct StreamFigures {
    std::uint64_t frames = 0;
    double framesPerSecond = 0;     // by arrival, over all frames; 0 for fewer than two
    std::uint64_t gaps = 0;         // times the frame index was not one more than before
    std::uint64_t lost = 0;         // frames that the camera captured and that did not arrive
    std::uint64_t damaged = 0;      // frames with too few bytes or of another stream's type
    std::uint64_t ageMedianUs = 0;  // from capture to arrival, microseconds
    std::uint64_t age99PercentUs = 0;
    std::uint32_t lastIndex = 0;  // meaningful if frames is not 0
};

/// Counts the frames of one stream.
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

}  // namespace nubrix
