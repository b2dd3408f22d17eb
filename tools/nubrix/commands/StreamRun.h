// Runs open streams until there is a reason to stop.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "StreamReader.h"

namespace nubrix::tool {

/// Waits until one of the streams has a frame; false when none had one within the timeout. Throws a
/// Failure when the camera is gone or unresponsive, which a timeout of 0 checks.
bool waitForStreams(NubrixBaseContext &context, std::vector<NubrixStream *> streams, int timeoutMs);

/// Monitors open streams until all have their frames, the time is over, the user stops them, or
/// something fails: the camera is gone or unresponsive, or a stream delivers nothing.
class StreamRun {
public:
    using Readers = std::vector<std::unique_ptr<StreamReader>>;

    struct Options {
        bool byCallback;
        double seconds;                // 0: no limit
        std::function<void()> onTick;  // about 5 times a second
    };

    StreamRun(NubrixBaseContext &context, Readers &readers, const StopSignal &stop, Options options)
        : m_context(context), m_readers(readers), m_stop(stop), m_options(std::move(options))
    {
    }

    /// Returns the failure, empty if there was none. Throws only what onTick throws.
    std::string run();

private:
    bool finished() const;
    void step();
    void pollOnce();
    void waitForFrames();
    void checkHealth();
    bool timeOver() const;

    NubrixBaseContext &m_context;
    Readers &m_readers;
    const StopSignal &m_stop;
    const Options m_options;
    std::uint64_t m_startUs = 0;
};

}  // namespace nubrix::tool
