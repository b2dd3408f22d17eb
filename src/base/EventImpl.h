// The event on a POSIX mutex and a condition on the monotonic clock.
#pragma once

#include <pthread.h>

#include <ctime>
#include <functional>

#include "base/EventWrapper.h"

namespace nubrix {

class EventImpl final : public EventWrapper {
public:
    EventImpl();
    ~EventImpl() override;

    int reset() override;
    int set() override;
    int wait(int ms) override;
    /// Like wait, but returns 0 as soon as `isOver` holds, and then consumes no event. It is
    /// evaluated under the event's lock. Whoever makes it true calls set or wakeAll afterwards.
    int waitUnless(int ms, const std::function<bool()> &isOver);
    /// Makes every waitUnless evaluate `isOver` again; the event does not change.
    void wakeAll();

private:
    int waitUntil(const timespec *deadline, bool isPast, const std::function<bool()> &isOver);

    pthread_mutex_t m_mutex;
    pthread_cond_t m_condition;
    pthread_condattr_t m_attributes;
    int m_signalled = 0;  // 0 or 1, under m_mutex
};

}  // namespace nubrix
