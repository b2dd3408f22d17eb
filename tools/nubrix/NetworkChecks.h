// What the system must have for network cameras: 'nubrix doctor'.
#pragma once

#include "Finding.h"
#include "Machine.h"

namespace nubrix {

/// The names of interfaces that cameras can be attached to: of cables and radio, and those of
/// software that have an address. Not the loopback.
std::vector<std::string> cameraInterfaces(const Machine &machine);
/// Whether they are fit for cameras: up, with an address, fast, with large
/// packets.
Findings checkInterfaces(const Machine &machine);
/// Interfaces that lie in one network, of which the system answers by one only.
Findings checkNetworks(const Machine &machine);
/// How much a socket may keep of what comes while a program is busy.
Findings checkSocketBuffers(const Machine &machine);
/// Interfaces that drop what comes from an address they have no route to; nothing without any.
Findings checkReversePath(const Machine &machine);
/// Programs that hold the port of cameras on this machine; nothing without any.
Findings checkCameraPort(const Machine &machine);

}  // namespace nubrix
