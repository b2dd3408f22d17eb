// A descriptor that wakes a thread out of poll.
#pragma once

namespace nubrix {

/// Readable from set until clear. Thread-safe.
class EventFd {
public:
    /// Throws std::system_error when there are no descriptors left.
    EventFd();
    EventFd(const EventFd &) = delete;
    EventFd &operator=(const EventFd &) = delete;
    ~EventFd();

    void set();
    void clear();
    int descriptor() const { return m_descriptor; }

private:
    const int m_descriptor;
};

}  // namespace nubrix
