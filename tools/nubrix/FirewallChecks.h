// Whether a firewall keeps out what network cameras send: 'nubrix doctor'.
#pragma once

#include "Finding.h"
#include "Machine.h"

namespace nubrix {

Findings checkFirewall(const Machine &machine);

}  // namespace nubrix
