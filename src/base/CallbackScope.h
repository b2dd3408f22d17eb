// Whether this thread is inside a callback of the application, and whose.
#pragma once

namespace nubrix {

/// Marks the thread while it runs a callback: of a frame, of a device's state or of an upgrade.
/// destroy ends the threads that run callbacks, so what waits for destroy asks here first.
class CallbackScope final {
public:
    /// `caller` is the object whose end waits for the callback, null for none but the context.
    explicit CallbackScope(const void *caller) : m_outer(t_caller)
    {
        ++t_depth;
        if (caller)
            t_caller = caller;
    }
    ~CallbackScope()
    {
        --t_depth;
        t_caller = m_outer;
    }
    CallbackScope(const CallbackScope &) = delete;
    CallbackScope &operator=(const CallbackScope &) = delete;

    static bool isActive() { return t_depth != 0; }
    /// The caller of this thread's callback, null for none.
    static const void *caller() { return t_caller; }

private:
    static inline thread_local int t_depth = 0;
    static inline thread_local const void *t_caller = nullptr;

    const void *const m_outer;
};

}  // namespace nubrix
