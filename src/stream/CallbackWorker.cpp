#include "stream/CallbackWorker.h"

#include "base/LogCall.h"

namespace nubrix {

namespace {

constexpr int kPassMs = 100;

Undestroyed<Mutex> g_mutex;
Undestroyed<std::condition_variable> g_changed;

}  // namespace

Mutex &CallbackWorker::s_mutex = g_mutex.get();
std::condition_variable &CallbackWorker::s_changed = g_changed.get();
thread_local CallbackWorker *CallbackWorker::t_current = nullptr;

CallbackWorker::CallbackWorker(bool (*pass)(void *), void *stream)
    : m_thread(ThreadWrapper::createThread(pass, stream, "Stream CallBack"))
{
}

void CallbackWorker::run()
{
    const MutexLock control(m_control);
    bool ended = false;
    {
        const MutexLock guard(s_mutex);
        if (m_closed)
            return;
        m_wanted = true;  // before the thread looks at it
        if (m_state == State::kRunning) {
            s_changed.notify_all();  // whoever waits for the end: it is not to end any more
            return;
        }
        ended = m_state == State::kEnded;
        m_state = State::kRunning;
    }
    if (ended)
        m_thread->stop();
    if (m_thread->start() == 0)
        return;
    const MutexLock guard(s_mutex);
    m_state = State::kIdle;
    s_changed.notify_all();
}

void CallbackWorker::requestEnd()
{
    const MutexLock guard(s_mutex);
    m_wanted = false;
}

void CallbackWorker::close()
{
    {
        const MutexLock guard(s_mutex);
        m_closed = true;
        m_wanted = false;
    }
    m_event.set();
}

bool CallbackWorker::awaitEnd()
{
    {
        const MutexLock guard(s_mutex);
        if (m_state == State::kRunning && wouldWaitForItself(this, t_current))
            return false;
        if (t_current)
            t_current->m_waitsFor = this;
        while (m_state == State::kRunning && !m_wanted)
            s_mutex.wait(s_changed);
        if (t_current)
            t_current->m_waitsFor = nullptr;
    }
    const MutexLock control(m_control);
    {
        const MutexLock guard(s_mutex);
        if (m_state != State::kEnded)
            return true;
    }
    m_thread->stop();
    const MutexLock guard(s_mutex);
    m_state = State::kIdle;
    return true;
}

// Whether the callback of the target waits, through however many others, for the waiter's.
bool CallbackWorker::wouldWaitForItself(const CallbackWorker *target, const CallbackWorker *waiter)
{
    if (!waiter)
        return false;
    const CallbackWorker *each = target;
    while (each && each != waiter)
        each = each->m_waitsFor;
    return each != nullptr;
}

bool CallbackWorker::hasEnded()
{
    const MutexLock guard(s_mutex);
    return m_state != State::kRunning;
}

CallbackWorker::Wakeup CallbackWorker::wait()
{
    t_current = this;
    const int waited = m_event.wait(kPassMs);
    if (waited == -11)
        return Wakeup::kNone;
    {
        const MutexLock guard(s_mutex);
        if (waited == 0 && m_wanted)
            return Wakeup::kFrame;
    }
    if (waited == 0)
        logPrint(kLogMilestone, "stop NewCallFrameBackProcess Thread succeed!");
    const MutexLock guard(s_mutex);
    if (waited == 0 && m_wanted)  // again meanwhile
        return Wakeup::kFrame;
    m_state = State::kEnded;
    s_changed.notify_all();
    return Wakeup::kEnd;
}

}  // namespace nubrix
