// The driver plug-in of USB cameras and of other video nodes.
#pragma once

#include <atomic>

#include "common/DriverParts.h"
#include "common/DriverThreads.h"
#include "nubrix/driver.h"
#include "uvc/CameraTable.h"
#include "uvc/HotPlugMonitor.h"
#include "uvc/NodeIo.h"
#include "uvc/UvcDevice.h"

namespace nubrix::uvc {

/// The driver. Thread-safe, except that initialize comes first and the destruction last.
class UvcDriver final : public NubrixBaseDriver {
public:
    /// Throws std::system_error when there are no descriptors left.
    explicit UvcDriver(NodeOpener opener);

    /// -2 when it has been called before, -1 when the system has no thread left. Without udev it
    /// finds no cameras, reports that and returns 0.
    int initialize() override;
    int setDeviceStateCallback(DriverStateCallback callback, void *user) override;
    int getDeviceList(typedefNubrixeviceAttribute *records, unsigned int *count) override;
    int getGmslDeviceList(_NubrixGmslDeviceInfo *records, unsigned int *count) override;
    /// Opens a URI of the device list or a path of the GMSL list: -4 when it is neither, or the
    /// status of UvcDevice::open.
    int openDevice(const char *uri, NubrixBaseDevice **device) override;
    /// Opens the descriptor of a video node as a camera of one node; -4 when it is not a video
    /// node, -11 when it does not answer.
    int openDeviceByFd(unsigned int vid, unsigned int pid, int fd, const char *path,
                       NubrixBaseDevice **device) override;
    int closeDevice(NubrixBaseDevice **device) override;

private:
    const NodeOpener m_opener;
    CameraTable m_table;
    std::atomic<bool> m_initialized{false};
    StateCallback m_callback;
    DriverThreads m_threads;  // outlives the devices
    OpenDevices<UvcDevice> m_devices;
    HotPlugMonitor m_monitor;  // last: its thread uses the others
};

}  // namespace nubrix::uvc
