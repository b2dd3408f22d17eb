// The UDP port of network cameras at an address of this machine.
#pragma once

#include <string>

namespace nubrix::simulate {

constexpr unsigned short kCameraPort = 3956;

/// Throws std::runtime_error, with the reason and the remedy, when a camera cannot serve there.
/// Call it before serving: server sockets share an address without an error.
void requireCameraPort(const std::string &address);

}  // namespace nubrix::simulate
