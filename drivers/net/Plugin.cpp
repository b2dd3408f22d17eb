// The two functions that the library calls in the plug-in.
#include <exception>

#include "common/SettingsFiles.h"
#include "net/NetDriver.h"
#include "nubrix/export.h"

extern "C" NUBRIX_API nubrix::NubrixBaseDriver *driverInstance()
try {
    return new nubrix::net::NetDriver(nubrix::settingsFiles("nubrixNet.ini"));
} catch (const std::exception &) {
    return nullptr;
}

extern "C" NUBRIX_API void driverDestroy(nubrix::NubrixBaseDriver *driver)
{
    delete driver;
}
