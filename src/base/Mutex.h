// A mutex that Clang's thread safety analysis understands, and the words to annotate with.
#pragma once

#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define NUBRIX_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define NUBRIX_THREAD_SAFETY(attribute)
#endif

/// A kind of lock.
#define NUBRIX_CAPABILITY NUBRIX_THREAD_SAFETY(capability("mutex"))
/// A lock that is held from construction to destruction of an object.
#define NUBRIX_SCOPED_CAPABILITY NUBRIX_THREAD_SAFETY(scoped_lockable)
/// Data that is touched only while the lock is held.
#define NUBRIX_GUARDED_BY(lock) NUBRIX_THREAD_SAFETY(guarded_by(lock))
/// A function that is called only while the lock is held.
#define NUBRIX_REQUIRES(lock) NUBRIX_THREAD_SAFETY(requires_capability(lock))
/// A function that takes the lock; none named: the one that the object stands for.
#define NUBRIX_ACQUIRE(...) NUBRIX_THREAD_SAFETY(acquire_capability(__VA_ARGS__))
#define NUBRIX_RELEASE(...) NUBRIX_THREAD_SAFETY(release_capability(__VA_ARGS__))

namespace nubrix {

/// Not recursive. Thread-safe.
class NUBRIX_CAPABILITY Mutex final {
public:
    Mutex() = default;
    Mutex(const Mutex &) = delete;
    Mutex &operator=(const Mutex &) = delete;

    void lock() NUBRIX_ACQUIRE() { m_mutex.lock(); }
    void unlock() NUBRIX_RELEASE() { m_mutex.unlock(); }
    /// Unlocks, waits to be notified (or wakes for no reason), and locks again.
    void wait(std::condition_variable &condition) NUBRIX_REQUIRES(this)
    {
        std::unique_lock<std::mutex> held(m_mutex, std::adopt_lock);
        condition.wait(held);
        held.release();
    }

private:
    std::mutex m_mutex;
};

/// Holds a mutex for a scope.
class NUBRIX_SCOPED_CAPABILITY MutexLock final {
public:
    explicit MutexLock(Mutex &mutex) NUBRIX_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.lock(); }
    ~MutexLock() NUBRIX_RELEASE() { m_mutex.unlock(); }
    MutexLock(const MutexLock &) = delete;
    MutexLock &operator=(const MutexLock &) = delete;

private:
    Mutex &m_mutex;
};

/// A static object that is never destroyed: the process may end while threads use it.
template <class Object>
class Undestroyed final {
public:
    Undestroyed() : m_object() {}
    ~Undestroyed() {}
    Undestroyed(const Undestroyed &) = delete;
    Undestroyed &operator=(const Undestroyed &) = delete;
    Object &get() { return m_object; }

private:
    union {
        Object m_object;
    };
};

}  // namespace nubrix
