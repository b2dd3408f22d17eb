// The life of a stream, and its frames.
#include <mutex>

#include "base/CriticalSectionScoped.h"
#include "base/ErrorNumber.h"
#include "base/LogCall.h"
#include "base/xp.h"
#include "context/Context.h"
#include "device/Device.h"
#include "record/StreamRecorder.h"
#include "stream/InternalFrame.h"
#include "stream/VideoStream.h"

namespace nubrix {

int Context::createStream(NubrixDevice *handle, unsigned int streamType, NubrixStream **stream)
{
    const ApiLock lock(*this);
    Device *device = nullptr;
    if (const int refused = requireDevice(lock, handle, device))
        return refused;
    if (m_streams.isFull()) {
        setErrorNumber(NUBRIX_ERR_TOO_MANY_STREAMS);
        return -5;
    }
    VideoStream *const created = device->createStream(streamType);
    if (!created) {
        setErrorNumber(NUBRIX_ERR_STREAM_HANDLE);
        logPrint(kLogError, " Create Stream handle failed!");
        return -1;
    }
    m_streams.add(created);
    *stream = created->handle();
    return 0;
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
    // Kept: written after a failure too; the result tells the truth. See docs/oddities.md.
    logPrint(kLogMilestone, "Open %s stream succeed", name->second.c_str());
    return started;
}

int Context::startStream(NubrixStream *handle)
{
    logEmptyLine();
    if (const int refused = requireInitialized())
        return refused;
    const StreamRegistry::Pin stream = requireStream(handle);
    return stream ? stream->start() : -13;
}

int Context::stopStream(NubrixStream *handle)
{
    if (const int refused = requireInitialized())
        return refused;
    const StreamRegistry::Pin stream = requireStream(handle);
    if (!stream)
        return -13;
    stream->stop();
    return 0;
}

int Context::setStreamCallback(NubrixStream *handle, NubrixFrameCallback callback, void *user)
{
    if (const int refused = requireInitialized())
        return refused;
    const StreamRegistry::Pin stream = requireStream(handle);
    if (!stream)
        return -13;
    stream->setStreamCallback(callback, user);
    return 0;
}

int Context::closeStream(NubrixStream *handle)
{
    const auto name = m_streamNames.find(frameTypeOf(handle));
    if (name != m_streamNames.end())
        logPrint(kLogMilestone, "Start stop %s stream ", name->second.c_str());
    detachFromRecorders(handle);
    int result = stopStream(handle);
    if (result == 0)
        result = destroyStream(handle);
    logPrint(kLogMilestone, "Finish stop stream");
    return result;
}

void Context::detachFromRecorders(NubrixStream *handle)
{
    const StreamRegistry::Pin stream = m_streams.pin(handle);
    if (!stream)
        return;
    for (const auto &recorder : recorders())
        recorder->DeAttachStream(stream.get());
}

unsigned int Context::frameTypeOf(NubrixStream *handle)
{
    const StreamRegistry::Pin stream = m_streams.pin(handle);
    return stream ? stream->getFrameType() : 0;
}

int Context::closeStreamsOfDevice(Device *device)
{
    while (VideoStream *const stream = m_streams.firstOf(*device)) {
        // One that cannot be closed would be found again for ever; one that is gone is not.
        if (closeStream(stream->handle()) != 0 && m_streams.firstOf(*device) == stream)
            break;
    }
    m_streams.waitForgotten(device);  // those that another thread is destroying
    return 0;
}

int Context::destroyStream(NubrixStream *handle)
{
    // On a callback thread the API lock below would be refused: say so before the stream is gone.
    if (m_destroying && VideoStream::onCallbackThread())
        return refuseUninitialized();
    if (const int refused = requireInitialized())
        return refused;
    if (!requireStream(handle))
        return -13;
    StreamRegistry::Removed removed = nullptr;
    {
        const ApiLock lock(*this);
        if (const int refused = requireInitialized(lock))
            return refused;
        removed = m_streams.remove(handle);
    }
    logPrint(kLogInfo, "After remove stream, the size=%d", static_cast<int>(m_streams.size()));
    if (!removed)  // another thread was faster
        return 0;
    m_streams.waitUnpinned(removed);
    const std::lock_guard<ReentrantLock> afterReaders(m_frameReadLock);
    delete removed->stream;
    m_streams.forget(removed);
    return 0;
}

int Context::readFrame(NubrixStream *handle, typedefNubrixFrame **frame, int timeoutMs)
{
    const std::lock_guard<ReentrantLock> inTurn(m_frameReadLock);
    if (const int refused = requireInitialized())
        return refused;
    {
        const StreamRegistry::Pin stream = requireStream(handle);
        if (!stream)
            return -13;
        *frame = internalReadStreamFrame(stream.get());
    }
    if (*frame)
        return 0;
    NubrixStream *ready[1] = {};
    if (const int waited = waitForStreams(&handle, 1, ready, timeoutMs))
        return waited;
    if (const StreamRegistry::Pin stream = m_streams.pin(handle))
        *frame = internalReadStreamFrame(stream.get());
    if (*frame)
        return 0;
    setErrorNumber(NUBRIX_ERR_NO_FRAME);
    return -11;
}

typedefNubrixFrame *Context::internalReadStreamFrame(VideoStream *stream)
{
    xp<NubrixFrameRef> frame;
    if (stream->readFrame(frame, true) != 0)
        return nullptr;
    frame->incRef();  // the caller's, given back with releaseFrame
    return &frame->frame();
}

int Context::releaseFrame(typedefNubrixFrame *frame)
{
    if (const int refused = requireInitialized())
        return refused;
    if (frame)
        InternalFrame::fromRecord(frame)->release();
    return 0;
}

}  // namespace nubrix
