// The recursive lock on a POSIX mutex.
#pragma once

#include <pthread.h>

#include "base/CriticalSectionWrapper.h"

namespace nubrix {

class NUBRIX_CAPABILITY CriticalSectionImpl final : public CriticalSectionWrapper {
public:
    CriticalSectionImpl();
    ~CriticalSectionImpl() override;

    int enter() NUBRIX_ACQUIRE() override { return pthread_mutex_lock(&m_mutex); }
    int leave() NUBRIX_RELEASE() override { return pthread_mutex_unlock(&m_mutex); }

private:
    pthread_mutex_t m_mutex;
};

}  // namespace nubrix
