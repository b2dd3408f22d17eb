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

struct UdevDeleter {
    void operator()(udev *object) const { udev_unref(object); }
    void operator()(udev_device *object) const { udev_device_unref(object); }
    void operator()(udev_enumerate *object) const { udev_enumerate_unref(object); }
    void operator()(udev_monitor *object) const { udev_monitor_unref(object); }
    void operator()(udev_queue *object) const { udev_queue_unref(object); }
};

template <class T>
using UdevPtr = std::unique_ptr<T, UdevDeleter>;

struct UsbFolder {
    std::vector<std::string> videoNodes;  ///< their paths in /sys
    unsigned int videoStreams = 0;  ///< that the device describes; each gets a node that captures
};

/// Empty for a device that is gone. `sysPath` is the USB device's. Thread-safe.
UsbFolder readUsbFolder(const std::string &sysPath);

/// What a look at all video nodes found.
struct Scan {
    std::vector<NodeInfo> nodes;
    bool complete = true;  ///< false: some could not be read, for want of descriptors for example
};

/// Not thread-safe.
class NodeScanner {
public:
    enum class Outcome { kNode, kOther, kUnreadable };

    /// `opener` serves where udev does not say what a node can do. `context` must outlive it.
    NodeScanner(udev &context, NodeOpener opener);

    /// All video nodes that are attached and that udev, where it runs, has done with; lowest number
    /// first.
    Scan scan() const;
    /// Fills `node` for kNode. kUnreadable: it may be one; another look may succeed.
    Outcome describe(udev_device &device, NodeInfo &node) const;
    /// The node of a device number, nothing if udev does not know it or it cannot be read.
    std::optional<NodeInfo> find(dev_t number) const;

private:
    bool captures(udev_device &device) const;

    udev &m_udev;
    const NodeOpener m_opener;
};

/// Whether udev runs: without it nobody describes devices or tells of them.
bool isUdevRunning(udev &context);

/// The text of an attribute, which may be null, as it may be shown and without blanks at its ends.
std::string attributeText(const char *value);

}  // namespace nubrix::uvc
