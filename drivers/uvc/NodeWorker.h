// A node whose system calls cannot block the application beyond a deadline.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "common/DriverThreads.h"
#include "uvc/NodeIo.h"

namespace nubrix::uvc {

/// Lives as long as the call; of nested ones the outermost counts. For the thread that made it.
class CallDeadline {
public:
    using Clock = std::chrono::steady_clock;

    // What is promised is a second, and three to open; the rest is for what follows a timeout.
    static constexpr std::chrono::milliseconds kCallTime{900};
    static constexpr std::chrono::milliseconds kOpeningTime{2900};

    explicit CallDeadline(std::chrono::milliseconds time = kCallTime) : m_end(Clock::now() + time)
    {
        if (t_outermost == nullptr)
            t_outermost = this;
    }
    ~CallDeadline()
    {
        if (t_outermost == this)
            t_outermost = nullptr;
    }
    CallDeadline(const CallDeadline &) = delete;
    CallDeadline &operator=(const CallDeadline &) = delete;

    /// The calling thread's; outside of a call it has kCallTime from now on.
    static Clock::time_point current()
    {
        return t_outermost != nullptr ? t_outermost->m_end : Clock::now() + kCallTime;
    }
    /// Calls `wait`, which waits for the application itself: that does not count.
    template <class Wait>
    static void suspendFor(Wait wait)
    {
        const auto begin = Clock::now();
        wait();
        if (t_outermost != nullptr)
            t_outermost->m_end += Clock::now() - begin;
    }

private:
    static inline thread_local CallDeadline *t_outermost = nullptr;

    Clock::time_point m_end;
};

/// Has a thread of its own make the calls that may wait for the camera, on copies of their
/// arguments. One that is not answered by the CallDeadline fails with ETIME and one line; the
/// kernel cannot be made to break it off, so until it returns all others fail likewise and at once,
/// but for what frees the node: that is made up for. What the kernel answers by itself, and buffers
/// of frames, are passed on directly. Thread-safe.
class NodeWorker final : public NodeIo {
public:
    using Opening = std::function<int(std::unique_ptr<NodeIo> &node)>;

    /// Opens a node of the camera that lines call `camera`; the result is an errno value. `threads`
    /// must outlive the node, and ends after all calls of the kernel. Throws std::system_error when
    /// there is no thread to be had.
    static int open(const std::string &camera, Opening opening, DriverThreads &threads,
                    std::unique_ptr<NodeIo> &node);
    /// The node is closed when it has answered; waits for that until the CallDeadline.
    ~NodeWorker() override;

    int control(unsigned long request, void *argument) override;
    void *map(std::size_t length, std::uint32_t offset) override;
    void unmap(void *memory, std::size_t length) override;
    int descriptor() const override;
    void hold(std::shared_ptr<void> what) override;

private:
    class Queue;

    NodeWorker(const std::string &camera, DriverThreads &threads);

    const std::shared_ptr<Queue> m_queue;  // shared with the thread
    DriverThreads &m_threads;
    DriverThreads::Handle m_thread;
};

}  // namespace nubrix::uvc
