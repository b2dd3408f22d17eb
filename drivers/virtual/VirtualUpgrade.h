// Rehearses a firmware upgrade of a virtual camera.
#pragma once

#include <memory>
#include <string>

#include "common/DriverThreads.h"
#include "nubrix/driver.h"

namespace nubrix {

class UpgradeRun;
struct FirmwareImage;
class VirtualCamera;

/// Upgrades one camera, on a thread of its own. One upgrade at a time. Thread-safe.
class VirtualUpgrade final : public NubrixBaseUpgrade {
public:
    explicit VirtualUpgrade(VirtualCamera &camera);
    /// Breaks an upgrade off that is still running, and waits for its callbacks. May be called from
    /// within them.
    ~VirtualUpgrade() override;

    /// Checks the image, then upgrades on a thread of its own, which calls the callbacks (with a
    /// null device). -4 without a file or for one that is no sound image, -2 while an upgrade runs,
    /// -9 when the camera is not plugged in, -1 when there is no thread to be had; the log says
    /// why.
    int deviceStartUpgradeOffLine(const typedefNubrixUpgradeCallbacks *callbacks,
                                  const char *file) override;
    void onDeviceStateChange(const char *deviceAddr, const char *serial, const char *location,
                             unsigned int state) override;
    bool isUpgradeState() override;
    std::string getDeviceSerialNumber() override;
    std::string getDeviceLocation() override;

private:
    int begin(FirmwareImage image, const typedefNubrixUpgradeCallbacks &callbacks);

    const std::string m_uri;
    const std::string m_serial;
    const std::string m_location;
    DriverThreads &m_threads;  // not used once the driver is gone: the run begins no more then
    const std::shared_ptr<UpgradeRun> m_run;
};

}  // namespace nubrix
