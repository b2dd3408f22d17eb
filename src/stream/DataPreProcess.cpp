#include "stream/DataPreProcess.h"

#include "base/CriticalSectionWrapper.h"
#include "base/ErrorNumber.h"
#include "base/LogCall.h"
#include "base/xp.h"
#include "stream/Sensor.h"

namespace nubrix {

namespace {

constexpr int kPassMs = 100;
constexpr std::size_t kQueueFullAbove = 3;

}  // namespace

DataPreProcess::~DataPreProcess()
{
    if (m_running)
        stop();
}

int DataPreProcess::start(Sensor *sensor)
{
    logEmptyLine();
    if (m_running)
        return 0;
    m_sensor = sensor;
    m_worker.reset(ThreadWrapper::createThread(threadFunc, this, "Data PreProcess Thread"));
    m_running = true;
    m_worker->start();
    return 0;
}

void DataPreProcess::stop()
{
    logEmptyLine();
    if (m_running) {
        m_running = false;
        m_newFrame.set();
        m_worker->stop();
        m_worker.reset();
    }
    const CriticalSectionScoped guard(m_queueLock);
    for (NubrixFrameRef *frame : m_queue)
        frame->release();
    m_queue.clear();
}

void DataPreProcess::onNewRawFrame(NubrixFrameRef *frame)
{
    const CriticalSectionScoped guard(m_queueLock);
    if (!m_running)
        return;
    if (m_queue.size() > kQueueFullAbove) {
        m_queue.front()->release();
        m_queue.pop_front();
    }
    m_queue.push_back(frame);
    frame->incRef();
    m_newFrame.set();
}

bool DataPreProcess::newFrameProcess()
{
    const int waited = m_newFrame.wait(kPassMs);
    if (waited == -11)
        return true;
    if (waited != 0) {
        setErrorNumber(NUBRIX_ERR_PREPROCESS);
        return false;
    }
    if (!m_running)
        return false;
    while (emitFront()) {
    }
    return true;
}

bool DataPreProcess::emitFront()
{
    xp<NubrixFrameRef> frame;
    {
        const CriticalSectionScoped guard(m_queueLock);
        if (m_queue.empty())
            return false;
        frame = m_queue.front();
        frame->release();
        m_queue.pop_front();
    }
    if (!m_running)
        return false;
    m_sensor->onNewFrame(frame.get());
    return true;
}

bool DataPreProcess::threadFunc(void * /*self*/)
{
    // Kept: the stage is not wired in in this release. See docs/oddities.md.
    return false;
}

}  // namespace nubrix
