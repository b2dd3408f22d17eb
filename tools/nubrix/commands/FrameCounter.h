// Counts the frames of a running stream.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>
#include "StreamStatistics.h"
#include "nubrix/client/frame.h"
#include "output/SavedFrames.h"

namespace nubrix::tool {

/// Computes the figures of one stream, and keeps its first and its last frame. Thread-safe.
class FrameCounter {
public:
    struct Options {
        bool keepFrames;           // for save()
        std::uint64_t frameLimit;  // further frames are not counted; 0: no limit
        bool isPlayback = false;   // the frames of a recording have no age
    };

    FrameCounter(client::StreamType type, const Options &options)
        : m_type(type), m_options(options), m_lastEventUs(monotonicUs())
    {
    }

    void add(const client::Frame &frame);

    client::StreamType type() const { return m_type; }
    StreamFigures figures() const;
    /// Whether the frame limit is reached.
    bool complete() const;
    /// Microseconds since the last frame, or since this was constructed.
    std::uint64_t idleUs() const;
    /// Writes the first and the last frame and returns the paths; throws a std::runtime_error.
    std::vector<std::string> save(const std::string &folder) const;

private:
    bool limitReached() const
    {
        return m_options.frameLimit != 0 && m_frames >= m_options.frameLimit;
    }

    const client::StreamType m_type;
    const Options m_options;

    mutable std::mutex m_lock;  // everything below
    StreamStatistics m_statistics;
    FirstAndLastFrame m_saved;
    std::uint64_t m_frames = 0;
    std::uint64_t m_lastEventUs;
};

}  // namespace nubrix::tool
