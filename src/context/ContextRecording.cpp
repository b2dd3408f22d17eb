// Recorders.
#include "base/LogCall.h"
#include "context/ContextGuards.h"
#include "record/RecordFolder.h"

namespace nubrix {

namespace {

constexpr std::size_t kMaxRecorders = 60;

}  // namespace

int Context::createRecorder(const char *path, NubrixRecord **handle)
{
    return underLock([&] {
        logPrint(kLogInfo, "Enter Create Recorder file[%s]", path ? path : "(null)");
        if (m_recorders.size() >= kMaxRecorders) {
            logPrint(kLogError, "Reached Max Stream number!");
            return -5;
        }
        char prepared[kMaxRecordPath + 1] = {};
        if (createRecordFolder(path, prepared, kMaxRecordPath) != 0)
            return -1;
        auto recorder = std::make_shared<StreamRecorder>(prepared);
        if (!recorder->isOpened()) {
            recorder.reset();
            logPrint(kLogError, "Create Recorder failed because File path invalid!");
            return -1;
        }
        m_recorders.add(recorder);
        *handle = recorder->handle();
        logPrint(kLogInfo, "Create Recorder Success! recordHandle[%p]",
                 static_cast<void *>(*handle));
        return 0;
    });
}

int Context::recorderAttachStream(NubrixRecord *handle, NubrixStream *streamHandle)
{
    return onRecorder(handle, [&](StreamRecorder &recorder) {
        return onStream(streamHandle, [&](VideoStream &stream) {
            const unsigned int type = stream.getFrameType();
            logPrint(kLogInfo, "Enter Create [%d] Record", static_cast<int>(type));
            return recorder.AttachStream(&stream, type, 0);
        });
    });
}

int Context::recorderStart(NubrixRecord *handle)
{
    return onRecorder(handle, [](StreamRecorder &recorder) { return recorder.Start(); });
}

int Context::recorderStop(NubrixRecord *handle)
{
    return onRecorder(handle, [](StreamRecorder &recorder) { return recorder.Stop(); });
}

int Context::destroyRecorder(NubrixRecord *handle)
{
    return onRecorder(handle, [&](StreamRecorder &recorder) {
        m_recorders.remove(handle);
        logPrint(kLogInfo, "After remove recorder, the size=%d",
                 static_cast<int>(m_recorders.size()));
        // A stream that is being closed on another thread may hold it a moment longer.
        recorder.finish();
        return 0;
    });
}

}  // namespace nubrix
