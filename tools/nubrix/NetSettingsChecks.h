// What the driver of network cameras is told by nubrixNet.ini: 'nubrix doctor'.
#pragma once

#include "Finding.h"
#include "Machine.h"

namespace nubrix {

/// Whether the file can be read, the driver understands its entries, and the addresses in it can be
/// reached.
Findings checkNetSettings(const Machine &machine, const std::string &path);

}  // namespace nubrix
