// What the kernel shows of a USB device before udev has done with it.
#pragma once

#include <string>
#include <vector>

namespace nubrix {

struct UsbFolder {
    std::vector<std::string> videoNodes;  ///< their paths in /sys
    unsigned int videoStreams = 0;  ///< that the device describes; each gets a node that captures
};

/// Empty for a device that is gone. `sysPath` is the USB device's. Thread-safe.
UsbFolder readUsbFolder(const std::string &sysPath);

}  // namespace nubrix
