// A driver plug-in around a FakeDriver, which the test gets hold of through one more function.
#include "nubrix/export.h"
#include "tests/fakes/FakeDriver.h"

namespace {

nubrix::FakeDriver g_driver;

}  // namespace

extern "C" {

NUBRIX_API nubrix::FakeDriver *nubrixTestDriver();
NUBRIX_API nubrix::NubrixBaseDriver *driverInstance();
NUBRIX_API void driverDestroy(nubrix::NubrixBaseDriver *driver);

nubrix::FakeDriver *nubrixTestDriver()
{
    return &g_driver;
}

nubrix::NubrixBaseDriver *driverInstance()
{
    g_driver.record("driverInstance");
#ifdef NUBRIX_TEST_NULL_INSTANCE
    return nullptr;
#else
    return &g_driver;
#endif
}

#ifndef NUBRIX_TEST_NO_DESTROY
void driverDestroy(nubrix::NubrixBaseDriver *driver)
{
    g_driver.record(driver ? "driverDestroy" : "driverDestroy (null)");
    g_driver.shutDown();
}
#endif
}
