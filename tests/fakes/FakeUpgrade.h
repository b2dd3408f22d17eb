// The firmware upgrader of a fake camera.
#pragma once

#include <string>

#include "nubrix/driver.h"

namespace nubrix {

class FakeDriver;

/// Remembers hot-plug events in the calls of its driver: "upgrader LOCATION event ADDR STATE".
class FakeUpgrade final : public NubrixBaseUpgrade {
public:
    FakeUpgrade(FakeDriver &driver, std::string location, bool upgrading);
    ~FakeUpgrade() override;

    using NubrixBaseUpgrade::onDeviceStateChange;
    void onDeviceStateChange(const char *deviceAddr, const char *serial, const char *location,
                             unsigned int state) override;
    bool isUpgradeState() override { return m_upgrading; }
    std::string getDeviceLocation() override { return m_location; }

private:
    FakeDriver &m_driver;
    const std::string m_location;
    const bool m_upgrading;
};

}  // namespace nubrix
