// The life of a stream, and the return of its frames.
#include <mutex>

#include "base/ErrorNumber.h"
#include "base/LogCall.h"
#include "context/ContextGuards.h"
#include "stream/InternalFrame.h"

namespace nubrix {

namespace {

constexpr std::size_t kMaxStreams = 60;

}  // namespace

int Context::createStream(NubrixDevice *handle, unsigned int streamType, NubrixStream **stream)
{
    return onDevice(handle, [&](Device &device) {
        if (m_streams.size() >= kMaxStreams) {
            setErrorNumber(NUBRIX_ERR_TOO_MANY_STREAMS);
            return -5;
        }
        const std::shared_ptr<VideoStream> created(device.createStream(streamType));
        if (!created) {
            setErrorNumber(NUBRIX_ERR_STREAM_HANDLE);
            logPrint(kLogError, " Create Stream handle failed!");
            return -1;
        }
        m_streams.add(created);
        *stream = created->handle();
        return 0;
    });
}

int Context::openStream(NubrixDevice *handle, unsigned int streamType, NubrixStream **stream,
                        NubrixFrameCallback callback, void *user)
{
    const auto name = m_streamNames.find(streamType);
    if (name == m_streamNames.end()) {
        logPrint(kLogError, "Can  not open stream[type = %d], Stream Type is Invalid",
                 static_cast<int>(streamType));
        return -4;
    }
    logPrint(kLogMilestone, "Start open %s stream!", name->second.c_str());
    return guarded([&] {
        const Gate::Entry entry(m_gate);  // if this is refused, createStream is, too
        if (const int failed = createStream(handle, streamType, stream)) {
            logPrint(kLogError, "Create stream failed");
            return failed;
        }
        if (callback) {
            if (const int failed = setStreamCallback(*stream, callback, user)) {
                destroyStream(*stream);
                *stream = nullptr;
                return failed;
            }
            logPrint(kLogMilestone, "Set stream callback.");
        }
        const int started = startStream(*stream);
        if (started != 0) {
            logPrint(kLogError, "Open %s stream failed ,ret = %d", name->second.c_str(), started);
            destroyStream(*stream);
            *stream = nullptr;
        }
        // Kept: written after a failure too; the result is correct. See docs/oddities.md.
        logPrint(kLogMilestone, "Open %s stream succeed", name->second.c_str());
        return started;
    });
}

int Context::startStream(NubrixStream *handle)
{
    logEmptyLine();
    return onStream(handle, [](VideoStream &stream) { return stream.start(); });
}

int Context::stopStream(NubrixStream *handle)
{
    return onStream(handle, [](VideoStream &stream) {
        stream.stop();
        return 0;
    });
}

int Context::setStreamCallback(NubrixStream *handle, NubrixFrameCallback callback, void *user)
{
    return onStream(handle, [&](VideoStream &stream) {
        stream.setStreamCallback(callback, user);
        return 0;
    });
}

int Context::closeStream(NubrixStream *handle)
{
    return inside([&] {
        if (const std::shared_ptr<VideoStream> stream = m_streams.find(handle)) {
            const auto name = m_streamNames.find(stream->getFrameType());
            if (name != m_streamNames.end())
                logPrint(kLogMilestone, "Start stop %s stream ", name->second.c_str());
            for (const auto &recorder : m_recorders.all())
                recorder->DeAttachStream(stream.get());
        }
        int result = stopStream(handle);
        if (result == 0)
            result = destroyStream(handle);
        logPrint(kLogMilestone, "Finish stop stream");
        return result;
    });
}

int Context::closeStreamsOfDevice(const Device &device)
{
    std::vector<const VideoStream *> failed;  // they would be found again forever
    while (const auto stream = m_streams.findIf([&](VideoStream &each) {
        return &each.device() == &device &&
               std::find(failed.begin(), failed.end(), &each) == failed.end();
    })) {
        if (closeStream(stream->handle()) != 0)
            failed.push_back(stream.get());
    }
    for (const auto &stream : m_streams.retired()) {  // by callbacks, or on another thread
        if (&stream->device() == &device)
            shutDown(stream);
    }
    return 0;
}

int Context::destroyStream(NubrixStream *handle)
{
    return onStream(handle, [&](VideoStream &) {
        std::shared_ptr<VideoStream> stream;
        {
            const CriticalSectionScoped lock(*m_apiLock);
            const auto recorders = m_recorders.all();  // may throw: before any change
            stream = m_streams.retire(handle);
            for (const auto &recorder : recorders)
                recorder->forget(stream.get());
        }
        logPrint(kLogInfo, "After remove stream, the size=%d", static_cast<int>(m_streams.size()));
        if (!stream)  // another thread has retired it
            return 0;
        shutDown(stream);
        // Also streams closed by their own callbacks, which have returned by now.
        while (const auto ended =
                   m_streams.findRetiredIf([](VideoStream &each) { return each.hasEnded(); }))
            shutDown(ended);
        return 0;
    });
}

// Ends a stream whose handle is no longer valid. False when this thread must not wait for its
// callback; then the stream is kept for another thread, destroy at the latest.
bool Context::shutDown(const std::shared_ptr<VideoStream> &stream)
{
    // Before the lock: the callback that this waits for may be in readFrame.
    if (!stream->shutDown())
        return false;
    const std::lock_guard<ReentrantLock> afterReaders(m_frameReadLock);
    m_streams.forget(stream);
    return true;
}

int Context::releaseFrame(typedefNubrixFrame *frame)
{
    if (!m_initialized)
        return refuseUninitialized();
    if (frame)
        InternalFrame::releaseHeld(InternalFrame::fromRecord(frame));
    return 0;
}

}  // namespace nubrix
