#include "uvc/UvcDriver.h"

#include <sys/stat.h>
#include <cerrno>
#include <cstring>
#include <utility>

#include "common/DriverParts.h"
#include "common/Text.h"
#include "uvc/NodeIo.h"
#include "uvc/NodeWorker.h"

namespace nubrix::uvc {

namespace {

constexpr unsigned int kGmslRecords = 60;  // number of records that the library provides

void describeCamera(const CameraInfo &camera, typedefNubrixeviceAttribute &record)
{
    typedefNubrixeviceAttribute filled = {};
    filled.vendorId = camera.usb.vendorId;
    filled.productId = camera.usb.productId;
    filled.transport = 1;
    filled.deviceState = NUBRIX_DEVICE_CONNECTED;
    copyText(filled.serialNumber, camera.usb.serial);
    copyText(filled.uri, camera.uri());
    copyText(filled.location, camera.usb.busPath);
    copyText(filled.productName, camera.usb.product);
    std::memcpy(&record, &filled, sizeof filled);
}

void describeNode(const NodeInfo &node, _NubrixGmslDeviceInfo &record)
{
    record = {};
    copyText(record.devicePath, node.path);
}

/// What udev knows of an open node; nullopt if it does not know the node.
std::optional<NodeInfo> lookUp(int fd)
{
    struct stat status = {};
    if (::fstat(fd, &status) != 0 || !S_ISCHR(status.st_mode))
        return std::nullopt;
    const UdevPtr<udev> context(udev_new());
    if (!context)
        return std::nullopt;
    // Its capabilities do not matter here, so it need not be opened.
    const auto refuse = [](const std::string & /*path*/, std::unique_ptr<NodeIo> & /*node*/) {
        return EACCES;
    };
    return NodeScanner(*context, refuse).find(status.st_rdev);
}

}  // namespace

UvcDriver::UvcDriver(NodeOpener opener)
    : m_opener(std::move(opener)),
      m_monitor(m_table, m_opener, [this](const CameraTable::Change &change) {
          const CameraInfo &camera = change.camera;
          m_callback.notify(camera.uri(), camera.usb.serial, camera.usb.busPath, change.connected);
      })
{
}

int UvcDriver::initialize()
try {
    if (m_initialized.exchange(true))
        return kWrongState;
    if (!m_monitor.start())
        kReporter.error(
            "udev sends no events: cameras that are attached or detached are not noticed");
    return kDone;
} catch (...) {
    reportFailure("looking for USB cameras");
    return kFailed;
}

int UvcDriver::setDeviceStateCallback(DriverStateCallback callback, void *user)
{
    m_callback.set(callback, user);
    return kDone;
}

int UvcDriver::getDeviceList(typedefNubrixeviceAttribute *records, unsigned int *count)
{
    return listRecords([this] { return m_table.cameras(); }, describeCamera, records, count);
}

int UvcDriver::getGmslDeviceList(_NubrixGmslDeviceInfo *records, unsigned int *count)
{
    if (count != nullptr)
        *count = kGmslRecords;  // on entry the count means nothing
    return listRecords([this] { return m_table.otherNodes(); }, describeNode, records, count);
}

int UvcDriver::openDevice(const char *uri, NubrixBaseDevice **device)
try {
    if (uri == nullptr || device == nullptr)
        return kBadArgument;
    const CallDeadline deadline(CallDeadline::kOpeningTime);
    UsbIdentity usb;
    std::vector<std::string> paths;
    if (const auto camera = m_table.find(uri)) {
        usb = camera->usb;
        for (const NodeInfo &node : camera->nodes)
            paths.push_back(node.path);
    } else {
        for (const NodeInfo &node : m_table.otherNodes()) {
            if (node.path == uri)
                paths.push_back(node.path);
        }
    }
    if (paths.empty())
        return kBadArgument;
    std::unique_ptr<UvcDevice> opened;
    if (const int status = UvcDevice::open(uri, usb, paths, m_opener, m_threads, opened))
        return status;
    return m_devices.keep(std::move(opened), device);
} catch (...) {
    reportFailure("opening a USB camera");
    return kFailed;
}

int UvcDriver::openDeviceByFd(unsigned int vid, unsigned int pid, int fd, const char *path,
                              NubrixBaseDevice **device)
try {
    if (device == nullptr)
        return kBadArgument;
    const CallDeadline deadline(CallDeadline::kOpeningTime);
    std::string name = path == nullptr || *path == '\0' ? "fd:" + std::to_string(fd) : path;
    UsbIdentity usb;
    usb.vendorId = vid;
    usb.productId = pid;
    const auto known = lookUp(fd);
    if (known && known->usb) {
        usb = *known->usb;
        name = "usb:" + usb.busPath;
    }
    std::unique_ptr<UvcDevice> opened;
    const auto adopt = [fd](const std::string & /*path*/, std::unique_ptr<NodeIo> &node) {
        return KernelNode::adopt(fd, node);
    };
    if (const int status = UvcDevice::open(name, usb, {name}, adopt, m_threads, opened))
        return status == kTimedOut ? kTimedOut : kBadArgument;
    return m_devices.keep(std::move(opened), device);
} catch (...) {
    reportFailure("opening a video node by its descriptor");
    return kFailed;
}

int UvcDriver::closeDevice(NubrixBaseDevice **device)
{
    const CallDeadline deadline;
    return m_devices.close(device);
}

}  // namespace nubrix::uvc
