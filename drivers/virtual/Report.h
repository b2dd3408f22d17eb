// How the driver of virtual cameras reports errors.
#pragma once

#include "common/Report.h"

namespace nubrix::virtual_camera {

/// Logs an error under the name of this driver. Thread-safe.
inline void report(const std::string &line)
{
    reportAs("NubrixVirtualDriver", "nubrix virtual camera", line);
}

}  // namespace nubrix::virtual_camera
