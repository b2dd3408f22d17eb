// An event that one thread sets and another waits for.
#pragma once

namespace nubrix {

/// An auto-reset event: set() is remembered until one wait has taken it. Thread-safe.
class EventWrapper {
public:
    EventWrapper() = default;
    EventWrapper(const EventWrapper &) = delete;
    EventWrapper &operator=(const EventWrapper &) = delete;
    virtual ~EventWrapper() = default;

    /// The caller owns the result. It must outlive every wait.
    static EventWrapper *create();

    /// Clears a set() that no wait has consumed. Returns 0, or -1 when locking fails.
    virtual int reset() = 0;
    /// Wakes one waiter, or the next one. Returns 0, or -1 when locking or waking fails.
    virtual int set() = 0;
    /// Waits `ms` milliseconds, -1 without limit. Returns 0 when the event was set (and clears it),
    /// -11 on time-out, -1 on another failure.
    virtual int wait(int ms) = 0;
};

}  // namespace nubrix
