// Finds video nodes by udev and in /sys, and describes them.
#pragma once

#include <libudev.h>
#include <sys/types.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "uvc/CameraTable.h"
#include "uvc/NodeIo.h"

namespace nubrix::uvc {

/// Releases objects of libudev.
struct UdevDeleter {
    void operator()(udev *object) const { udev_unref(object); }
    void operator()(udev_device *object) const { udev_device_unref(object); }
    void operator()(udev_enumerate *object) const { udev_enumerate_unref(object); }
    void operator()(udev_monitor *object) const { udev_monitor_unref(object); }
    void operator()(udev_queue *object) const { udev_queue_unref(object); }
};

template <class T>
using UdevPtr = std::unique_ptr<T, UdevDeleter>;

/// What the kernel shows of a USB device in /sys, before udev has set it up.
struct UsbFolder {
    std::vector<std::string> videoNodes;  ///< their paths in /sys
    unsigned int videoStreams =
        0;  ///< streams that the device describes; each gets a node that captures
};

/// Empty for a device that has been detached. `sysPath` is the path of the USB device. Thread-safe.
UsbFolder readUsbFolder(const std::string &sysPath);

/// The result of a scan of all video nodes.
struct Scan {
    std::vector<NodeInfo> nodes;
    bool complete = true;  ///< false: some could not be read, for lack of descriptors for example
};

/// Finds and describes video nodes. Not thread-safe.
class NodeScanner {
public:
    enum class Outcome { kNode, kOther, kUnreadable };

    /// `opener` opens nodes that udev does not describe. `context` must outlive the scanner.
    NodeScanner(udev &context, NodeOpener opener);

    /// All video nodes that are attached and that udev, where it runs, has set up; lowest number
    /// first.
    Scan scan() const;
    /// Fills `node` for kNode. kUnreadable: the device may be a node, and a later call may succeed.
    Outcome describe(udev_device &device, NodeInfo &node) const;
    /// The node of a device number; nullopt if udev does not know it or it cannot be read.
    std::optional<NodeInfo> find(dev_t number) const;

private:
    bool captures(udev_device &device) const;

    udev &m_udev;
    const NodeOpener m_opener;
};

/// Whether udev runs: without it devices are neither described nor reported.
bool isUdevRunning(udev &context);

/// The cleaned text of an attribute, which may be null, without leading and trailing white space.
std::string attributeText(const char *value);

}  // namespace nubrix::uvc
