// Ends the process, with the stacks of all threads, when a call does not return.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace nubrix {

/// Looks at the calls under way on a thread of its own. Thread-safe.
class StallWatch {
public:
    /// `about` is printed before the stacks.
    StallWatch(std::chrono::seconds limit, std::string about);
    ~StallWatch();
    StallWatch(const StallWatch &) = delete;
    StallWatch &operator=(const StallWatch &) = delete;

    /// One call, from construction to destruction; calls may nest. `what` is a literal.
    class Call {
    public:
        Call(StallWatch &watch, const char *what);
        ~Call();
        Call(const Call &) = delete;
        Call &operator=(const Call &) = delete;

    private:
        friend class StallWatch;
        StallWatch &m_watch;
        const char *const m_what;
        const std::chrono::steady_clock::time_point m_begin = std::chrono::steady_clock::now();
        const int m_thread;
        std::list<Call *>::iterator m_place;
    };

    /// Prints the calls under way and the stacks of all threads to stderr.
    void report();

private:
    void run();
    bool isStalled();
    void reportCalls();

    const std::chrono::seconds m_limit;
    const std::string m_about;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_ending = false;  // this and the calls: under m_mutex
    std::list<Call *> m_calls;
    std::thread m_thread;  // last: it uses the others
};

/// Prints the stacks of all threads of the process to stderr: by gdb, or else each thread its own.
void printAllStacks();

}  // namespace nubrix
