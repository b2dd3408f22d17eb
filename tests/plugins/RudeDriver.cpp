// A driver plug-in whose one camera has texts that a terminal would obey, in fields without an end.
#include <algorithm>
#include <string>

#include "nubrix/export.h"
#include "tests/fakes/FakeDriver.h"

namespace {

template <std::size_t Size>
void fill(char (&field)[Size], std::string text)
{
    text.resize(Size, 'x');
    std::copy(text.begin(), text.end(), field);
}

}  // namespace

extern "C" NUBRIX_API nubrix::NubrixBaseDriver *driverInstance()
{
    typedefNubrixeviceAttribute camera = {};
    camera.transport = 1;
    fill(camera.serialNumber, "S\x1b[2J\xc2\x9b\x9b\xe6\xb7\xb1");
    fill(camera.productName, "P\x7f\n\xff\xed\xa0\x80\xf0\x9f\x93\xb7");
    fill(camera.uri, "usb:\xc2\x85");
    fill(camera.location, "1-2\x08");
    auto *driver = new nubrix::FakeDriver;
    driver->setDevices({camera});
    return driver;
}

extern "C" NUBRIX_API void driverDestroy(nubrix::NubrixBaseDriver *driver)
{
    delete driver;
}
