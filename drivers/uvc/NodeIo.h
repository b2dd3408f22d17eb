// The system calls on one video node.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace nubrix {

/// One open video node. Errors are errno values, 0 for none. Thread-safe.
class NodeIo {
public:
    NodeIo() = default;
    NodeIo(const NodeIo &) = delete;
    NodeIo &operator=(const NodeIo &) = delete;
    virtual ~NodeIo() = default;

    /// ioctl.
    virtual int control(unsigned long request, void *argument) = 0;
    /// Maps a buffer of the node for reading; null when it cannot be had.
    virtual void *map(std::size_t length, std::uint32_t offset) = 0;
    virtual void unmap(void *memory, std::size_t length) = 0;
    /// Keeps what the node may still use until it has done all that it was asked to.
    // The parameter is what overrides take over.
    // NOLINTNEXTLINE(performance-unnecessary-value-param)
    virtual void hold(std::shared_ptr<void> /*what*/) {}
    /// To poll on: readable when a buffer is filled.
    virtual int descriptor() const = 0;
};

/// Opens the node of a path; the result is an errno value, and `node` is set when it is 0.
using NodeOpener = std::function<int(const std::string &path, std::unique_ptr<NodeIo> &node)>;

}  // namespace nubrix
