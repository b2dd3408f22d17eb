// Counts the calls that are under way, so that destroy can wait for them.
#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace nubrix {

/// Calls enter, look whether destroy has begun, and leave; destroy sets its flag first and then
/// waits for those of other threads. So a call either sees the flag or is waited for. Thread-safe.
class InFlight final {
public:
    /// One call, from construction to destruction.
    class Entry final {
    public:
        explicit Entry(InFlight &owner) : m_owner(owner) { m_owner.enter(); }
        ~Entry() { m_owner.leave(); }
        Entry(const Entry &) = delete;
        Entry &operator=(const Entry &) = delete;

    private:
        InFlight &m_owner;
    };

    /// Waits until no call of another thread is under way.
    void waitForOthers();

private:
    void enter();
    void leave();

    std::mutex m_mutex;
    std::condition_variable m_left;
    std::vector<std::thread::id> m_threads;  // one element a call, under m_mutex
};

}  // namespace nubrix
