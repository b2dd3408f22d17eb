// A node whose system calls cannot hold up the application.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "common/DriverThreads.h"
#include "uvc/NodeIo.h"

namespace nubrix {

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

}  // namespace nubrix
