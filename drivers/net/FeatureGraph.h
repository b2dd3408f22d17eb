// Whether the values of a camera's features can be computed at all.
#pragma once

#include "net/GLibPtr.h"

namespace nubrix::net {

/// No value depends on itself, or on so many others that nobody would wait for it, and no register
/// is so long that there may be no memory for it. Aravis follows whatever a description says until
/// the process ends. Not thread-safe.
bool isComputable(ArvGc &features);

}  // namespace nubrix::net
