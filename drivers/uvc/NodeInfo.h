// What is known of attached video nodes and cameras.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace nubrix {

/// The USB device behind a node. Texts are printable UTF-8; those that a camera lacks are empty.
struct UsbIdentity {
    std::string sysPath;
    std::string busPath;  ///< "1-2.3": bus, then ports
    unsigned int vendorId = 0;
    unsigned int productId = 0;
    unsigned int address = 0;  ///< on the bus, another one each time it is plugged in
    unsigned int release = 0;  ///< binary coded decimals: 0x0123 is 1.23
    std::string serial;
    std::string product;
};

/// One video node.
struct NodeInfo {
    std::string sysPath;
    std::string path;         ///< "/dev/video0"
    unsigned int number = 0;  ///< the 0 of it
    bool captures = false;    ///< pictures come out of it
    /// Since udev was done with it; long ago where udev does not run.
    std::chrono::microseconds age = std::chrono::hours(1);
    std::optional<UsbIdentity> usb;
};

/// One USB camera with its nodes that give pictures, lowest number first.
struct CameraInfo {
    UsbIdentity usb;
    std::vector<NodeInfo> nodes;

    std::string uri() const { return "usb:" + usb.busPath; }
};

}  // namespace nubrix
