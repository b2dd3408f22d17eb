#include "stream/VideoStream.h"

#include "base/Clock.h"
#include "base/CriticalSectionScoped.h"
#include "base/ErrorNumber.h"
#include "base/LogCall.h"
#include "stream/Sensor.h"
#include "stream/StreamFrameBaseListener.h"

namespace nubrix {

namespace {

constexpr int kPassMs = 100;
constexpr int kGetFrameMs = 1000;
constexpr int kBeforeStopMs = 20;

thread_local bool t_callbackThread = false;

// One start or stop at a time. A second one does not wait for it, since it may run on a thread that
// the first one waits for.
class Change final {
public:
    explicit Change(std::atomic<bool> &underWay) : m_underWay(underWay)
    {
        m_mine = !m_underWay.exchange(true);
    }
    ~Change()
    {
        if (m_mine)
            m_underWay = false;
    }
    Change(const Change &) = delete;
    Change &operator=(const Change &) = delete;
    bool mine() const { return m_mine; }

private:
    std::atomic<bool> &m_underWay;
    bool m_mine = false;
};

}  // namespace

VideoStream::VideoStream(Device &device, Sensor &sensor) : m_device(device), m_sensor(sensor)
{
    logPrint(kLogInfo, "Create newFrameThreadFunc");
    m_streamWorker.reset(ThreadWrapper::createThread(newFrameThreadFunc, this, "Stream Thread"));
    m_callbackWorker.reset(
        ThreadWrapper::createThread(newFrameCallBackThreadFunc, this, "Stream CallBack"));
    readConfigeMaxFrameSize();
}

VideoStream::~VideoStream()
{
    stop();
    disconnect_all();
}

void VideoStream::readConfigeMaxFrameSize()
{
    // Kept: nothing is read, despite the name; a slow reader sees the newest frame, never a
    // backlog.
    const CriticalSectionScoped guard(m_queueLock);
    m_maxFrameSize = 1;
    m_queue.reserve(m_maxFrameSize);
}

int VideoStream::start()
{
    logEmptyLine();
    const Change change(m_changing);
    if (m_started || !change.mine())
        return 0;
    b_NewFrameThreadStarted = true;
    if (const int failed = m_streamWorker->start()) {
        b_NewFrameThreadStarted = false;
        logPrint(kLogError, "start stream thread failed[%d]", failed);
        return failed;
    }
    m_sensor.newFrameSignal().connect(this, &VideoStream::onNewSensorFrame);
    m_started = true;
    return m_sensor.start();
}

void VideoStream::stop()
{
    logEmptyLine();
    const Change change(m_changing);
    if (!change.mine())
        return;
    if (m_started) {
        stopCallbackWorker();
        m_sensor.newFrameSignal().disconnect(this);
        b_NewFrameThreadStarted = false;
        m_streamEvent.set();
        m_streamWorker->stop();
        m_sensor.stop();
    }
    const CriticalSectionScoped guard(m_queueLock);
    for (NubrixFrameRef *frame : m_queue)
        m_return.drop(frame);
    m_queue.clear();
    m_return.reset();
    m_started = false;
}

void VideoStream::stopCallbackWorker()
{
    {
        const CriticalSectionScoped guard(m_queueLock);
        if (!m_callback)
            return;
    }
    m_callbackRunning = false;
    sleepMs(kBeforeStopMs);
    m_callbackEvent.set();
    m_callbackWorker->stop();
}

void VideoStream::onNewSensorFrame(NubrixFrameRef *frame)
{
    if (!m_started)
        return;
    bool withCallback = false;
    {
        const CriticalSectionScoped guard(m_queueLock);
        while (m_queue.size() >= m_maxFrameSize) {
            m_return.drop(m_queue.front());
            m_queue.erase(m_queue.begin());
        }
        m_queue.push_back(frame);
        frame->incRef();
        withCallback = m_callback != nullptr;
        m_return.onArrival(!withCallback);
    }
    // Kept: with a callback the listeners are not told.
    (withCallback ? m_callbackEvent : m_streamEvent).set();
}

bool VideoStream::newFrameProcess()
{
    const int waited = m_streamEvent.wait(kPassMs);
    if (waited != -11) {
        if (waited != 0 || !b_NewFrameThreadStarted)
            return false;
        tellListeners();
    }
    const CriticalSectionScoped guard(m_queueLock);
    m_return.shelveIfDone(newest());
    if (m_return.mustTellAgain(newest()))
        m_streamEvent.set();
    return true;
}

void VideoStream::tellListeners()
{
    {
        const CriticalSectionScoped guard(m_queueLock);
        m_return.beginTelling();
    }
    m_newFrame.emit(this);
    const CriticalSectionScoped guard(m_queueLock);
    m_return.endTelling();
}

void VideoStream::onListenerBegins()
{
    const CriticalSectionScoped guard(m_queueLock);
    m_return.onListenerBegins();
}

void VideoStream::onListenerDone()
{
    const CriticalSectionScoped guard(m_queueLock);
    m_return.onListenerDone();
}

void VideoStream::onReaderWoken()
{
    const CriticalSectionScoped guard(m_queueLock);
    m_return.onReader();
}

bool VideoStream::newFrameCallFrameBackProcess()
{
    const int waited = m_callbackEvent.wait(kPassMs);
    if (waited == -11)
        return true;
    if (waited != 0)
        return false;
    if (!m_callbackRunning) {
        logPrint(kLogMilestone, "stop NewCallFrameBackProcess Thread succeed!");
        return false;
    }
    xp<NubrixFrameRef> frame;
    if (readFrame(frame, true) != 0)
        return true;
    NubrixFrameCallback callback = nullptr;
    void *userData = nullptr;
    {
        const CriticalSectionScoped guard(m_queueLock);
        callback = m_callback;
        userData = m_userData;
    }
    if (callback) {
        frame->incRef();  // the application's, given back with releaseFrame
        callback(handle(), &frame->frame(), userData);
    }
    return true;
}

int VideoStream::readFrame(xp<NubrixFrameRef> &out, bool pop)
{
    if (!m_started) {
        logPrint(kLogWarning, "Stream Not Stared");
        return -2;
    }
    const CriticalSectionScoped guard(m_queueLock);
    if (pop)
        m_return.onReader();
    NubrixFrameRef *const frame = pop ? newest() : m_return.toShow(newest());
    if (!frame)
        return -5;
    out = frame;
    if (pop) {
        m_return.onRead(frame);
        m_queue.erase(m_queue.begin());
    }
    return 0;
}

int VideoStream::getFrame(xp<NubrixFrameRef> &out)
{
    if (!m_started) {
        logPrint(kLogWarning, "Stream Not Stared");
        return -2;
    }
    if (queueIsEmpty()) {
        const int waited = m_streamEvent.wait(kGetFrameMs);
        if (waited == -11)
            setErrorNumber(NUBRIX_ERR_FRAME_UNAVAILABLE);
        if (waited != 0)
            return -1;
        if (!b_NewFrameThreadStarted) {
            logPrint(kLogMilestone, "b_NewFrameThreadStarted is false, Thread is Stop");
            return -1;
        }
        passEventOn();
    }
    const CriticalSectionScoped guard(m_queueLock);
    if (m_queue.empty())
        return -1;
    out = m_queue.front();
    return 0;
}

void VideoStream::passEventOn()
{
    // It was the stream worker's: a listener that records must not miss a frame.
    const CriticalSectionScoped guard(m_queueLock);
    if (m_return.hasListener())
        m_streamEvent.set();
}

bool VideoStream::queueIsEmpty()
{
    const CriticalSectionScoped guard(m_queueLock);
    return m_queue.empty();
}

void VideoStream::setStreamCallback(NubrixFrameCallback callback, void *userData)
{
    {
        const CriticalSectionScoped guard(m_queueLock);
        if (callback && !m_callback)
            m_return.shelve(newest());  // it came before: the callback does not get it
        m_callback = callback;
        m_userData = userData;
        m_maxFrameSize = 1;
    }
    m_callbackRunning = true;  // before the thread looks at it
    m_callbackWorker->start();
}

unsigned int VideoStream::getFrameType() const
{
    return m_sensor.type();
}

bool VideoStream::onCallbackThread()
{
    return t_callbackThread;
}

bool VideoStream::newFrameThreadFunc(void *self)
{
    return static_cast<VideoStream *>(self)->newFrameProcess();
}

bool VideoStream::newFrameCallBackThreadFunc(void *self)
{
    t_callbackThread = true;
    return static_cast<VideoStream *>(self)->newFrameCallFrameBackProcess();
}

}  // namespace nubrix
