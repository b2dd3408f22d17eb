// Loads the driver plug-ins.
#pragma once

#include "nubrix/types.h"

namespace nubrix {

class NubrixBaseDriver;

/// Loads the plug-in of a type, from the library's folder or else from the system's search path,
/// and returns the driver that its "driverInstance" gives; null without one. Its handle and its
/// "driverDestroy" are kept in the exported variables. One caller at a time.
NubrixBaseDriver *loadDriver(DRIVER_TYPE type);

/// The "driverDestroy" of a type's plug-in, null without one.
void (*driverDestroyOf(DRIVER_TYPE type))(NubrixBaseDriver *driver);

/// Closes all plug-ins: USB video, network, mini. Their drivers must be gone.
void closeDriverLibraries();

}  // namespace nubrix
