#include "base/CriticalSectionImpl.h"

namespace nubrix {

CriticalSectionWrapper *CriticalSectionWrapper::create()
{
    return new CriticalSectionImpl;
}

CriticalSectionImpl::CriticalSectionImpl()
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&m_mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

CriticalSectionImpl::~CriticalSectionImpl()
{
    pthread_mutex_destroy(&m_mutex);
}

}  // namespace nubrix
