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

int FakeUpgrade::deviceStartUpgradeOffLine(const typedefNubrixUpgradeCallbacks *callbacks,
                                           const char *file)
{
    m_driver.record("upgrader " + m_location + " start " + file);
    if (callbacks)
        callbacks->onProgress(nullptr, 42, callbacks->user);
    return m_driver.results.upgradeStart;
}

void FakeUpgrade::onDeviceStateChange(const char *path, int a, int b, unsigned int d)
{
    m_driver.record("upgrader " + m_location + " status " + path + " " + std::to_string(a) + " " +
                    std::to_string(b) + " " + std::to_string(d));
}

void FakeUpgrade::setDufDeviceFd(unsigned int a, unsigned int b, unsigned int c, const char *d)
{
    m_driver.record("upgrader " + m_location + " fd " + std::to_string(a) + " " +
                    std::to_string(b) + " " + std::to_string(c) + " " + d);
}

void FakeUpgrade::onDeviceStateChange(const char *deviceAddr, const char * /*serial*/,
                                      const char * /*location*/, unsigned int state)
{
    m_driver.record("upgrader " + m_location + " event " + (deviceAddr ? deviceAddr : "(null)") +
                    " " + std::to_string(state));
}

}  // namespace nubrix
