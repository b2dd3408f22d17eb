// A capture into buffers of the kernel, converted or copied into frames.
#pragma once

#include <vector>

#include "uvc/Capture.h"
#include "uvc/NodeIo.h"

namespace nubrix {

class MappedCapture final : public Capture {
public:
    /// All of them must outlive it.
    MappedCapture(NodeIo &node, FrameAllocatorInterfaceBase &pool, PictureConverter &converter);
    ~MappedCapture() override;

    int begin() override;
    int take(Picture &picture) override;

private:
    struct Mapping {
        void *memory;
        std::size_t bytes;
    };

    int addBuffer(std::uint32_t index);
    void convert(const v4l2_buffer &buffer, Picture &picture);

    NodeIo &m_node;
    FrameAllocatorInterfaceBase &m_pool;
    PictureConverter &m_converter;
    std::vector<Mapping> m_mappings;
};

}  // namespace nubrix
