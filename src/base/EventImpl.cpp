#include "base/EventImpl.h"

#include <cerrno>

namespace nubrix {

EventWrapper *EventWrapper::create()
{
    return new EventImpl;
}

EventImpl::EventImpl()
{
    pthread_mutex_init(&m_mutex, nullptr);
    pthread_condattr_init(&m_attributes);
    pthread_condattr_setclock(&m_attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&m_condition, &m_attributes);
}

EventImpl::~EventImpl()
{
    pthread_cond_destroy(&m_condition);
    pthread_condattr_destroy(&m_attributes);
    pthread_mutex_destroy(&m_mutex);
}

int EventImpl::reset()
{
    if (pthread_mutex_lock(&m_mutex) != 0)
        return -1;
    m_signalled = 0;
    pthread_mutex_unlock(&m_mutex);
    return 0;
}

int EventImpl::set()
{
    if (pthread_mutex_lock(&m_mutex) != 0)
        return -1;
    m_signalled = 1;
    pthread_mutex_unlock(&m_mutex);
    // Woken after the unlock, or the waiter would wake only to wait for the mutex.
    if (pthread_cond_broadcast(&m_condition) == 0)
        return 0;
    // Kept: when waking fails the mutex stays held. See docs/oddities.md.
    pthread_mutex_lock(&m_mutex);
    return -1;
}

void EventImpl::wakeAll()
{
    pthread_mutex_lock(&m_mutex);  // nobody is between its question and its sleep
    pthread_mutex_unlock(&m_mutex);
    pthread_cond_broadcast(&m_condition);
}

int EventImpl::wait(int ms)
{
    return waitUnless(ms, nullptr);
}

int EventImpl::waitUnless(int ms, const std::function<bool()> &isOver)
{
    timespec deadline = {};
    if (ms != -1) {
        clock_gettime(CLOCK_MONOTONIC, &deadline);
        deadline.tv_sec += ms / 1000;
        deadline.tv_nsec += (ms % 1000) * 1000000L;
        if (deadline.tv_nsec > 999999999) {
            deadline.tv_sec += 1;
            deadline.tv_nsec -= 1000000000;
        }
    }
    if (pthread_mutex_lock(&m_mutex) != 0)
        return -1;
    const int result = waitUntil(ms == -1 ? nullptr : &deadline, ms == 0, isOver);
    pthread_mutex_unlock(&m_mutex);
    return result;
}

int EventImpl::waitUntil(const timespec *deadline, bool isPast, const std::function<bool()> &isOver)
{
    int error = 0;
    for (;;) {
        if (isOver && isOver())
            return 0;
        if (m_signalled != 0 || error != 0)
            break;
        if (isPast)
            error = ETIMEDOUT;  // a timed wait would sleep although the time is over
        else
            error = deadline ? pthread_cond_timedwait(&m_condition, &m_mutex, deadline)
                             : pthread_cond_wait(&m_condition, &m_mutex);
    }
    // Kept: a time-out in the same instant as a set() leaves the event to the next waiter.
    if (error != 0)
        return error == ETIMEDOUT ? -11 : -1;
    m_signalled = 0;
    return 0;
}

}  // namespace nubrix
