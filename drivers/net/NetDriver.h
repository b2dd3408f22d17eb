// The driver plug-in of network cameras.
#pragma once

#include <atomic>
#include <string>

#include "common/OpenDevices.h"
#include "common/StateCallback.h"
#include "net/CameraMonitor.h"
#include "net/NetDevice.h"
#include "net/NetSettings.h"
#include "nubrix/driver.h"

namespace nubrix::net {

/// Thread-safe, except that initialize comes first and the destruction last.
class NetDriver final : public NubrixBaseDriver {
public:
    /// `settings`: the path of nubrixNet.ini.
    explicit NetDriver(const std::string &settings);
    /// Closes all cameras and joins all threads, also those of cameras that were closed in their
    /// own frame callbacks: not from within one.
    ~NetDriver() override;

    /// -2 when it has been called already, -1 when there is no thread to be had.
    int initialize() override;
    /// The callback before may still be running afterwards, until the driver is destroyed.
    int setDeviceStateCallback(DriverStateCallback callback, void *user) override;
    int getDeviceList(typedefNubrixeviceAttribute *records, unsigned int *count) override;
    /// Any "net:" and an IPv4 address, listed or not: -4 for another URI, or what NetDevice::open
    /// says.
    int openDevice(const char *uri, NubrixBaseDevice **device) override;
    int closeDevice(NubrixBaseDevice **device) override;

private:
    void joinFinished() noexcept;

    const NetSettings m_settings;
    std::atomic<bool> m_initialized{false};
    StateCallback m_callback;
    CameraWorkers m_workers;  // joined last of all: they may be in a frame callback
    OpenDevices<NetDevice> m_devices;
    CameraMonitor m_monitor;  // last: its thread uses the others
};

}  // namespace nubrix::net
