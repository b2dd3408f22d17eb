// A driver plug-in around a FakeDriver, which the test reaches through one more function.
#include <cstdlib>
#include <string>

#include "nubrix/export.h"
#include "tests/fakes/FakeDriver.h"

namespace {

nubrix::FakeDriver g_driver;

#ifdef NUBRIX_TEST_COUNT_LOADS
// Leaves a trace that outlives the plug-in.
const int g_counted = [] {
    const char *const before = std::getenv("NUBRIX_TEST_LOADS");
    return setenv("NUBRIX_TEST_LOADS", (std::string(before ? before : "") + "1").c_str(), 1);
}();
#endif

}  // namespace

extern "C" {

NUBRIX_API nubrix::FakeDriver *nubrixTestDriver();
NUBRIX_API nubrix::NubrixBaseDriver *driverInstance();
NUBRIX_API void driverDestroy(nubrix::NubrixBaseDriver *driver);
NUBRIX_API const char *nubrixTestWho();
NUBRIX_API const char *nubrixTestAskWho();

// An application may have a function of this name, too; the loader decides which is meant below.
const char *nubrixTestWho()
{
    return "the plug-in";
}

const char *nubrixTestAskWho()
{
    return nubrixTestWho();
}

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
