// The options that select streams, their mode and their duration: those of 'stream' and 'record'.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>
#include <vector>
#include "nubrix/client/camera.h"

namespace nubrix::tool {

class StreamSelection {
public:
    /// Adds --streams, --mode, --seconds and --frames.
    explicit StreamSelection(CLI::App &options);
    StreamSelection(const StreamSelection &) = delete;
    StreamSelection &operator=(const StreamSelection &) = delete;

    /// Sets the requested mode and returns the selected streams. Throws a std::runtime_error when
    /// the camera does not have them.
    std::vector<client::StreamType> choose(client::Camera &camera) const;
    double seconds() const { return m_seconds; }       // 0: no limit
    std::uint64_t frames() const { return m_frames; }  // of each stream; 0: no limit

private:
    std::vector<client::StreamType> chooseTypes(const client::Camera &camera) const;
    void setModes(client::Camera &camera, const std::vector<client::StreamType> &types) const;

    std::string m_streams;  // empty: those of the default three that the camera has
    std::string m_mode;     // empty: unchanged
    double m_seconds = 0;
    std::uint64_t m_frames = 0;
};

}  // namespace nubrix::tool
