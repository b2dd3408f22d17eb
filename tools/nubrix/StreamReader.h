// One open stream, whose frames are counted and given back.
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

/// Takes the frames of one stream, by the library's callback or by polling. All but `poll` may be
/// called while frames arrive by callback.
class StreamReader {
public:
    struct Options {
        bool byCallback;
        bool keepFrames;           // for save
        std::uint64_t frameLimit;  // frames after these are given back uncounted; 0: none
    };

    /// Opens the stream; throws a Failure. `stop` is woken by what ends a run: the last frame.
    StreamReader(Camera &camera, const StreamKind &kind, const Options &options,
                 const StopSignal &stop);
    ~StreamReader();
    StreamReader(const StreamReader &) = delete;
    StreamReader &operator=(const StreamReader &) = delete;

    /// Takes the newest frame; false if there is none. Throws a Failure when the camera is gone.
    bool poll();
    /// Ends delivery; once it has returned, the figures do not change any more.
    void close();

    const StreamKind &kind() const { return m_kind; }
    NubrixStream *handle() const { return m_stream; }
    StreamFigures figures() const;
    /// Whether the frame limit is reached.
    bool complete() const;
    /// Microseconds since the last frame, or since the opening.
    std::uint64_t idleUs() const;
    /// Throws what went wrong while a frame was taken, if anything did.
    void rethrowProblem() const;
    /// Writes the kept pictures and returns their paths; throws a Failure.
    std::vector<std::string> save(const std::string &folder) const;

private:
    static void onFrame(NubrixStream *stream, typedefNubrixFrame *frame, void *user);
    void take(typedefNubrixFrame *frame) noexcept;
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
