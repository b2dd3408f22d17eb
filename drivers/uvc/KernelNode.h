// A video node of the kernel.
#pragma once

#include "uvc/NodeIo.h"

namespace nubrix {

class KernelNode final : public NodeIo {
public:
    /// A NodeOpener.
    static int open(const std::string &path, std::unique_ptr<NodeIo> &node);
    /// Takes a descriptor of its own from one that somebody else opened and keeps.
    static int adopt(int descriptor, std::unique_ptr<NodeIo> &node);

    ~KernelNode() override;

    int control(unsigned long request, void *argument) override;
    void *map(std::size_t length, std::uint32_t offset) override;
    void unmap(void *memory, std::size_t length) override;
    int descriptor() const override { return m_descriptor; }

private:
    explicit KernelNode(int descriptor) : m_descriptor(descriptor) {}

    const int m_descriptor;
};

}  // namespace nubrix
