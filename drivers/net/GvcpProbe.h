// Asks one camera without opening it: whether it is there, and who holds it.
#pragma once

#include <string>

namespace nubrix::net {

/// The camera at the other end of a URI; an empty text for none of ours. Thread-safe.
std::string addressOf(const std::string &uri);

/// The address of this machine from which packets to `address` go; an empty text if there is no
/// way. Thread-safe.
std::string localAddressFor(const std::string &address);

/// Asks a camera; at most 400 ms. Thread-safe.
bool isAnswering(const std::string &address);

/// Who holds a camera.
enum class Hold {
    kNobody,
    kSomebody,
    kNoAnswer,
};

/// Asks a camera; at most a second. Thread-safe.
Hold askHold(const std::string &address);

/// Takes the control of a camera and lets it go: whether it can be had now. It is to be asked for,
/// not looked at: a camera may take every look for the heartbeat of a holder who is dead. At most
/// 400 ms. Thread-safe.
bool canTakeControl(const std::string &address);

/// The address of the holder if the camera tells it, else an empty text. Thread-safe.
std::string holderOf(const std::string &address);

}  // namespace nubrix::net
