#include "stream/CallbackWorker.h"

#include "base/CallbackWait.h"
#include "base/LogCall.h"

namespace nubrix {

CallbackWorker::CallbackWorker(bool (*pass)(void *), void *stream)
    : m_thread(ThreadWrapper::createThread(pass, stream, "Stream CallBack"))
{
}

void CallbackWorker::run()
{
    const MutexLock control(m_control);
    bool ended = false;
    {
        const MutexLock guard(m_mutex);
        if (m_closed)
            return;
        m_wanted = true;  // before the thread looks at it
        if (m_state == State::kRunning) {
            m_changed.notify_all();  // whoever waits for the end: it is not to end any more
            return;
        }
        ended = m_state == State::kEnded;
        m_state = State::kRunning;
    }
    if (ended)
        m_thread->stop();
    if (m_thread->start() == 0)
        return;
    const MutexLock guard(m_mutex);
    m_state = State::kIdle;
    m_changed.notify_all();
}

void CallbackWorker::requestEnd()
{
    const MutexLock guard(m_mutex);
    m_wanted = false;
}

void CallbackWorker::close()
{
    {
        const MutexLock guard(m_mutex);
        m_closed = true;
        m_wanted = false;
    }
    m_event.set();
}

bool CallbackWorker::awaitEnd()
{
    if (isEnding()) {
        const CallbackWait wait(this);
        if (wait.wouldHang())
            return false;
        const MutexLock guard(m_mutex);
        while (m_state == State::kRunning && !m_wanted)
            m_mutex.wait(m_changed);
    }
    const MutexLock control(m_control);
    {
        const MutexLock guard(m_mutex);
        if (m_state != State::kEnded)
            return true;
    }
    m_thread->stop();
    const MutexLock guard(m_mutex);
    m_state = State::kIdle;
    return true;
}

bool CallbackWorker::isEnding()
{
    const MutexLock guard(m_mutex);
    return m_state == State::kRunning && !m_wanted;
}

bool CallbackWorker::hasEnded()
{
    const MutexLock guard(m_mutex);
    return m_state != State::kRunning;
}

bool CallbackWorker::awaitFrame()
{
    const int waited = m_event.wait(-1);
    {
        const MutexLock guard(m_mutex);
        if (waited == 0 && m_wanted)
            return true;
    }
    if (waited == 0)
        logPrint(kLogMilestone, "stop NewCallFrameBackProcess Thread succeed!");
    const MutexLock guard(m_mutex);
    if (waited == 0 && m_wanted)  // again meanwhile
        return true;
    m_state = State::kEnded;
    m_changed.notify_all();
    return false;
}

}  // namespace nubrix
