// Ctrl-C and SIGTERM as a request to come to an end.
#pragma once

#include <csignal>

namespace nubrix::tool {

/// While it lives, the first SIGINT or SIGTERM is a request to stop; the next one ends the process,
/// as it would without this. One at a time.
class StopSignal {
public:
    StopSignal();
    ~StopSignal();
    StopSignal(const StopSignal &) = delete;
    StopSignal &operator=(const StopSignal &) = delete;

    bool requested() const;
    /// Ends the wait that is under way, or the next one. Thread-safe.
    void wake() const;
    /// Waits for a signal or a wake for at most this long. One thread at a time.
    void wait(int milliseconds) const;

private:
    struct sigaction m_oldInterrupt = {};
    struct sigaction m_oldTerminate = {};
};

}  // namespace nubrix::tool
