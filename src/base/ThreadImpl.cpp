#include "base/ThreadImpl.h"

#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>

#include "base/CriticalSectionWrapper.h"
#include "base/ErrorNumber.h"
#include "base/LogCall.h"

namespace nubrix {

namespace {

constexpr int kStartTimeoutMs = 2000;

int schedulerPriority(ThreadPriority priority, int min, int max)
{
    switch (priority) {
        case ThreadPriority::Low:
            // Kept: the odd -1 is part of the mapping.
            return ((min + 1) + (max - 1) - 1) / 2;
        case ThreadPriority::Normal:
            return std::max(min + 1, max - 3);
        case ThreadPriority::High:
            return std::max(min + 1, max - 2);
        case ThreadPriority::RealTime:
            return max - 1;
        case ThreadPriority::Lowest:
            break;
    }
    return min + 1;
}

}  // namespace

ThreadWrapper *ThreadWrapper::createThread(bool (*run)(void *), void *argument, const char *name)
{
    return new ThreadImpl(run, argument, name);
}

int ThreadWrapper::getThreadId()
{
    return static_cast<int>(syscall(SYS_gettid));
}

ThreadImpl::ThreadImpl(bool (*run)(void *), void *argument, const char *name)
    : m_run(run),
      m_argument(argument),
      m_startEvent(EventWrapper::create()),
      m_lock(CriticalSectionWrapper::create()),
      m_name(name ? name : "NUBRIX_THREAD")
{
}

ThreadImpl::~ThreadImpl()
{
    if (m_attributesMade)
        pthread_attr_destroy(&m_attributes);
    ThreadImpl::stop();
}

int ThreadImpl::start()
{
    {
        const CriticalSectionScoped guard(*m_lock);
        if (m_running || m_started || m_changing)
            return -5;
        m_changing = true;
        m_start = Start::kPending;
    }
    const int result = launch();
    const CriticalSectionScoped guard(*m_lock);
    m_changing = false;
    m_started = result == 0;
    return result;
}

int ThreadImpl::launch()
{
    if (!m_attributesMade && pthread_attr_init(&m_attributes) != 0)
        return -1;
    m_attributesMade = true;
    m_startEvent->reset();
    pthread_t handle = 0;
    if (pthread_create(&handle, &m_attributes, &ThreadImpl::startThread, this) != 0) {
        setErrorNumber(NUBRIX_ERR_THREAD_START);
        logPrint(kLogError, "Start Thread[%s] Failed", m_name.c_str());
        return -1;
    }
    if (m_startEvent->wait(kStartTimeoutMs) == 0) {
        m_handle = handle;
        decide(Start::kSucceeded);
        return 0;
    }
    decide(Start::kGivenUp);
    pthread_join(handle, nullptr);
    return -11;
}

void ThreadImpl::decide(Start result)
{
    {
        const CriticalSectionScoped guard(*m_lock);
        m_start = result;
        if (result == Start::kGivenUp)
            m_running = false;
    }
    m_start.notify_all();
}

int ThreadImpl::stop()
{
    {
        const CriticalSectionScoped guard(*m_lock);
        if (!m_started)
            return -5;
        m_running = false;
        m_started = false;
        m_changing = true;
    }
    const int failed = pthread_join(m_handle, nullptr);
    if (failed == 0)
        m_handle = 0;
    {
        const CriticalSectionScoped guard(*m_lock);
        m_changing = false;
    }
    if (failed != 0)
        return -1;
    logPrint(kLogInfo, "Thread[%s] Stoped", m_name.c_str());
    return 0;
}

int ThreadImpl::setPriority(ThreadPriority priority)
{
    if (m_handle == 0) {
        setErrorNumber(NUBRIX_ERR_THREAD_NOT_CREATED);
        logPrint(kLogError, "thread  not create");
        return -5;
    }
    const int min = sched_get_priority_min(SCHED_RR);
    const int max = sched_get_priority_max(SCHED_RR);
    if (min == -1 || max == -1 || max - min <= 2)
        return -8;
    sched_param parameters = {};
    parameters.sched_priority = schedulerPriority(priority, min, max);
    logPrint(kLogInfo, "Set pid[%d]'s prioriry to[%d], policy[%d]", m_threadId.load(),
             parameters.sched_priority, SCHED_RR);
    if (pthread_setschedparam(m_handle, SCHED_RR, &parameters) != 0) {
        setErrorNumber(NUBRIX_ERR_THREAD_PRIORITY);
        return -1;
    }
    return 0;
}

void *ThreadImpl::startThread(void *self)
{
    static_cast<ThreadImpl *>(self)->Run();
    return nullptr;
}

void ThreadImpl::Run()
{
    logPrint(kLogInfo, "Begin run thread[id:%d, name:%s] Enter", getThreadId(), m_name.c_str());
    if (announce())
        loop();
}

bool ThreadImpl::announce()
{
    {
        const CriticalSectionScoped guard(*m_lock);
        // A thread that starts too late must end: start() joins it.
        m_running = m_start != Start::kGivenUp;
    }
    if (!m_name.empty())
        prctl(PR_SET_NAME, m_name.c_str());
    m_threadId = getThreadId();
    if (m_startEvent->set() == 0)
        return true;
    logPrint(kLogError, "start event set error [%s]", m_name.c_str());
    return false;
}

void ThreadImpl::loop()
{
    // Nobody wakes a call of the function for a start that has been given up, and start() joins.
    m_start.wait(Start::kPending);
    while (m_start == Start::kSucceeded) {
        const bool again = m_run(m_argument);
        const CriticalSectionScoped guard(*m_lock);
        if (!again) {
            logPrint(kLogInfo, "Thread run function returns false, id=%d, thread_=%08x, name=%s",
                     m_threadId.load(), static_cast<unsigned int>(pthread_self()), m_name.c_str());
            m_running = false;
            break;
        }
        if (!m_running)
            break;
    }
    logPrint(kLogInfo, "Thread stop running[id:%d, name:%s] Exit", m_threadId.load(),
             m_name.c_str());
}

}  // namespace nubrix
