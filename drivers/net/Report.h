// The lines of this driver in the log. A header of its own, because settings and protocol need the
// log but not Aravis.
#pragma once

#include "common/Report.h"

namespace nubrix::net {

/// Writes a line to the library's log, or to stderr: see reportAs. Thread-safe.
inline void report(const std::string &line)
{
    reportAs("NubrixNetDriver", "nubrix network camera", line);
}

}  // namespace nubrix::net
