#include "record/StreamRecorder.h"

#include <cerrno>

#include "base/CriticalSectionWrapper.h"
#include "base/LittleEndian.h"
#include "base/LogCall.h"
#include "base/xp.h"
#include "device/Device.h"
#include "record/RecordTag.h"
#include "stream/VideoStream.h"

namespace nubrix {

StreamRecorder::StreamRecorder(const std::string &path) : m_file(FileWrapper::create())
{
    logPrint(kLogMilestone, "Recorder recordFile:%s", path.c_str());
    const int result = m_file->openFile(path.c_str(), false, false, false);
    if (result != 0)
        logPrint(kLogError, "File opened, retcode:%d", result);
    m_opened = result == 0;
}

StreamRecorder::~StreamRecorder()
{
    finish();
}

void StreamRecorder::finish()
{
    disconnect_all();
    if (m_finished.exchange(true))
        return;
    logPrint(kLogInfo, "~StreamRecorder()");
    m_file->flush();
    m_file->closeFile();
}

StreamRecorder::Slot *StreamRecorder::slotOf(unsigned int recordType)
{
    switch (recordType) {
        case NUBRIX_STREAM_COLOR:
            return &m_header[0];
        case NUBRIX_STREAM_DEPTH:
            return &m_header[1];
        default:
            return nullptr;
    }
}

int StreamRecorder::AttachStream(VideoStream *stream, unsigned int recordType, unsigned int extra)
{
    auto *const address = static_cast<void *>(stream);
    if (m_started) {
        // Kept: success, though nothing is attached. See docs/oddities.md.
        logPrint(kLogMilestone, "Recorder is already Started and can't AttachStream[%p]", address);
        return 0;
    }
    unsigned int known = 0;
    if (recordTypeOf(stream, known)) {
        logPrint(kLogInfo, "Stream[%p] is already Attached", address);
        return -4;
    }
    unsigned int type = stream->getFrameType();
    const typedefNubrixFrameMode *const mode = stream->device().getCurrentFrameMode(type);
    if (!mode) {
        logPrint(kLogError, "get current Framamode failed!");
        return -1;
    }
    std::size_t attached = 0;
    {
        const CriticalSectionScoped guard(m_lock);
        if (Slot *const slot = slotOf(recordType)) {
            *slot = {static_cast<std::uint16_t>(recordType),
                     0,
                     static_cast<std::uint16_t>(mode->pixelFormat),
                     static_cast<std::uint16_t>(mode->frameRate),
                     mode->width,
                     mode->height};
        }
        m_attachedStreams[stream] = {recordType, extra};
        attached = m_attachedStreams.size();
    }
    logPrint(kLogInfo, "Attach Stream[%p] Success! AttachedMap.size() = %d", address,
             static_cast<int>(attached));
    stream->newFrameSignal().connect(this, &StreamRecorder::onNewFrame);
    return 0;
}

int StreamRecorder::DeAttachStream(VideoStream *stream)
{
    auto *const address = static_cast<void *>(stream);
    unsigned int recordType = 0;
    if (!recordTypeOf(stream, recordType)) {
        logPrint(kLogWarning, "Stream[%p] is not Attached", address);
        return -4;
    }
    stream->newFrameSignal().disconnect(this);
    std::size_t attached = 0;
    {
        const CriticalSectionScoped guard(m_lock);
        m_attachedStreams.erase(stream);
        attached = m_attachedStreams.size();
    }
    logPrint(kLogInfo, "DeAttach Stream[%p] Success! AttachedMap.size() = %d", address,
             static_cast<int>(attached));
    return 0;
}

void StreamRecorder::forget(VideoStream *stream)
{
    const CriticalSectionScoped guard(m_lock);
    m_attachedStreams.erase(stream);
}

int StreamRecorder::Start()
{
    m_started = true;
    logPrint(kLogInfo, "Recorder[%p] Start", static_cast<void *>(this));
    const CriticalSectionScoped guard(m_lock);
    for (const auto &[stream, info] : m_attachedStreams)
        stream->onListenerBegins();
    return 0;
}

int StreamRecorder::Stop()
{
    m_started = false;
    logPrint(kLogInfo, "Recorder[%p] Stop", static_cast<void *>(this));
    m_file->flush();
    return 0;
}

void StreamRecorder::writeHeader()
{
    logPrint(kLogInfo, "The End to writeHeader");
    if (!m_file->open()) {
        logPrint(kLogWarning, "File not opened");
        return;
    }
    unsigned char image[kRecordHeaderSize];
    LittleEndianWriter out(image);
    const CriticalSectionScoped guard(m_lock);
    for (const Slot &slot : m_header) {
        out.put16(slot.type);
        out.put32(slot.counter);
        out.put16(slot.format);
        out.put16(slot.frameRate);
        out.put16(slot.width);
        out.put16(slot.height);
    }
    m_file->writetohead(image, kRecordHeaderSize);
}

int StreamRecorder::writeData(const void *data, unsigned int size)
{
    if (!m_file->open()) {
        logPrint(kLogWarning, "File not opened");
        return 0;
    }
    return m_file->write(data, static_cast<int>(size));
}

bool StreamRecorder::recordTypeOf(VideoStream *stream, unsigned int &recordType)
{
    const CriticalSectionScoped guard(m_lock);
    const auto found = m_attachedStreams.find(stream);
    if (found == m_attachedStreams.end())
        return false;
    recordType = found->second.recordType;
    return true;
}

void StreamRecorder::onNewFrame(VideoStream *stream)
{
    unsigned int recordType = 0;
    if (!m_started || !recordTypeOf(stream, recordType))
        return;
    xp<NubrixFrameRef> frame;
    bool hasRecorded = false;
    if (stream->readFrame(frame, false) == 0)  // left for the stream's other readers
        hasRecorded = writeRecord(frame->frame(), recordType);
    stream->onListenerDone(hasRecorded);
}

// False when the file has no complete record of the frame.
bool StreamRecorder::writeRecord(const typedefNubrixFrame &frame, unsigned int recordType)
{
    const CriticalSectionScoped guard(m_lock);
    // Kept: a frame that is skipped below uses up its index all the same. See docs/oddities.md.
    Slot *const slot = slotOf(recordType);
    const std::uint32_t index = slot ? slot->counter++ : 0;
    if (frame.streamType != recordType || frame.dataSize == 0)
        return false;
    unsigned char tag[kRecordTagSize];
    LittleEndianWriter out(tag);
    out.put16(recordType);
    out.put32(index);
    out.put32(frame.timestampLow);
    out.put32(frame.timestampHigh);
    out.put32(frame.dataSize);
    out.put32(static_cast<std::uint32_t>(frame.width));
    out.put32(static_cast<std::uint32_t>(frame.height));
    bool isComplete = true;
    if (writeData(tag, kRecordTagSize) < static_cast<int>(kRecordTagSize)) {
        isComplete = false;
        logPrint(kLogWarning, "write FrameTag failed, errno:0x%x",
                 static_cast<unsigned int>(errno));
    }
    if (writeData(frame.data, frame.dataSize) < std::int64_t{frame.dataSize}) {
        isComplete = false;
        logPrint(kLogWarning, "write Data failed, errno:0x%x", static_cast<unsigned int>(errno));
    }
    return isComplete;
}

}  // namespace nubrix
