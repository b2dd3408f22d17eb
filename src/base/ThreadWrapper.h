// A thread that calls one function over and over.
#pragma once

namespace nubrix {

enum class ThreadPriority { Lowest = 1, Low = 2, Normal = 3, High = 4, RealTime = 5 };

/// Calls `run` back to back, without a pause, until it returns false or stop() is called.
class ThreadWrapper {
public:
    ThreadWrapper() = default;
    ThreadWrapper(const ThreadWrapper &) = delete;
    ThreadWrapper &operator=(const ThreadWrapper &) = delete;
    virtual ~ThreadWrapper() = default;

    /// The caller owns the result, which is not started yet. Null for `name` gives "NUBRIX_THREAD";
    /// the kernel keeps 15 characters of it, an empty name leaves the kernel's own.
    static ThreadWrapper *createThread(bool (*run)(void *), void *argument, const char *name);
    /// The kernel's id of the calling thread.
    static int getThreadId();

    /// Returns 0; -5 when it was started before and not stopped since; -1 when there is no thread
    /// to be had; -11 when it did not begin within 2 s.
    virtual int start() = 0;
    /// Waits until the current call of `run` has returned; does not wake it. Returns 0; -5 when not
    /// started; -1 when joining fails. Any other thread; may block.
    virtual int stop() = 0;
    /// Round-robin real-time scheduling. Returns 0; -5 before start; -8 when the system has no such
    /// range; -1 when it refuses.
    virtual int setPriority(ThreadPriority priority) = 0;
};

}  // namespace nubrix
