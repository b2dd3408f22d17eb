// Where the driver of virtual cameras reports what went wrong.
#pragma once

#include "common/Report.h"

namespace nubrix::virtual_camera {

/// reportAs of this driver. Thread-safe.
inline void report(const std::string &line)
{
    reportAs("NubrixVirtualDriver", "nubrix virtual camera", line);
}

}  // namespace nubrix::virtual_camera
