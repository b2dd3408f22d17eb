// Why no frame came.
#pragma once

#include <string>

#include "nubrix/client/detail/stream_core.h"

namespace nubrix {
namespace client {
namespace detail {

/// Who holds the frames of a stream when they are used up; otherwise empty.
inline std::string shortage(const StreamCore &core)
{
    const auto holders = core.holders();
    if (holders.library() > 3)  // recorders and other readers keep some, too
        return "";
    return "of the " + std::to_string(FramePool::kFrames) + " frames of " + core.subject() +
           " the application holds " + std::to_string(holders.application) + ", its queues " +
           std::to_string(holders.queues) + " and the library " +
           std::to_string(holders.library()) + ": release some, or hold clones";
}

[[noreturn]] inline void failWithoutFrame(const char *operation, StreamCore &core,
                                          Milliseconds timeout, const std::string &remedy,
                                          const char *what = "no frame")
{
    fail(operation, -11, 0,
         std::string(operation) + " (" + core.subject() + "): " + what + " in " +
             std::to_string(timeout.count()) + " ms, " + std::to_string(core.figures().frames) +
             " since the start; " + remedy);
}

/// Throws unless the camera is merely quiet: Unplugged when it does not answer, Timeout when the
/// frames are used up.
inline void requireQuiet(const char *operation, StreamCore &core, Milliseconds timeout)
{
    if (const int status = core.cameraStatus())
        fail(operation, core.subject(), status);
    const std::string reason = shortage(core);
    if (!reason.empty())
        failWithoutFrame(operation, core, timeout, reason);
}

/// The next frame of a loop, which a camera that is quiet does not end; none when the camera is
/// gone or the stream ends.
inline Frame takeForLoop(StreamCore &core)
{
    for (;;) {
        Frame frame = core.take(deadlineAfter(kDefaultTimeout));
        if (frame)
            return frame;
        if (core.isOver() || core.cameraStatus() == -9)
            return core.tryTake();
        requireQuiet("next", core, kDefaultTimeout);
    }
}

}  // namespace detail
}  // namespace client
}  // namespace nubrix
