// The two functions through which the library gets the driver.
#include "common/Report.h"
#include "nubrix/export.h"
#include "uvc/KernelNode.h"
#include "uvc/UvcDriver.h"

extern "C" NUBRIX_API nubrix::NubrixBaseDriver *driverInstance()
try {
    return new nubrix::UvcDriver(&nubrix::KernelNode::open);
} catch (...) {
    nubrix::reportFailure("making the driver of USB cameras");
    return nullptr;
}

extern "C" NUBRIX_API void driverDestroy(nubrix::NubrixBaseDriver *driver)
{
    delete driver;
}
