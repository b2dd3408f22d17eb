// The lines in the log of the driver of network cameras. Apart from Aravis.h, because settings and
// protocol do without Aravis.
#pragma once

#include "common/Report.h"

namespace nubrix::net {

/// Writes a line to the library's log, or to stderr: see reportAs. Thread-safe.
inline void report(const std::string &line)
{
    reportAs("NubrixNetDriver", "nubrix network camera", line);
}

}  // namespace nubrix::net
