// What the system must have for USB cameras: 'nubrix doctor'.
#pragma once

#include "Finding.h"
#include "Machine.h"

namespace nubrix {

/// The kernel's driver of USB cameras.
Findings checkKernel(const Machine &machine);
/// USB cameras that are attached and that the kernel does not drive; nothing without any.
Findings checkStrayCameras(const Machine &machine);
/// The service that tells of cameras that come and go.
Findings checkUdev(const Machine &machine);
/// The rule that gives cameras to whoever sits at the machine.
Findings checkUdevRule(const Machine &machine);
/// Whether the user may open the video nodes.
Findings checkPermissions(const Machine &machine);

}  // namespace nubrix
