// A node whose system calls cannot block the application beyond a deadline.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "common/DriverThreads.h"
#include "uvc/NodeIo.h"

namespace nubrix::uvc {

/// The time by which the current call of the application must return. The object lives as long as
/// the call and is valid for the thread that made it; of nested ones the outermost counts.
class CallDeadline {
public:
    using Clock = std::chrono::steady_clock;

    // The driver promises to return within a second, and within three for opening; the rest of that
    // time is for what follows a timeout.
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

    /// The deadline of the calling thread; outside of a call, kCallTime from now on.
    static Clock::time_point current()
    {
        return t_outermost != nullptr ? t_outermost->m_end : Clock::now() + kCallTime;
    }
    /// Calls `wait`, which waits for the application itself: that time does not count.
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

/// Makes the calls that may wait for the camera on a thread of its own, on copies of their
/// arguments. A call that has not returned by the CallDeadline fails with ETIME and one report.
/// Nobody can interrupt the kernel, so until that call returns all others fail the same way at
/// once; a call that frees the node is repeated later. Queries that the kernel answers without the
/// camera, and buffers of frames, are passed on directly. Thread-safe.
class NodeWorker final : public NodeIo {
public:
    using Opening = std::function<int(std::unique_ptr<NodeIo> &node)>;

    /// Opens a node of the camera that reports call `camera`; returns an errno value. `threads`
    /// must outlive the node, and is joined after all calls of the kernel. Throws std::system_error
    /// when the system has no thread left.
    static int open(const std::string &camera, Opening opening, DriverThreads &threads,
                    std::unique_ptr<NodeIo> &node);
    /// Closes the node when its last call has returned; waits for that until the CallDeadline.
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
