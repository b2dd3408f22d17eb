// Recorders.
#include "base/CriticalSectionScoped.h"
#include "base/LogCall.h"
#include "context/Context.h"
#include "record/RecordFolder.h"
#include "record/StreamRecorder.h"
#include "stream/VideoStream.h"

namespace nubrix {

namespace {

constexpr std::size_t kMaxRecorders = 60;

}  // namespace

int Context::createRecorder(const char *path, NubrixRecord **recorder)
{
    const ApiLock lock(*this);
    if (const int refused = requireInitialized(lock))
        return refused;
    logPrint(kLogInfo, "Enter Create Recorder file[%s]", path ? path : "(null)");
    if (recorders().size() >= kMaxRecorders) {
        logPrint(kLogError, "Reached Max Stream number!");
        return -5;
    }
    char prepared[kMaxRecordPath + 1] = {};
    if (createRecordFolder(path, prepared, kMaxRecordPath) != 0)
        return -1;
    auto created = std::make_shared<StreamRecorder>(prepared);
    if (!created->isOpened()) {
        created.reset();
        logPrint(kLogError, "Create Recorder failed because File path invalid!");
        return -1;
    }
    *recorder = created->handle();
    {
        const CriticalSectionScoped guard(*m_leafLock);
        m_recorders.push_back(std::move(created));
    }
    logPrint(kLogInfo, "Create Recorder Success! recordHandle[%p]", static_cast<void *>(*recorder));
    return 0;
}

int Context::recorderAttachStream(NubrixRecord *handle, NubrixStream *streamHandle)
{
    const ApiLock lock(*this);
    if (const int refused = requireInitialized(lock))
        return refused;
    const std::shared_ptr<StreamRecorder> recorder = requireRecorder(handle);
    if (!recorder)
        return -13;
    const StreamRegistry::Pin stream = requireStream(streamHandle);
    if (!stream)
        return -13;
    const unsigned int type = stream->getFrameType();
    logPrint(kLogInfo, "Enter Create [%d] Record", static_cast<int>(type));
    return recorder->AttachStream(stream.get(), type, 0);
}

int Context::recorderStart(NubrixRecord *handle)
{
    const ApiLock lock(*this);
    if (const int refused = requireInitialized(lock))
        return refused;
    const std::shared_ptr<StreamRecorder> recorder = requireRecorder(handle);
    return recorder ? recorder->Start() : -13;
}

int Context::recorderStop(NubrixRecord *handle)
{
    const ApiLock lock(*this);
    if (const int refused = requireInitialized(lock))
        return refused;
    const std::shared_ptr<StreamRecorder> recorder = requireRecorder(handle);
    return recorder ? recorder->Stop() : -13;
}

int Context::destroyRecorder(NubrixRecord *handle)
{
    const ApiLock lock(*this);
    if (const int refused = requireInitialized(lock))
        return refused;
    const std::shared_ptr<StreamRecorder> recorder = requireRecorder(handle);
    if (!recorder)
        return -13;
    std::size_t left = 0;
    {
        const CriticalSectionScoped guard(*m_leafLock);
        m_recorders.remove(recorder);
        left = m_recorders.size();
    }
    logPrint(kLogInfo, "After remove recorder, the size=%d", static_cast<int>(left));
    // A stream that is being closed on another thread may hold it a moment longer.
    recorder->finish();
    return 0;
}

std::shared_ptr<StreamRecorder> Context::requireRecorder(NubrixRecord *handle)
{
    for (const auto &recorder : recorders()) {
        if (recorder->handle() == handle)
            return recorder;
    }
    logPrint(kLogError, "Invalid Recorder Handler!");
    return nullptr;
}

std::list<std::shared_ptr<StreamRecorder>> Context::recorders()
{
    const CriticalSectionScoped guard(*m_leafLock);
    return m_recorders;
}

}  // namespace nubrix
