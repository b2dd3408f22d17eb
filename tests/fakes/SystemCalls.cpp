#include "tests/fakes/SystemCalls.h"

#include <atomic>

namespace nubrix {

namespace {

std::atomic<const SystemCalls *> g_calls{nullptr};

template <class Function, class Real, class... Arguments>
auto dispatch(Function SystemCalls::*function, Real real, Arguments... arguments)
{
    const SystemCalls *const calls = g_calls.load(std::memory_order_acquire);
    return calls && calls->*function ? (calls->*function)(arguments...) : real(arguments...);
}

}  // namespace

SystemCallsInForce::SystemCallsInForce(const SystemCalls &calls)
{
    g_calls.store(&calls, std::memory_order_release);
}

SystemCallsInForce::~SystemCallsInForce()
{
    g_calls.store(nullptr, std::memory_order_release);
}

}  // namespace nubrix

// The linker directs the calls of this executable's objects to __wrap_X, and __real_X to X.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {

using nubrix::dispatch;
using nubrix::SystemCalls;

int __real_pthread_mutex_lock(pthread_mutex_t *);
int __wrap_pthread_mutex_lock(pthread_mutex_t *mutex)
{
    return dispatch(&SystemCalls::mutexLock, __real_pthread_mutex_lock, mutex);
}

int __real_pthread_cond_wait(pthread_cond_t *, pthread_mutex_t *);
int __wrap_pthread_cond_wait(pthread_cond_t *condition, pthread_mutex_t *mutex)
{
    return dispatch(&SystemCalls::condWait, __real_pthread_cond_wait, condition, mutex);
}

int __real_pthread_cond_timedwait(pthread_cond_t *, pthread_mutex_t *, const timespec *);
int __wrap_pthread_cond_timedwait(pthread_cond_t *condition, pthread_mutex_t *mutex,
                                  const timespec *deadline)
{
    return dispatch(&SystemCalls::condTimedWait, __real_pthread_cond_timedwait, condition, mutex,
                    deadline);
}

int __real_pthread_cond_broadcast(pthread_cond_t *);
int __wrap_pthread_cond_broadcast(pthread_cond_t *condition)
{
    return dispatch(&SystemCalls::condBroadcast, __real_pthread_cond_broadcast, condition);
}

int __real_pthread_attr_init(pthread_attr_t *);
int __wrap_pthread_attr_init(pthread_attr_t *attributes)
{
    return dispatch(&SystemCalls::attrInit, __real_pthread_attr_init, attributes);
}

int __real_pthread_create(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *);
int __wrap_pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*run)(void *),
                          void *argument)
{
    return dispatch(&SystemCalls::create, __real_pthread_create, thread, attributes, run, argument);
}

int __real_pthread_join(pthread_t, void **);
int __wrap_pthread_join(pthread_t thread, void **result)
{
    return dispatch(&SystemCalls::join, __real_pthread_join, thread, result);
}

int __real_pthread_setschedparam(pthread_t, int, const sched_param *);
int __wrap_pthread_setschedparam(pthread_t thread, int policy, const sched_param *parameters)
{
    return dispatch(&SystemCalls::setSchedParam, __real_pthread_setschedparam, thread, policy,
                    parameters);
}

int __real_sched_get_priority_min(int);
int __wrap_sched_get_priority_min(int policy)
{
    return dispatch(&SystemCalls::priorityMin, __real_sched_get_priority_min, policy);
}

int __real_sched_get_priority_max(int);
int __wrap_sched_get_priority_max(int policy)
{
    return dispatch(&SystemCalls::priorityMax, __real_sched_get_priority_max, policy);
}

void *__real_calloc(std::size_t, std::size_t);
void *__wrap_calloc(std::size_t count, std::size_t size)
{
    return dispatch(&SystemCalls::calloc, __real_calloc, count, size);
}

void __real_free(void *);
void __wrap_free(void *memory)
{
    dispatch(&SystemCalls::free, __real_free, memory);
}

int __real_dladdr(const void *, Dl_info *);
int __wrap_dladdr(const void *address, Dl_info *info)
{
    return dispatch(&SystemCalls::dladdr, __real_dladdr, address, info);
}

void *__real_dlopen(const char *, int);
void *__wrap_dlopen(const char *path, int mode)
{
    return dispatch(&SystemCalls::dlopen, __real_dlopen, path, mode);
}

void *__real_dlsym(void *, const char *);
void *__wrap_dlsym(void *library, const char *name)
{
    return dispatch(&SystemCalls::dlsym, __real_dlsym, library, name);
}

int __real_dlclose(void *);
int __wrap_dlclose(void *library)
{
    return dispatch(&SystemCalls::dlclose, __real_dlclose, library);
}

int __real_nanosleep(const timespec *, timespec *);
int __wrap_nanosleep(const timespec *length, timespec *rest)
{
    return dispatch(&SystemCalls::nanosleep, __real_nanosleep, length, rest);
}

int __real_gettimeofday(timeval *, void *);
int __wrap_gettimeofday(timeval *now, void *zone)
{
    const auto real = [zone](timeval *time) { return __real_gettimeofday(time, zone); };
    return dispatch(&SystemCalls::gettimeofday, real, now);
}

}  // extern "C"

namespace nubrix {

int RealCalls::mutexLock(pthread_mutex_t *mutex)
{
    return __real_pthread_mutex_lock(mutex);
}

int RealCalls::condWait(pthread_cond_t *condition, pthread_mutex_t *mutex)
{
    return __real_pthread_cond_wait(condition, mutex);
}

int RealCalls::condTimedWait(pthread_cond_t *condition, pthread_mutex_t *mutex,
                             const timespec *deadline)
{
    return __real_pthread_cond_timedwait(condition, mutex, deadline);
}

int RealCalls::create(pthread_t *thread, const pthread_attr_t *attributes, void *(*run)(void *),
                      void *argument)
{
    return __real_pthread_create(thread, attributes, run, argument);
}

int RealCalls::join(pthread_t thread, void **result)
{
    return __real_pthread_join(thread, result);
}

void *RealCalls::calloc(std::size_t count, std::size_t size)
{
    return __real_calloc(count, size);
}

void RealCalls::free(void *memory)
{
    __real_free(memory);
}

}  // namespace nubrix
// NOLINTEND(bugprone-reserved-identifier)
