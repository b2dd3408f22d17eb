// One opened camera.
#pragma once

#include <array>
#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "common/DriverThreads.h"
#include "nubrix/driver.h"
#include "uvc/CameraModes.h"
#include "uvc/CameraTable.h"
#include "uvc/NodeIo.h"
#include "uvc/UvcStream.h"

namespace nubrix::uvc {

/// Thread-safe; closing is its destruction.
class UvcDevice final : public NubrixBaseDevice {
public:
    /// What a stream needs to know of the mode in force.
    struct Setting {
        typedefNubrixFrameMode mode;
        SourceMode source;
        NodeIo *node;
    };

    /// Opens the nodes of a camera that messages and the library call `name`: -9 when it is gone,
    /// -2 when it is busy, -1 without permission, -8 when no node gives pictures, -11 when it does
    /// not answer. Says why. `threads` must outlive the device.
    static int open(const std::string &name, const UsbIdentity &usb,
                    const std::vector<std::string> &paths, const NodeOpener &opener,
                    DriverThreads &threads, std::unique_ptr<UvcDevice> &device);
    /// Ends its streams and waits for their callbacks, but for one that is the caller.
    ~UvcDevice() override;

    int createStream(unsigned int streamType, NubrixBaseStream **stream) override;
    int destroyStream(NubrixBaseStream **stream) override;
    int closeAllStreams() override;
    int setProperty(unsigned int id, const void *data, unsigned int size) override;
    int getProperty(unsigned int id, void *data, unsigned int *size) override;
    int propertyTranspraentTransmission(unsigned char *in, unsigned int inSize, unsigned char *out,
                                        unsigned int *outSize) override;
    int deviceState() override;
    /// 0 when the camera is gone, a stream has broken, or one that runs has had no picture for
    /// UvcStream::kFrameTimeout.
    int keepLiveState() override;
    int getSupportFrameMode(unsigned int streamType, const typedefNubrixFrameMode **modes,
                            unsigned int *count) override;
    int setFrameMode(unsigned int streamType, const typedefNubrixFrameMode &mode,
                     bool restart) override;
    typedefNubrixFrameMode *getCurrentFrameMode(unsigned int streamType) override;
    const char *getDeviceId() override { return m_name.c_str(); }
    int getDeviceKind() override { return 1; }

    // For its streams.

    const std::string &name() const { return m_name; }
    /// Of a stream that the camera has.
    Setting setting(unsigned int streamType) const;
    /// Makes the stream the only one on its node; false when another one is.
    bool claimNode(const UvcStream &stream);
    void releaseNode(const UvcStream &stream);
    /// Asks the kernel, unless it is known.
    bool isGone();
    /// Looks whether an error means that the camera is gone.
    void noteError(int error);

private:
    using Node = std::unique_ptr<NodeIo>;

    struct Slot {
        const StreamModes *modes;
        std::size_t current = 0;            // among the records
        typedefNubrixFrameMode shown = {};  // handed out: whoever has it may write to it
        std::shared_ptr<UvcStream> stream;
    };

    static int openNodes(const std::string &name, const UsbIdentity &usb, std::vector<Node> nodes,
                         DriverThreads &threads, std::unique_ptr<UvcDevice> &device);
    UvcDevice(const std::string &name, const UsbIdentity &usb, std::vector<Node> nodes,
              DriverThreads &threads);

    static void setCurrent(Slot &slot, std::size_t place);
    Slot *slotOf(unsigned int streamType);
    const Slot *slotOf(unsigned int streamType) const;
    int getCounters(unsigned int streamType, void *data, unsigned int *size);

    const std::string m_name;  // fixed after construction
    const UsbIdentity m_usb;
    const std::vector<Node> m_nodes;
    const std::vector<NodeIo *> m_ios;  // of m_nodes
    const CameraModes m_modes;
    DriverThreads &m_threads;
    std::atomic<bool> m_gone{false};
    std::atomic<unsigned int> m_streamFlagMode{1};
    mutable std::mutex m_lock;
    std::array<Slot, 3> m_slots;              // everything below is under m_lock
    std::vector<const UvcStream *> m_claims;  // by node
};

}  // namespace nubrix::uvc
