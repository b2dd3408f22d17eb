// Whether this thread is inside a callback of the application, and whose.
#pragma once

namespace nubrix {

/// Marks the thread while it runs a callback: of a frame, of a device's state or of an upgrade.
/// destroy ends the threads that run callbacks, so what waits for destroy asks here first.
class CallbackScope final {
public:
    /// `caller` is the object whose end waits for the callback, null for none but the context.
    explicit CallbackScope(const void *caller) : m_outer(t_innermost), m_caller(caller)
    {
        t_innermost = this;
    }
    ~CallbackScope() { t_innermost = m_outer; }
    CallbackScope(const CallbackScope &) = delete;
    CallbackScope &operator=(const CallbackScope &) = delete;

    static bool isActive() { return t_innermost != nullptr; }
    /// The callback that this thread runs, which another callback may have led to; null for none.
    static const CallbackScope *innermost() { return t_innermost; }
    /// Whether this callback, or one that led to it, is of `caller`.
    bool isOf(const void *caller) const
    {
        return m_caller == caller || (m_outer && m_outer->isOf(caller));
    }

private:
    static inline thread_local const CallbackScope *t_innermost = nullptr;

    const CallbackScope *const m_outer;
    const void *const m_caller;
};

}  // namespace nubrix
