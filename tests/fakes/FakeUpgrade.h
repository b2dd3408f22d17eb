// The firmware upgrader of a fake camera.
#pragma once

#include <string>

#include "nubrix/driver.h"

namespace nubrix {

class FakeDriver;

/// Records its calls in those of its driver: "upgrader LOCATION event ADDR STATE",
/// "... start FILE", "... fd A B C D", "... status PATH A B D".
class FakeUpgrade final : public NubrixBaseUpgrade {
public:
    FakeUpgrade(FakeDriver &driver, std::string location, bool upgrading);
    ~FakeUpgrade() override;

    int deviceStartUpgradeOffLine(const typedefNubrixUpgradeCallbacks *callbacks,
                                  const char *file) override;
    void onDeviceStateChange(const char *path, int a, int b, unsigned int d) override;
    void setDufDeviceFd(unsigned int a, unsigned int b, unsigned int c, const char *d) override;
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
