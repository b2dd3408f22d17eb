// One video node: its system calls, what their errors mean, and its controls.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "common/CameraProperties.h"
#include "common/Report.h"

namespace nubrix::uvc {

/// One open video node. Errors are errno values, 0 for none. Thread-safe.
class NodeIo {
public:
    NodeIo() = default;
    NodeIo(const NodeIo &) = delete;
    NodeIo &operator=(const NodeIo &) = delete;
    virtual ~NodeIo() = default;

    /// Makes an ioctl.
    virtual int control(unsigned long request, void *argument) = 0;
    /// Maps a buffer of the node for reading; null on failure.
    virtual void *map(std::size_t length, std::uint32_t offset) = 0;
    virtual void unmap(void *memory, std::size_t length) = 0;
    /// Keeps memory that the node may still use, until all requests to it have returned.
    // The parameter is what overrides take over.
    // NOLINTNEXTLINE(performance-unnecessary-value-param)
    virtual void hold(std::shared_ptr<void> /*what*/) {}
    /// The descriptor to poll: readable when a buffer is filled.
    virtual int descriptor() const = 0;
};

/// Opens the node at a path; returns an errno value, and sets `node` when it is 0.
using NodeOpener = std::function<int(const std::string &path, std::unique_ptr<NodeIo> &node)>;

/// A video node of the kernel.
class KernelNode final : public NodeIo {
public:
    /// Is a NodeOpener.
    static int open(const std::string &path, std::unique_ptr<NodeIo> &node);
    /// Duplicates a descriptor, which remains with its owner.
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

/// Reports in the name of this driver.
inline constexpr Reporter kReporter = {"NubrixUvcDriver", "nubrix usb camera"};

/// The status for a system error: -2 busy, -9 gone, -5 no bandwidth or memory left, -4 refused
/// value, -8 unknown to the camera, -11 no answer in time, else -1. Thread-safe.
int statusOf(int error);

/// Describes a system error of `camera` and how to resolve it, without a line end. Thread-safe.
std::string adviceFor(int error, const std::string &camera);

/// Reports adviceFor, except for ETIME, which NodeWorker has reported. Thread-safe.
void reportError(int error, const std::string &camera);

/// Properties with this or a larger id are controls of the kernel.
constexpr unsigned int kFirstControl = 0x00980000;

/// Reads a control of the kernel from the first node that has it: -8 when no node has it or it
/// cannot be read, or another status.
int getControl(const std::vector<NodeIo *> &nodes, std::uint32_t id, std::int32_t &value);
/// Writes a control likewise: -4 for a value out of range.
int setControl(const std::vector<NodeIo *> &nodes, std::uint32_t id, std::int32_t value);

/// The head of a request to an extension unit, followed by the data to be set. Numbers are
/// little-endian.
struct ExtensionRequest {
    std::uint8_t query;     ///< UVC_SET_CUR 0x01, UVC_GET_CUR 0x81, ... UVC_GET_DEF 0x87
    std::uint8_t unit;      ///< bUnitID of the extension unit
    std::uint8_t selector;  ///< number of the control in it, from 1
    std::uint8_t node;      ///< index of the node of the camera, mostly 0
    std::uint16_t size;     ///< bytes of the control; 0: the driver queries the camera for it
};

/// Forwards a request. What a get query reads goes to `out`; `*outSize` is its capacity on entry
/// and the bytes read on return (0 after a set). -4 for a request that is too short or an output
/// that is too small.
int queryExtension(const std::vector<NodeIo *> &nodes, const unsigned char *in, unsigned int inSize,
                   unsigned char *out, unsigned int *outSize);

static_assert(sizeof(ExtensionRequest) == 6, "request record");

}  // namespace nubrix::uvc
