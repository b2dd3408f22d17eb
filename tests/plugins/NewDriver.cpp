// A driver plug-in that makes a new driver for each driverInstance, as plug-ins do that keep no
// single one. A test reaches each by its number.
#include <array>
#include <cstddef>
#include <string>

#include "nubrix/export.h"
#include "tests/fakes/FakeDriver.h"

namespace {

std::array<nubrix::FakeDriver, 3> g_drivers;
std::size_t g_made = 0;

}  // namespace

extern "C" {

NUBRIX_API nubrix::FakeDriver *nubrixTestDriver();
NUBRIX_API nubrix::FakeDriver *nubrixTestDriverOf(std::size_t number);
NUBRIX_API nubrix::NubrixBaseDriver *driverInstance();
NUBRIX_API void driverDestroy(nubrix::NubrixBaseDriver *driver);

nubrix::FakeDriver *nubrixTestDriver()
{
    return nubrixTestDriverOf(0);
}

nubrix::FakeDriver *nubrixTestDriverOf(std::size_t number)
{
    return &g_drivers.at(number);
}

nubrix::NubrixBaseDriver *driverInstance()
{
    return &g_drivers.at(g_made++);
}

void driverDestroy(nubrix::NubrixBaseDriver *driver)
{
    auto *const own = static_cast<nubrix::FakeDriver *>(driver);
    own->record("driverDestroy");
    own->shutDown();
}
}
