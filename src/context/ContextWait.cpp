// Waiting for one of several streams.
#include "base/CriticalSectionScoped.h"
#include "base/ErrorNumber.h"
#include "base/LogCall.h"
#include "base/ThreadWrapper.h"
#include "context/Context.h"
#include "device/Device.h"
#include "stream/MultiStreamsListener.h"
#include "stream/VideoStream.h"

namespace nubrix {

namespace {

constexpr unsigned int kSliceMs = 1000;

}  // namespace

int Context::waitForStreams(NubrixStream **handles, int count, NubrixStream **ready, int timeoutMs)
{
    if (const int refused = requireInitialized())
        return refused;
    if (count < 1) {
        setErrorNumber(NUBRIX_ERR_URI_NOT_FOUND);
        return -4;
    }
    for (int i = 0; i < count; ++i) {
        if (!requireStream(handles[i]))
            return -13;
    }
    // Held here too: destroy may drop it from the map meanwhile.
    const std::shared_ptr<MultiStreamsListener> listener = listenerOfThisThread();
    for (int i = 0; i < count; ++i) {
        if (const StreamRegistry::Pin stream = m_streams.pin(handles[i])) {
            VideoStream *added = stream.get();
            listener->addStreams(&added, 1);
        }
    }
    const int result = waitInSlices(handles, count, *listener, ready, timeoutMs);
    listener->removeAllStreams();
    return result;
}

std::shared_ptr<MultiStreamsListener> Context::listenerOfThisThread()
{
    const int thread = ThreadWrapper::getThreadId();
    const auto key = static_cast<unsigned int>(thread);
    {
        const CriticalSectionScoped guard(*m_leafLock);
        const auto found = m_listeners.find(key);
        if (found != m_listeners.end())
            return found->second;
    }
    logPrint(kLogMilestone, "StramListener ThradID = %d", thread);
    auto created = std::make_shared<MultiStreamsListener>();
    const CriticalSectionScoped guard(*m_leafLock);
    m_listeners.emplace(key, created);
    return created;
}

int Context::waitInSlices(NubrixStream **handles, int count, MultiStreamsListener &listener,
                          NubrixStream **ready, int timeoutMs)
{
    const auto slice = [&](unsigned int ms) {
        return waitStreamsUtilTimeout(handles, count, &listener, ready, static_cast<int>(ms));
    };
    const bool forEver = timeoutMs == -1;
    auto left = static_cast<unsigned int>(timeoutMs);
    while (forEver || left > kSliceMs) {
        left -= kSliceMs;
        const int result = slice(kSliceMs);
        if (result != -11)
            return result;
    }
    return slice(left);
}

int Context::waitStreamsUtilTimeout(NubrixStream **handles, int count,
                                    MultiStreamsListener *listener, NubrixStream **ready, int ms)
{
    // A stream that was closed and opened anew may stand at the same address, and is not heard.
    if (!canWaitOn(handles, count) || listener->hasLostAStream() ||
        !checkIfAnyDeviceConnected(handles, count))
        return -9;
    if (!checkIfDeviceKeepLiveOK(handles, count))
        return canWaitOn(handles, count) ? -10 : -9;
    VideoStream *last = nullptr;
    const int waited = listener->wait(static_cast<unsigned int>(ms), &last);
    if (waited == 0 && ready)
        ready[0] = reinterpret_cast<NubrixStream *>(last);  // it may be gone: the address only
    return waited;
}

// False once the context is being destroyed or a stream is gone.
bool Context::canWaitOn(NubrixStream **handles, int count)
{
    if (m_destroying)
        return false;
    for (int i = 0; i < count; ++i) {
        if (!m_streams.pin(handles[i]))
            return false;
    }
    return true;
}

bool Context::checkIfAnyDeviceConnected(NubrixStream **handles, int count)
{
    for (int i = 0; i < count; ++i) {
        const StreamRegistry::Pin stream = m_streams.pin(handles[i]);
        if (stream && stream->device().deviceState() == NUBRIX_DEVICE_CONNECTED)
            return true;
    }
    return false;
}

bool Context::checkIfDeviceKeepLiveOK(NubrixStream **handles, int count)
{
    // Kept: every device is asked, the last one decides. See docs/oddities.md.
    bool alive = false;
    for (int i = 0; i < count; ++i) {
        const StreamRegistry::Pin stream = m_streams.pin(handles[i]);
        alive = stream && stream->device().keepLiveState() != 0;
    }
    return alive;
}

}  // namespace nubrix
