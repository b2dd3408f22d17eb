// Stands between the library and the C library, so that a test can watch a system call or fail it.
#pragma once

#include <dlfcn.h>
#include <pthread.h>
#include <sys/time.h>

#include <cstddef>
#include <ctime>
#include <functional>

namespace nubrix {

/// What to do for each call; an empty function makes the real call. For executables that are linked
/// with nubrix_wrap_system_calls (SystemCalls.cmake), and for the calls of their own objects only.
struct SystemCalls {
    std::function<int(pthread_mutex_t *)> mutexLock;
    std::function<int(pthread_cond_t *, pthread_mutex_t *)> condWait;
    std::function<int(pthread_cond_t *, pthread_mutex_t *, const timespec *)> condTimedWait;
    std::function<int(pthread_cond_t *)> condBroadcast;
    std::function<int(pthread_attr_t *)> attrInit;
    std::function<int(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *)> create;
    std::function<int(pthread_t, void **)> join;
    std::function<int(pthread_t, int, const sched_param *)> setSchedParam;
    std::function<int(int)> priorityMin;
    std::function<int(int)> priorityMax;
    std::function<void *(std::size_t, std::size_t)> calloc;
    std::function<void(void *)> free;
    std::function<int(const void *, Dl_info *)> dladdr;
    std::function<void *(const char *, int)> dlopen;
    std::function<void *(void *, const char *)> dlsym;
    std::function<int(void *)> dlclose;
    std::function<int(const timespec *, timespec *)> nanosleep;
    std::function<int(timeval *)> gettimeofday;
};

/// The real calls, for functions of SystemCalls to pass on to.
struct RealCalls {
    static int mutexLock(pthread_mutex_t *mutex);
    static int condWait(pthread_cond_t *condition, pthread_mutex_t *mutex);
    static int condTimedWait(pthread_cond_t *condition, pthread_mutex_t *mutex,
                             const timespec *deadline);
    static int create(pthread_t *thread, const pthread_attr_t *attributes, void *(*run)(void *),
                      void *argument);
    static int join(pthread_t thread, void **result);
    static void *calloc(std::size_t count, std::size_t size);
    static void free(void *memory);
};

/// Puts `calls` in force for its own lifetime. One at a time; both must outlive the threads that
/// make the calls.
class SystemCallsInForce {
public:
    explicit SystemCallsInForce(const SystemCalls &calls);
    ~SystemCallsInForce();
    SystemCallsInForce(const SystemCallsInForce &) = delete;
    SystemCallsInForce &operator=(const SystemCallsInForce &) = delete;
};

}  // namespace nubrix
