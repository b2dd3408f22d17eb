// Waiting for a frame, as an application does it.
#pragma once

#include <nubrix/nubrix.h>

#include <chrono>

namespace nubrix::vm {

/// Reads until there is a frame, 20 s at most: a reader may be woken for a frame that it has read
/// already, and then gets -11 at once. The status; `frame` is null unless it is 0.
inline int awaitFrame(NubrixBaseContext &context, NubrixStream *stream, typedefNubrixFrame **frame)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    int status = 0;
    do {
        status = context.readFrame(stream, frame, 1000);
    } while (status == -11 && std::chrono::steady_clock::now() < end);
    return status;
}

}  // namespace nubrix::vm
