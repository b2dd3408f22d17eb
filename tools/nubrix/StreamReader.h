// An open stream that counts its frames and releases them.
#pragma once

#include <cstdint>
#include <exception>
#include <mutex>
#include <string>
#include <vector>
#include "Camera.h"
#include "StopSignal.h"
#include "StreamStatistics.h"
#include "output/SavedFrames.h"

namespace nubrix::tool {

/// Receives the frames of one stream, by the library's callback or by polling. Every function but
/// poll() may be called while frames arrive by callback.
class StreamReader {
public:
    struct Options {
        bool byCallback;
        bool keepFrames;           // for save()
        std::uint64_t frameLimit;  // further frames are released uncounted; 0: no limit
    };

    /// Opens the stream; throws a Failure. The last frame and a failure wake `stop`.
    StreamReader(Camera &camera, const StreamKind &kind, const Options &options,
                 const StopSignal &stop);
    ~StreamReader();
    StreamReader(const StreamReader &) = delete;
    StreamReader &operator=(const StreamReader &) = delete;

    /// Reads the newest frame; false if there is none. Throws a Failure when the camera is gone.
    bool poll();
    /// Closes the stream; afterwards the figures do not change.
    void close();

    const StreamKind &kind() const { return m_kind; }
    NubrixStream *handle() const { return m_stream; }
    StreamFigures figures() const;
    /// Whether the frame limit is reached.
    bool complete() const;
    /// Microseconds since the last frame, or since the stream was opened.
    std::uint64_t idleUs() const;
    /// Throws the exception that receiving a frame has caused, if there is one.
    void rethrowProblem() const;
    /// Writes the first and the last frame and returns the paths; throws a Failure.
    std::vector<std::string> save(const std::string &folder) const;

private:
    static void onFrame(NubrixStream *stream, typedefNubrixFrame *frame, void *user);
    void receive(typedefNubrixFrame *frame) noexcept;
    void count(const typedefNubrixFrame &frame);
    bool limitReached() const
    {
        return m_options.frameLimit != 0 && m_frames >= m_options.frameLimit;
    }

    NubrixBaseContext &m_context;
    const StreamKind m_kind;
    const Options m_options;
    const StopSignal &m_stop;
    NubrixStream *m_stream = nullptr;

    mutable std::mutex m_lock;  // everything below
    StreamStatistics m_statistics;
    FirstAndLastFrame m_saved;
    std::uint64_t m_frames = 0;
    std::uint64_t m_lastEventUs;
    std::exception_ptr m_problem;
};

}  // namespace nubrix::tool
