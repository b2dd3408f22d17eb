// The two functions through which the library creates and destroys the driver.
#include "common/Report.h"
#include "nubrix/export.h"
#include "uvc/NodeIo.h"
#include "uvc/UvcDriver.h"

extern "C" NUBRIX_API nubrix::NubrixBaseDriver *driverInstance()
try {
    return new nubrix::uvc::UvcDriver(&nubrix::uvc::KernelNode::open);
} catch (...) {
    nubrix::reportFailure("creating the driver of USB cameras");
    return nullptr;
}

extern "C" NUBRIX_API void driverDestroy(nubrix::NubrixBaseDriver *driver)
{
    delete driver;
}
