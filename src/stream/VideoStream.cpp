#include "stream/VideoStream.h"

#include "base/CallbackScope.h"
#include "base/Clock.h"
#include "base/CriticalSectionWrapper.h"
#include "base/ErrorNumber.h"
#include "base/LogCall.h"
#include "device/Device.h"
#include "stream/Sensor.h"
#include "stream/StreamFrameBaseListener.h"

namespace nubrix {

namespace {

std::atomic<std::uint64_t> g_lastId{0};

constexpr int kGetFrameMs = 1000;
constexpr int kBeforeStopMs = 20;

}  // namespace

VideoStream::VideoStream(Device &device, Sensor &sensor)
    : m_id(++g_lastId),
      m_owner(device.weak_from_this().lock()),
      m_device(device),
      m_sensor(sensor),
      m_ledger(sensor),
      m_callbackWorker(newFrameCallBackThreadFunc, this)
{
    logPrint(kLogInfo, "Create newFrameThreadFunc");
    m_streamWorker.reset(ThreadWrapper::createThread(newFrameThreadFunc, this, "Stream Thread"));
    readConfigeMaxFrameSize();
}

VideoStream::~VideoStream()
{
    shutDown();
    disconnect_all();
}

bool VideoStream::shutDown()
{
    bool first = false;
    {
        const MutexLock change(m_change);
        first = !m_shutDown;
        m_shutDown = true;
    }
    if (first || hasStarted())  // another thread may be stopping it
        stop();
    m_callbackWorker.close();
    return m_callbackWorker.awaitEnd();
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
    const MutexLock change(m_change);
    if (m_shutDown)
        return -13;
    if (m_started)
        return 0;
    b_NewFrameThreadStarted = true;
    if (const int failed = m_streamWorker->start()) {
        b_NewFrameThreadStarted = false;
        logPrint(kLogError, "start stream thread failed[%d]", failed);
        return failed;
    }
    try {
        m_sensor.newFrameSignal().connect(this, &VideoStream::onNewSensorFrame);
        m_started = true;
        return m_sensor.start();
    } catch (...) {
        m_sensor.newFrameSignal().disconnect(this);
        stopStreamWorker();
        forgetFrames();
        throw;
    }
}

void VideoStream::stop()
{
    logEmptyLine();
    bool callbackStopped = false;
    while (!stopAllBut(callbackStopped)) {
        stopCallbackWorker();
        callbackStopped = true;
    }
}

// All but the callback's thread, which is stopped before. False when the stream was started since.
bool VideoStream::stopAllBut(bool callbackStopped)
{
    const MutexLock change(m_change);
    if (m_started && !callbackStopped)
        return false;
    if (m_started) {
        m_sensor.newFrameSignal().disconnect(this);
        stopStreamWorker();
        m_sensor.stop();
    }
    forgetFrames();
    return true;
}

// The last step of a stop.
void VideoStream::forgetFrames()
{
    const CriticalSectionScoped guard(m_queueLock);
    for (NubrixFrameRef *frame : m_queue) {
        m_ledger.onDiscarded();
        m_return.drop(frame);
    }
    m_queue.clear();
    m_return.reset();
    m_started = false;
}

void VideoStream::stopStreamWorker()
{
    b_NewFrameThreadStarted = false;
    m_streamEvent.set();
    m_streamWorker->stop();
}

// Waits for a start or stop that is under way.
bool VideoStream::hasStarted()
{
    const MutexLock change(m_change);
    return m_started;
}

// Without m_change: the callback that is waited for may start or stop this stream.
void VideoStream::stopCallbackWorker()
{
    {
        const CriticalSectionScoped guard(m_queueLock);
        if (!m_callback)
            return;
    }
    m_callbackWorker.requestEnd();
    sleepMs(kBeforeStopMs);
    m_callbackWorker.notify();
    m_callbackWorker.awaitEnd();
}

void VideoStream::onNewSensorFrame(NubrixFrameRef *frame)
{
    bool withCallback = false;
    {
        const CriticalSectionScoped guard(m_queueLock);
        if (!m_started) {  // another stream of the sensor is
            m_ledger.onUnwanted();
            return;
        }
        while (m_queue.size() >= m_maxFrameSize) {
            m_ledger.onReplaced();
            m_return.drop(m_queue.front());
            m_queue.erase(m_queue.begin());
        }
        m_queue.push_back(frame);
        frame->incRef();
        withCallback = m_callback != nullptr;
        m_return.onArrival(!withCallback);
        m_ledger.onArrival();
    }
    // Kept: with a callback the listeners are not woken.
    if (withCallback)
        m_callbackWorker.notify();
    else
        m_streamEvent.set();
}

bool VideoStream::newFrameProcess()
{
    bool onlyLooks = false;
    const int waited = m_streamEvent.waitUnless(
        m_nextLookMs, [&] { return onlyLooks = m_mustLook.exchange(false); });
    const bool notifies = waited != -11 && !onlyLooks;
    if (notifies) {
        if (waited != 0 || !b_NewFrameThreadStarted)
            return false;
        notifyListeners();
    }
    const CriticalSectionScoped guard(m_queueLock);
    if (notifies)
        m_return.endNotifying();
    if (m_return.mustNotifyAgain(newest()))
        m_streamEvent.set();
    else
        m_nextLookMs = m_return.shelveIfDone(newest());
    return true;
}

// Makes the worker check whether the newest frame can be shelved or listeners must be notified
// again. Listeners are not notified for it alone.
void VideoStream::lookAgain()
{
    m_mustLook = true;
    m_streamEvent.wakeAll();
}

void VideoStream::notifyListeners()
{
    {
        const CriticalSectionScoped guard(m_queueLock);
        m_return.beginNotifying();
    }
    m_newFrame.emit(this);
}

void VideoStream::onListenerBegins()
{
    {
        const CriticalSectionScoped guard(m_queueLock);
        m_return.onListenerBegins();
    }
    lookAgain();
}

void VideoStream::onListenerDone(bool hasRecorded)
{
    const CriticalSectionScoped guard(m_queueLock);
    if (hasRecorded)
        m_ledger.onRecorded();
    m_return.onListenerDone();
}

void VideoStream::onReaderWoken()
{
    const CriticalSectionScoped guard(m_queueLock);
    m_return.onReader();
}

bool VideoStream::newFrameCallFrameBackProcess()
{
    if (!m_callbackWorker.awaitFrame())
        return false;
    xp<NubrixFrameRef> frame;
    NubrixFrameCallback callback = nullptr;
    void *userData = nullptr;
    if (!takeForCallback(frame, callback, userData))
        return true;
    frame->incRef();  // the application's, returned with releaseFrame
    {
        const CallbackScope inCallback(&m_callbackWorker);
        callback(handle(), &frame->frame(), userData);
    }
    const CriticalSectionScoped guard(m_queueLock);
    m_ledger.onCallbackReturned();
    return true;
}

// False when nothing is to be called. The newest frame has left the queue either way.
bool VideoStream::takeForCallback(xp<NubrixFrameRef> &out, NubrixFrameCallback &callback,
                                  void *&userData)
{
    if (!requireStarted())
        return false;
    const CriticalSectionScoped guard(m_queueLock);
    m_return.onReader();
    NubrixFrameRef *const frame = newest();
    if (!frame)
        return false;
    out = frame;
    callback = m_callback;
    userData = m_userData;
    if (callback)
        m_ledger.onDelivered(frame);
    else
        m_ledger.onDiscarded();
    popRead(frame);
    return callback != nullptr;
}

int VideoStream::readFrame(xp<NubrixFrameRef> &out, bool pop)
{
    if (!requireStarted())
        return -2;
    const CriticalSectionScoped guard(m_queueLock);
    if (pop)
        m_return.onReader();
    NubrixFrameRef *const frame = pop ? newest() : m_return.frameForListeners(newest());
    if (!frame)
        return -5;
    out = frame;
    if (pop) {
        m_ledger.onRead(frame);
        popRead(frame);
    } else {
        m_ledger.onRecorder(frame == newest());
    }
    return 0;
}

void VideoStream::popRead(NubrixFrameRef *frame)
{
    m_return.onRead(frame);
    m_queue.erase(m_queue.begin());
}

bool VideoStream::requireStarted() const
{
    const bool started = m_started;
    if (!started)
        logPrint(kLogWarning, "Stream Not Stared");
    return started;
}

int VideoStream::getFrame(xp<NubrixFrameRef> &out, const std::function<bool()> &isOver)
{
    if (!requireStarted())
        return -2;
    if (!hasFrame()) {
        const int waited = m_streamEvent.waitUnless(
            kGetFrameMs, [&] { return !b_NewFrameThreadStarted || (isOver && isOver()); });
        if (waited == -11)
            setErrorNumber(NUBRIX_ERR_FRAME_UNAVAILABLE);
        if (waited != 0)
            return -1;
        if (!b_NewFrameThreadStarted) {
            logPrint(kLogMilestone, "b_NewFrameThreadStarted is false, Thread is Stop");
            return -1;
        }
        forwardEvent();
        if (isOver && isOver())
            return -1;
    }
    const CriticalSectionScoped guard(m_queueLock);
    if (m_queue.empty())
        return -1;
    out = m_queue.front();
    m_return.onPhoto();
    m_ledger.onPhoto();
    if (m_return.shelveIfDone(newest()) >= 0)
        lookAgain();
    return 0;
}

void VideoStream::forwardEvent()
{
    // The event was meant for the stream worker: others that wait for the frame must not miss it.
    const CriticalSectionScoped guard(m_queueLock);
    if (m_return.frameForListeners(newest()))
        m_streamEvent.set();
}

bool VideoStream::hasFrame()
{
    const CriticalSectionScoped guard(m_queueLock);
    return !m_queue.empty();
}

void VideoStream::setStreamCallback(NubrixFrameCallback callback, void *userData)
{
    {
        const CriticalSectionScoped guard(m_queueLock);
        if (callback && !m_callback)
            m_return.shelve(newest());  // it arrived before: the callback does not get it
        m_callback = callback;
        m_userData = userData;
        m_maxFrameSize = 1;
    }
    m_callbackWorker.run();
}

NubrixStreamLedger VideoStream::ledger()
{
    const CriticalSectionScoped guard(m_queueLock);
    return m_ledger.figures(m_queue.size());
}

unsigned int VideoStream::getFrameType() const
{
    return m_sensor.type();
}

bool VideoStream::newFrameThreadFunc(void *self)
{
    return static_cast<VideoStream *>(self)->newFrameProcess();
}

bool VideoStream::newFrameCallBackThreadFunc(void *self)
{
    return static_cast<VideoStream *>(self)->newFrameCallFrameBackProcess();
}

}  // namespace nubrix
