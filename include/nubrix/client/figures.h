/// @file
/// The figures of a running stream.
#pragma once

#include <chrono>
#include <cstdint>

#include "nubrix/types.h"

namespace nubrix {
namespace client {

/// What a stream has done since its start.
struct StreamFigures {
    std::uint64_t frames = 0;         ///< that have arrived
    std::uint64_t dropped = 0;        ///< of them: overtaken before anybody took them
    std::uint64_t missing = 0;        ///< captured, by their indices, but never arrived
    double framesPerSecond = 0;       ///< over the last 32 frames; falls while none comes
    std::chrono::microseconds age{};  ///< of the last frame taken: from its capture until then
    int held = 0;                     ///< frames that the application holds
    int queued = 0;                   ///< frames that nobody has taken yet
};

namespace detail {

/// The time between two frames of a camera, by their indices: it does not depend on how many of
/// them arrive. Not thread-safe.
class FrameInterval {
public:
    void add(const typedefNubrixFrame &record)
    {
        const unsigned long long time =
            record.timestampLow | static_cast<unsigned long long>(record.timestampHigh) << 32U;
        const unsigned int steps = record.frameIndex - m_index;
        if (!m_isKnown || steps > kManyFrames || time < m_time) {  // the first, or it began anew
            m_isKnown = true;
            m_index = record.frameIndex;
            m_time = time;
            return;
        }
        m_steps = steps;
        m_elapsed = time - m_time;
    }
    /// 0 when it is not known.
    std::chrono::microseconds value() const
    {
        return std::chrono::microseconds(
            m_steps == 0 ? 0 : static_cast<std::chrono::microseconds::rep>(m_elapsed / m_steps));
    }

private:
    static constexpr unsigned int kManyFrames = 1U << 31;

    bool m_isKnown = false;
    unsigned int m_index = 0;  // of the first frame, as is its time
    unsigned long long m_time = 0;
    unsigned int m_steps = 0;  // from the first frame to the last
    unsigned long long m_elapsed = 0;
};

}  // namespace detail
}  // namespace client
}  // namespace nubrix
