// Whether this thread is inside a callback of the application.
#pragma once

namespace nubrix {

/// Marks the thread while it runs a callback: of a frame, of a device's state or of an upgrade.
/// destroy ends the threads that run callbacks, so what waits for destroy asks here first.
class CallbackScope final {
public:
    CallbackScope() { ++t_depth; }
    ~CallbackScope() { --t_depth; }
    CallbackScope(const CallbackScope &) = delete;
    CallbackScope &operator=(const CallbackScope &) = delete;

    static bool isActive() { return t_depth != 0; }

private:
    static inline thread_local int t_depth = 0;
};

}  // namespace nubrix
