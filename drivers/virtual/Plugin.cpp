// The two functions through which the library gets the driver.
#include <new>

#include "nubrix/export.h"
#include "virtual/VirtualDriver.h"

extern "C" NUBRIX_API nubrix::NubrixBaseDriver *driverInstance()
{
    return new (std::nothrow) nubrix::virtual_camera::VirtualDriver;
}

extern "C" NUBRIX_API void driverDestroy(nubrix::NubrixBaseDriver *driver)
{
    delete driver;
}
