// The event on a POSIX mutex and a condition on the monotonic clock.
#pragma once

#include <pthread.h>

#include <ctime>

#include "base/EventWrapper.h"

namespace nubrix {

class EventImpl final : public EventWrapper {
public:
    EventImpl();
    ~EventImpl() override;

    int reset() override;
    int set() override;
    int wait(int ms) override;

private:
    int waitUntil(const timespec *deadline);

    pthread_mutex_t m_mutex;
    pthread_cond_t m_condition;
    pthread_condattr_t m_attributes;
    int m_signalled = 0;  // 0 or 1, under m_mutex
};

}  // namespace nubrix
