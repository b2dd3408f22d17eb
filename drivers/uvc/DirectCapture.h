// A capture straight into frames of the pool, for formats that pass through.
#pragma once

#include <memory>
#include <vector>

#include "uvc/Capture.h"
#include "uvc/NodeIo.h"

namespace nubrix {

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
    int take(Picture &picture) override;

private:
    FramePtr newFrame();
    int give(std::uint32_t index);

    NodeIo &m_node;
    FrameAllocatorInterfaceBase &m_pool;
    const std::size_t m_frameBytes;
    const std::size_t m_bufferBytes;
    const std::shared_ptr<std::vector<FramePtr>> m_frames;  // the kernel's
};

}  // namespace nubrix
