// Where the driver of network cameras says what went wrong.
#pragma once

#include "common/Report.h"

namespace nubrix::net {

/// reportAs of this driver. Thread-safe.
inline void report(const std::string &line)
{
    reportAs("NubrixNetDriver", "nubrix network camera", line);
}

}  // namespace nubrix::net
