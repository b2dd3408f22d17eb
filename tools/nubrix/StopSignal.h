// Ctrl-C and SIGTERM as a request to stop.
#pragma once

#include <csignal>

namespace nubrix::tool {

/// As long as the object exists, the first SIGINT or SIGTERM is a request to stop. The next one
/// ends the process, as it does without the object. One at a time.
class StopSignal {
public:
    StopSignal();
    ~StopSignal();
    StopSignal(const StopSignal &) = delete;
    StopSignal &operator=(const StopSignal &) = delete;

    bool requested() const;
    /// Ends the current wait, or the next one. Thread-safe.
    void wake() const;
    /// Waits for a signal or a wake(), at most this long. One thread at a time.
    void wait(int milliseconds) const;

private:
    struct sigaction m_oldInterrupt = {};
    struct sigaction m_oldTerminate = {};
};

}  // namespace nubrix::tool
