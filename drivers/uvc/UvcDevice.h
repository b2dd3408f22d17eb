// One opened camera.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "common/DriverDevice.h"
#include "common/DriverThreads.h"
#include "uvc/CameraModes.h"
#include "uvc/CameraTable.h"
#include "uvc/NodeIo.h"
#include "uvc/UvcStream.h"

namespace nubrix::uvc {

/// Thread-safe; its destruction closes the camera. A call that waits for the camera returns -11
/// when the CallDeadline has passed.
class UvcDevice final : public DriverDevice {
public:
    /// What a stream needs to know of the mode that is set.
    struct Setting {
        typedefNubrixFrameMode mode;
        SourceMode source;
        NodeIo *node;
    };

    /// Opens the nodes of a camera that reports and the library call `name`: -9 when it is gone,
    /// -2 when it is busy, -1 without permission, -8 when no node captures, -11 when it does not
    /// answer. Reports why. `threads` must outlive the device.
    static int open(const std::string &name, const UsbIdentity &usb,
                    const std::vector<std::string> &paths, const NodeOpener &opener,
                    DriverThreads &threads, std::unique_ptr<UvcDevice> &device);
    /// Stops its streams and waits for their callbacks, except for one that is the caller.
    ~UvcDevice() override;

    int createStream(unsigned int streamType, NubrixBaseStream **stream) override;
    int destroyStream(NubrixBaseStream **stream) override;
    int closeAllStreams() override;
    int setProperty(unsigned int id, const void *data, unsigned int size) override;
    int getProperty(unsigned int id, void *data, unsigned int *size) override;
    int propertyTranspraentTransmission(unsigned char *in, unsigned int inSize, unsigned char *out,
                                        unsigned int *outSize) override;
    int getDeviceKind() override { return 1; }
    /// Queries the kernel, unless the camera is known to be gone.
    bool isGone() override;

    // For its streams.

    /// Of a stream that the camera has.
    Setting setting(unsigned int streamType) const;
    /// Makes the stream the only one on its node; false when the node has another one.
    bool claimNode(const UvcStream &stream);
    void releaseNode(const UvcStream &stream);
    /// Marks the camera as gone when that is what the error means.
    void noteError(int error);

private:
    using Node = std::unique_ptr<NodeIo>;

    static int openNodes(const std::string &name, const UsbIdentity &usb, std::vector<Node> nodes,
                         DriverThreads &threads, std::unique_ptr<UvcDevice> &device);
    UvcDevice(const std::string &name, const UsbIdentity &usb, std::vector<Node> nodes,
              DriverThreads &threads);

    std::shared_ptr<DriverStream> newStream(unsigned int streamType) override;
    NubrixVersions versions() const override;
    const StreamModes &modesOf(unsigned int streamType) const;

    const UsbIdentity m_usb;  // fixed after construction
    const std::vector<Node> m_nodes;
    const std::vector<NodeIo *> m_ios;  // of m_nodes
    const CameraModes m_modes;
    DriverThreads &m_threads;
    std::atomic<bool> m_gone{false};
    std::mutex m_claimLock;
    std::vector<const UvcStream *> m_claims;  // by node; under m_claimLock
};

}  // namespace nubrix::uvc
