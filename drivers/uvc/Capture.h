// A running capture of a node: the buffers that go between kernel and driver.
#pragma once

#include <linux/videodev2.h>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "common/DriverStream.h"
#include "uvc/FrameConverter.h"
#include "uvc/NodeIo.h"

namespace nubrix::uvc {

/// One frame that the camera has captured.
struct CapturedFrame {
    std::uint32_t sequence = 0;  ///< number that the kernel gave to the frame
    std::uint64_t timestampUs = 0;
    bool damaged = false;  ///< according to the kernel
    Conversion conversion = Conversion::kUnusable;
    FramePtr frame;  ///< null when the pool was empty, or for kUnusable
};

/// A capture that runs until its destruction: then the node has no buffers, and no frame is held.
/// Errors are errno values. Not thread-safe.
class Capture {
public:
    Capture() = default;
    Capture(const Capture &) = delete;
    Capture &operator=(const Capture &) = delete;
    virtual ~Capture() = default;

    /// Hands the buffers to the kernel and starts the capture.
    virtual int begin() = 0;
    /// Takes the oldest filled buffer and hands another one to the kernel. EAGAIN when none is
    /// filled.
    virtual int take(CapturedFrame &captured) = 0;
};

// What both kinds of capture use; results are errno values.

/// Requests `count` buffers, 0 to release them; `count` returns how many the node has.
int requestBuffers(NodeIo &node, std::uint32_t memory, std::uint32_t &count);
/// VIDIOC_STREAMON or VIDIOC_STREAMOFF.
int switchCapture(NodeIo &node, unsigned long request);
v4l2_buffer captureBuffer(std::uint32_t memory, std::uint32_t index);
/// Copies sequence number, time and damage of a filled buffer.
void describe(const v4l2_buffer &buffer, CapturedFrame &captured);

/// A capture directly into frames of the pool, for formats that pass through. The kernel looks up
/// the pages of a frame, and pins them, when a buffer index gets another address than before; so
/// each frame keeps an index of its own as long as the node has enough of them. The pool must keep
/// the memory of its frames until the capture is destroyed.
class DirectCapture final : public Capture {
public:
    /// `frameBytes`: size of a frame; `bufferBytes`: size of the buffers that the node requires, no
    /// less. Node and pool must outlive the capture.
    DirectCapture(NodeIo &node, FrameAllocatorInterfaceBase &pool, std::size_t frameBytes,
                  std::size_t bufferBytes);
    ~DirectCapture() override;

    /// Any error may mean that the node does not support it, or that the pool is empty.
    int begin() override;
    int take(CapturedFrame &captured) override;

private:
    int requestIndices(std::uint32_t &queued);
    FramePtr newFrame();
    int enqueue(FramePtr frame);
    std::uint32_t takeIndexFor(const void *data);

    NodeIo &m_node;
    FrameAllocatorInterfaceBase &m_pool;
    const std::size_t m_frameBytes;
    const std::size_t m_bufferBytes;
    const std::shared_ptr<std::vector<FramePtr>> m_frames;  // the kernel writes to them; by index
    std::vector<const void *> m_addresses;                  // which the indices have had last
    std::vector<std::uint32_t> m_idle;  // indices that the kernel does not have, the latest last
};

/// A capture into buffers of the kernel, which are converted or copied into frames.
class MappedCapture final : public Capture {
public:
    /// The arguments must outlive the capture.
    MappedCapture(NodeIo &node, FrameAllocatorInterfaceBase &pool, FrameConverter &converter);
    ~MappedCapture() override;

    int begin() override;
    int take(CapturedFrame &captured) override;

private:
    struct Mapping {
        void *memory;
        std::size_t bytes;
    };

    int addBuffer(std::uint32_t index);
    void convert(const v4l2_buffer &buffer, CapturedFrame &captured);

    NodeIo &m_node;
    FrameAllocatorInterfaceBase &m_pool;
    FrameConverter &m_converter;
    std::vector<Mapping> m_mappings;
};

}  // namespace nubrix::uvc
