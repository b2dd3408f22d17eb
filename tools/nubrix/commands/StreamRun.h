// Runs open streams until there is a reason to stop.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "StopSignal.h"
#include "commands/FrameCounter.h"
#include "nubrix/client/camera.h"

namespace nubrix::tool {

/// A stream that runs, and the counter of its frames.
struct CountedStream {
    /// Counts the frames as they come, and wakes `stop` after the last one.
    CountedStream(client::Camera &camera, client::StreamType type,
                  const FrameCounter::Options &options, const StopSignal &stop)
        : counter(type, options), stream(camera.start(type, [this, &stop](const auto &frame) {
              counter.add(frame);
              if (counter.complete())
                  stop.wake();
          }))
    {
    }
    /// Leaves the frames to those who take them.
    CountedStream(client::Camera &camera, client::StreamType type,
                  const FrameCounter::Options &options)
        : counter(type, options), stream(camera.start(type))
    {
    }

    FrameCounter counter;
    client::Stream stream;  // ends before the counter that it uses
};

/// Monitors open streams until all have their frames, the time is over, the user stops them, or
/// something fails: the camera is gone or unresponsive, or a stream delivers nothing.
class StreamRun {
public:
    using Streams = std::vector<std::unique_ptr<CountedStream>>;

    struct Options {
        bool byCallback;
        double seconds;                // 0: no limit
        std::function<void()> onTick;  // about 5 times a second
    };

    StreamRun(Streams &streams, const StopSignal &stop, Options options)
        : m_streams(streams), m_stop(stop), m_options(std::move(options))
    {
    }

    /// Returns the failure, empty if there was none. Afterwards the streams have ended.
    std::string run();

private:
    void monitor();
    bool finished() const;
    void step();
    void waitForFrame(int milliseconds);
    void takeFrames();
    void checkHealth();
    bool timeOver() const;

    Streams &m_streams;
    const StopSignal &m_stop;
    const Options m_options;
    std::uint64_t m_startUs = 0;
};

}  // namespace nubrix::tool
