// Asks cameras without opening them: who is there, and who holds one.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace nubrix {

/// What a camera says of itself when it is looked for.
struct NetIdentity {
    std::string address;  ///< IPv4
    std::string mac;      ///< "00:11:22:33:44:55"
    std::string vendor;
    std::string model;
    std::string version;
    std::string serial;

    std::string uri() const { return "net:" + address; }
};

/// The camera at the other end of a URI; an empty text for none of ours.
std::string addressOf(const std::string &uri);

/// The address of this machine from which packets to `address` go; an empty text if there is no
/// way. Thread-safe.
std::string localAddressFor(const std::string &address);

/// Looks for cameras on every interface that is up, and at `addresses`, for so long. Each camera
/// once. Throws std::system_error when there are no descriptors left. Thread-safe.
std::vector<NetIdentity> findCameras(const std::vector<std::string> &addresses,
                                     std::chrono::milliseconds wait);

/// Asks a camera; at most 400 ms. Thread-safe.
bool isAnswering(const std::string &address);

/// Who holds a camera.
struct Holder {
    bool answers;      ///< the camera does
    bool isHeld;       ///< by somebody
    std::string name;  ///< their address, if the camera tells
};

/// Asks a camera who holds it; at most 1 s. Thread-safe.
Holder askHolder(const std::string &address);

}  // namespace nubrix
