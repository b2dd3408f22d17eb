// A plug-in that cannot be loaded, because it needs a function that nobody has.
#include "nubrix/driver.h"

extern "C" {

int nubrixTestMissingEverywhere();

NUBRIX_API nubrix::NubrixBaseDriver *driverInstance();

nubrix::NubrixBaseDriver *driverInstance()
{
    nubrixTestMissingEverywhere();
    return nullptr;
}
}
