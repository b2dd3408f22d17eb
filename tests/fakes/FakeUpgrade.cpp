#include "tests/fakes/FakeUpgrade.h"

#include <utility>

#include "tests/fakes/FakeDriver.h"

namespace nubrix {

FakeUpgrade::FakeUpgrade(FakeDriver &driver, std::string location, bool upgrading)
    : m_driver(driver), m_location(std::move(location)), m_upgrading(upgrading)
{
}

FakeUpgrade::~FakeUpgrade()
{
    m_driver.record("upgrader " + m_location + " deleted");
}

void FakeUpgrade::onDeviceStateChange(const char *deviceAddr, const char * /*serial*/,
                                      const char * /*location*/, unsigned int state)
{
    m_driver.record("upgrader " + m_location + " event " + (deviceAddr ? deviceAddr : "(null)") +
                    " " + std::to_string(state));
}

}  // namespace nubrix
