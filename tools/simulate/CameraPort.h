// The UDP port of network cameras at an address of this machine.
#pragma once

#include <string>

namespace nubrix::simulate {

constexpr unsigned short kCameraPort = 3956;

/// Throws std::runtime_error, with the reason and the cure, when a camera cannot serve there. To be
/// asked before: sockets of servers share an address without a word.
void requireCameraPort(const std::string &address);

}  // namespace nubrix::simulate
