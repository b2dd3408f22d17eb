// The driver of network cameras: lists, opens and closes them.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "common/DriverParts.h"
#include "net/CameraMonitor.h"
#include "net/NetDevice.h"
#include "net/NetSettings.h"
#include "nubrix/driver.h"

namespace nubrix::net {

/// The driver plug-in. Thread-safe, except that initialize comes first and the destruction last.
class NetDriver final : public NubrixBaseDriver {
public:
    /// `settingsFiles`: the paths of nubrixNet.ini, each overriding the one before it.
    explicit NetDriver(const std::vector<std::string> &settingsFiles);
    /// Closes all cameras and joins all threads, also those of cameras that were closed in their
    /// own frame callbacks. Must not be called from within a frame callback.
    ~NetDriver() override;

    /// -2 when it is initialized already, -1 when no thread can be started.
    int initialize() override;
    bool isInitialized() const { return m_initialized; }
    /// Before initialize: forgets the answers to the first requests and sends them again.
    void searchAnew() { m_monitor.beginSearch(); }
    /// The previous callback may still be running afterwards, until the driver is destroyed.
    int setDeviceStateCallback(DriverStateCallback callback, void *user) override;
    int getDeviceList(typedefNubrixeviceAttribute *records, unsigned int *count) override;
    /// Opens "net:" and an IPv4 address, listed or not: -4 for another URI, otherwise the status of
    /// NetDevice::open.
    int openDevice(const char *uri, NubrixBaseDevice **device) override;
    int closeDevice(NubrixBaseDevice **device) override;

private:
    void joinFinished() noexcept;

    const NetSettings m_settings;
    std::atomic<bool> m_initialized{false};
    StateCallback m_callback;
    CameraWorkers m_workers;  // destroyed after the devices, as they may be in a frame callback
    OpenDevices<NetDevice> m_devices;
    CameraMonitor m_monitor;  // last, because its thread uses the others
};

}  // namespace nubrix::net
