// The two functions through which the library gets the driver.
#include <exception>

#include "nubrix/export.h"
#include "uvc/KernelNode.h"
#include "uvc/UvcDriver.h"

extern "C" NUBRIX_API nubrix::NubrixBaseDriver *driverInstance()
try {
    return new nubrix::UvcDriver(&nubrix::KernelNode::open);
} catch (const std::exception &) {
    return nullptr;
}

extern "C" NUBRIX_API void driverDestroy(nubrix::NubrixBaseDriver *driver)
{
    delete driver;
}
