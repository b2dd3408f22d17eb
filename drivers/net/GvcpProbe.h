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
enum class Hold {
    kNobody,
    kSomebody,
    kNoAnswer,
};

/// Asks a camera; at most 600 ms. Thread-safe.
Hold askHold(const std::string &address);

/// Takes the control of a camera and lets it go: whether it can be had now. It is to be asked for,
/// not looked at: a camera may take every look for the heartbeat of a holder who is dead. At most
/// 400 ms. Thread-safe.
bool canTakeControl(const std::string &address);

/// The address of the holder if the camera tells it, else an empty text. Thread-safe.
std::string holderOf(const std::string &address);

}  // namespace nubrix
