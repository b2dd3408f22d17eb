// The driver plug-in of the virtual cameras.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "common/DriverParts.h"
#include "common/DriverThreads.h"
#include "nubrix/driver.h"
#include "virtual/Scenario.h"
#include "virtual/VirtualCamera.h"
#include "virtual/VirtualDevice.h"

namespace nubrix::virtual_camera {

/// Thread-safe, except that initialize comes first and the destruction last.
class VirtualDriver final : public NubrixBaseDriver {
public:
    VirtualDriver() = default;
    /// Waits for all threads of the driver, and so for the callbacks that they run.
    ~VirtualDriver() override;

    /// Reads the scenario that NUBRIX_VIRTUAL_SCENARIO names; without one there is one camera.
    /// Reports an invalid scenario in one line and returns -4. -2 when it was called before.
    int initialize() override;
    int setDeviceStateCallback(DriverStateCallback callback, void *user) override;
    int getDeviceList(typedefNubrixeviceAttribute *records, unsigned int *count) override;
    /// -4 for a camera that is not present, -2 for one that is open, or the status of a fault.
    int openDevice(const char *uri, NubrixBaseDevice **device) override;
    /// Opens the camera whose URI is `path`; any path without the form of such a URI opens the
    /// first free camera. -4 when there is none. The descriptor is not used.
    int openDeviceByFd(unsigned int vid, unsigned int pid, int fd, const char *path,
                       NubrixBaseDevice **device) override;
    int closeDevice(NubrixBaseDevice **device) override;

    /// Like initialize, with the caller's scenario; messages name it `file`.
    int initializeWith(const Scenario &scenario, const std::string &file);

private:
    VirtualCamera *find(const char *uri);
    int open(VirtualCamera &camera, NubrixBaseDevice **device);
    void scheduleFaults(VirtualCamera &camera, HotPlug::Time start);

    bool m_initialized = false;  // the first two: fixed after initialize
    std::vector<std::unique_ptr<VirtualCamera>> m_cameras;
    DriverThreads m_threads;  // use the cameras
    OpenDevices<VirtualDevice> m_devices;
    HotPlug m_hotPlug;  // stopped before the cameras are destroyed
};

}  // namespace nubrix::virtual_camera
