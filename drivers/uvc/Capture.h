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

/// One picture that the camera has captured.
struct CapturedFrame {
    std::uint32_t sequence = 0;  ///< counts what the camera captured
    std::uint64_t timestampUs = 0;
    bool damaged = false;  ///< as the kernel says
    Conversion conversion = Conversion::kUnusable;
    FramePtr frame;  ///< null when the pool had none, or for kUnusable
};

/// Ends with its destruction: the node then has no buffers, and no frame is held. Errors are errno
/// values. Not thread-safe.
class Capture {
public:
    Capture() = default;
    Capture(const Capture &) = delete;
    Capture &operator=(const Capture &) = delete;
    virtual ~Capture() = default;

    /// Gives the kernel its buffers and begins.
    virtual int begin() = 0;
    /// Takes the oldest filled buffer and gives the kernel another one. EAGAIN when none is filled.
    virtual int take(CapturedFrame &captured) = 0;
};

// What the two kinds of capture do alike; the results are errno values.

/// Asks for `count` buffers, 0 to give them back; `count` is then what there is.
int requestBuffers(NodeIo &node, std::uint32_t memory, std::uint32_t &count);
/// VIDIOC_STREAMON or VIDIOC_STREAMOFF.
int switchCapture(NodeIo &node, unsigned long request);
v4l2_buffer captureBuffer(std::uint32_t memory, std::uint32_t index);
/// Takes sequence, time and damage from a filled buffer.
void describe(const v4l2_buffer &buffer, CapturedFrame &captured);

class DirectCapture final : public Capture {
public:
    /// `frameBytes`: of a frame; `bufferBytes`: that the node wants to have room for, no less. Node
    /// and pool must outlive it.
    DirectCapture(NodeIo &node, FrameAllocatorInterfaceBase &pool, std::size_t frameBytes,
                  std::size_t bufferBytes);
    ~DirectCapture() override;

    /// Any error before the node has begun may mean that it cannot do it, or that the pool is
    /// empty.
    int begin() override;
    int take(CapturedFrame &captured) override;

private:
    FramePtr newFrame();
    int give(std::uint32_t index);

    NodeIo &m_node;
    FrameAllocatorInterfaceBase &m_pool;
    const std::size_t m_frameBytes;
    const std::size_t m_bufferBytes;
    const std::shared_ptr<std::vector<FramePtr>> m_frames;  // the kernel's
};

class MappedCapture final : public Capture {
public:
    /// All of them must outlive it.
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
