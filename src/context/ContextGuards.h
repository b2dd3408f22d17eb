// How the operations of the context are guarded. Each refusal stands here once, with its error
// number, message and status.
#pragma once

#include <type_traits>

#include "base/CriticalSectionWrapper.h"
#include "context/Context.h"

namespace nubrix {

// An exception in an operation ends in -1 (null) and a line in the log. An operation runs
//   inside: in the gate, or returns what `refuse` returns
//   underLock: inside, initialized, and with the API lock
//   onDevice, onRecorder: under the lock, with the object of a handle
//   onStream: inside and initialized, with the object of a handle

// Refusals: error number, log line, status. refuseUninitialized returns -2.
int refuseDevice();    // -3
int refuseStream();    // -13
int refuseRecorder();  // -13
/// Logs the exception that is being handled. -1.
int reportException() noexcept;

/// The result of an operation that fails with a status: the status, or null for a pointer.
template <class Result>
Result answer(int status)
{
    if constexpr (std::is_pointer_v<Result>)
        return nullptr;
    else
        return status;
}

template <class Body>
auto guarded(Body body) noexcept -> decltype(body())
{
    try {
        return body();
    } catch (...) {
        return answer<decltype(body())>(reportException());
    }
}

template <class Body>
auto Context::inside(Body body, int (*refuse)()) -> decltype(body())
{
    return guarded([&]() -> decltype(body()) {
        const Gate::Entry entry(m_gate);
        return entry ? body() : answer<decltype(body())>(refuse());
    });
}

template <class Body>
auto Context::underLock(Body body) -> decltype(body())
{
    return inside([&]() -> decltype(body()) {
        const CriticalSectionScoped lock(*m_apiLock);
        return m_initialized ? body() : answer<decltype(body())>(refuseUninitialized());
    });
}

template <class Body>
auto Context::onDevice(NubrixDevice *handle, Body body)
{
    using Result = decltype(body(std::declval<Device &>()));
    return underLock([&]() -> Result {
        const std::shared_ptr<Device> device = m_devices.find(handle);
        return device ? body(*device) : answer<Result>(refuseDevice());
    });
}

template <class Body>
auto Context::onRecorder(NubrixRecord *handle, Body body)
{
    return underLock([&] {
        const std::shared_ptr<StreamRecorder> recorder = m_recorders.find(handle);
        return recorder ? body(*recorder) : refuseRecorder();
    });
}

template <class Body>
auto Context::onStream(NubrixStream *handle, Body body)
{
    return inside([&] {
        if (!m_initialized)
            return refuseUninitialized();
        const std::shared_ptr<VideoStream> stream = m_streams.find(handle);
        return stream ? body(*stream) : refuseStream();
    });
}

}  // namespace nubrix
