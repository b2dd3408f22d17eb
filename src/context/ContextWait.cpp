// Waiting for frames, and reading them.
#include <mutex>

#include "base/ErrorNumber.h"
#include "base/xp.h"
#include "context/ContextGuards.h"
#include "stream/MultiStreamsListener.h"

namespace nubrix {

namespace {

constexpr unsigned int kSliceMs = 1000;

// A listener that hears the streams of one wait.
class Listening final {
public:
    explicit Listening(MultiStreamsListener &listener) : m_listener(listener) {}
    ~Listening() { m_listener.removeAllStreams(); }
    Listening(const Listening &) = delete;
    Listening &operator=(const Listening &) = delete;

    void add(const std::vector<std::shared_ptr<VideoStream>> &streams)
    {
        std::vector<VideoStream *> all;
        all.reserve(streams.size());
        for (const auto &stream : streams)
            all.push_back(stream.get());
        m_listener.addStreams(all.data(), static_cast<unsigned int>(all.size()));
    }

private:
    MultiStreamsListener &m_listener;
};

bool checkIfAnyDeviceConnected(const std::vector<std::shared_ptr<VideoStream>> &streams)
{
    return std::any_of(streams.begin(), streams.end(), [](const auto &stream) {
        return stream->device().deviceState() == NUBRIX_DEVICE_CONNECTED;
    });
}

bool checkIfDeviceKeepLiveOK(const std::vector<std::shared_ptr<VideoStream>> &streams)
{
    // Kept: every device is queried, the last one decides. See docs/oddities.md.
    bool alive = false;
    for (const auto &stream : streams)
        alive = stream->device().keepLiveState() != 0;
    return alive;
}

typedefNubrixFrame *internalReadStreamFrame(VideoStream &stream)
{
    xp<NubrixFrameRef> frame;
    if (stream.readFrame(frame, true) != 0)
        return nullptr;
    frame->incRef();  // the caller's, returned with releaseFrame
    return &frame->frame();
}

}  // namespace

int Context::waitForStreams(NubrixStream **handles, int count, NubrixStream **ready, int timeoutMs)
{
    return inside([&] {
        if (!m_initialized)
            return refuseUninitialized();
        if (count < 1) {
            setErrorNumber(NUBRIX_ERR_URI_NOT_FOUND);
            return -4;
        }
        const Streams streams = m_streams.findAll(handles, static_cast<std::size_t>(count));
        if (streams.empty())
            return refuseStream();
        return waitFor(streams, ready, timeoutMs);
    });
}

int Context::waitFor(const Streams &streams, NubrixStream **ready, int timeoutMs)
{
    const std::shared_ptr<MultiStreamsListener> listener = m_waiters.ofThisThread();
    Listening listening(*listener);
    listening.add(streams);
    const bool forEver = timeoutMs == -1;
    auto left = static_cast<unsigned int>(timeoutMs);
    while (forEver || left > kSliceMs) {
        left -= kSliceMs;
        const int result = waitStreamsUtilTimeout(streams, *listener, ready, kSliceMs);
        if (result != -11)
            return result;
    }
    return waitStreamsUtilTimeout(streams, *listener, ready, left);
}

int Context::waitStreamsUtilTimeout(const Streams &streams, MultiStreamsListener &listener,
                                    NubrixStream **ready, unsigned int ms)
{
    // A stream that was closed and reopened may have the same address, and is not connected.
    if (m_gate.isShut() || !m_streams.haveAll(streams) || !checkIfAnyDeviceConnected(streams))
        return -9;
    if (!checkIfDeviceKeepLiveOK(streams))
        return m_streams.haveAll(streams) ? -10 : -9;
    VideoStream *last = nullptr;
    const int waited = listener.wait(ms, &last);
    if (m_gate.isShut())
        return -9;
    if (waited == 0 && ready)
        ready[0] = reinterpret_cast<NubrixStream *>(
            last);  // it may be destroyed: only the address is used
    return waited;
}

int Context::readFrame(NubrixStream *handle, typedefNubrixFrame **frame, int timeoutMs)
{
    return inside([&] {
        const std::lock_guard<ReentrantLock> inTurn(m_frameReadLock);
        if (!m_initialized)
            return refuseUninitialized();
        const std::shared_ptr<VideoStream> stream = m_streams.find(handle);
        if (!stream)
            return refuseStream();
        *frame = internalReadStreamFrame(*stream);
        if (*frame)
            return 0;
        if (const int waited = waitForFrame(stream, timeoutMs))
            return waited;
        if (m_streams.find(handle))
            *frame = internalReadStreamFrame(*stream);
        if (*frame)
            return 0;
        setErrorNumber(NUBRIX_ERR_NO_FRAME);
        return -11;
    });
}

int Context::waitForFrame(const std::shared_ptr<VideoStream> &stream, int timeoutMs)
{
    const std::shared_ptr<MultiStreamsListener> listener = m_waiters.ofThisThread();
    Listening listening(*listener);
    listening.add({stream});
    // A frame that arrived before this thread listened does not end a wait. A camera that waits for
    // the return of that frame would never send another one.
    if (stream->hasFrame())
        return 0;
    NubrixStream *handle = stream->handle();
    NubrixStream *ready[1] = {};
    return waitForStreams(&handle, 1, ready, timeoutMs);
}

}  // namespace nubrix
