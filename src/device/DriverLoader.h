// Loads the driver plug-ins.
#pragma once

#include "nubrix/types.h"

namespace nubrix {

class NubrixBaseDriver;

/// Loads the plug-in of a type, from the library's folder or else from the system's search path,
/// and returns the driver of its "driverInstance"; null without one. Its handle and its
/// "driverDestroy" are kept in the exported variables. One caller at a time.
NubrixBaseDriver *loadDriver(DRIVER_TYPE type);

/// Remembers a driver that was initialized, until destroyDriver: its threads run. Its code stays in
/// memory, and when its plug-in creates another driver, its device states are ignored. One caller
/// at a time, as for everything here.
void noteRunning(DRIVER_TYPE type, NubrixBaseDriver *driver);

/// Calls the "driverDestroy" of a type's plug-in, if there is one, with a driver or null.
void destroyDriver(DRIVER_TYPE type, NubrixBaseDriver *driver);

/// Closes all plug-ins: USB video, network, mini. Those of running drivers stay in memory.
void closeDriverLibraries();

}  // namespace nubrix
