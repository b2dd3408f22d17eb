// Cameras: listing, opening, closing, arriving and leaving.
#include <cstring>
#include <optional>

#include "base/CallbackScope.h"
#include "base/ErrorNumber.h"
#include "base/LogCall.h"
#include "context/ContextGuards.h"

namespace nubrix {

namespace {

constexpr const char *kTunnelled = "NVTEVM";  // a location that stands for every camera on the link

const char *orEmpty(const char *text)
{
    return text ? text : "";
}

bool contains(const char *text, const char *part)
{
    return std::strstr(text, part) != nullptr;
}

int refuseAddress()
{
    setErrorNumber(NUBRIX_ERR_OPEN_FAILED);
    logPrint(kLogError, "invalid device addr !");
    return -4;
}

void logAdvice(const char *deviceAddr)
{
    if (!contains(deviceAddr, "usb")) {
        logPrint(kLogMilestone,
                 "If the device is not actively unplugged, please check the network connection.");
        return;
    }
    logPrint(kLogMilestone,
             "If the device is not actively unplugged, please check the power supply capability of "
             "the hub or the connection of the USB data cable.");
    logPrint(kLogMilestone,
             "It is recommended to replace the hub with power supply and try again.");
}

}  // namespace

int Context::setDeviceStateCallback(NubrixDeviceStateCallback callback, void *user)
{
    return underLock([&] {
        if (!m_events.add(callback, user))
            logPrint(kLogInfo, "already registed\n");
        return 0;
    });
}

int Context::nubrixGetDeviceList(typedefNubrixeviceAttribute **list, unsigned int *count)
{
    return underLock([&] {
        *list = m_records.table();
        *count = m_records.count();
        return 0;
    });
}

int Context::copyDeviceList(typedefNubrixeviceAttribute *records, unsigned int *count)
{
    return underLock([&] {
        if (!count || (*count > 0 && !records)) {
            logPrint(kLogError, "nubrixCopyDeviceList needs a count and space for the records");
            return -4;
        }
        *count = m_records.copy(records, *count);
        return 0;
    });
}

typedefNubrixeviceAttribute *Context::getDeviceAttributeByUri(const char *uri)
{
    return underLock([&]() -> typedefNubrixeviceAttribute * {
        if (!uri) {
            logPrint(kLogError, "pDeviceUri is null");
            return nullptr;
        }
        const auto found = m_records.find(uri);
        if (found)
            return found->record;
        setErrorNumber(NUBRIX_ERR_URI_NOT_FOUND);
        logPrint(kLogError, " not found %s Device ", uri);
        return nullptr;
    });
}

// --- opening and closing

int Context::openDevice(const char *uri, NubrixDevice **handle)
{
    return inside([&] {
        if (!m_initialized)
            return refuseUninitialized();
        logPrint(kLogMilestone, "Start open device %s", uri ? uri : "(null)");
        std::string path;
        NubrixBaseDriver *driver = nullptr;
        if (const int refused = findCamera(uri, path, driver))
            return refused;
        {
            const CriticalSectionScoped lock(*m_apiLock);
            if (m_devices.findIf([&](Device &device) { return device.deviceId() == path; })) {
                // Kept: success, and the handle is not written.
                logPrint(kLogMilestone, "Device[%s] is already opened!", path.c_str());
                return 0;
            }
        }
        const auto device = std::make_shared<Device>(*driver);
        if (const int failed = device->open(path.c_str())) {
            logPrint(kLogError, "Open device failed ret = %d!", failed);
            return failed;
        }
        const CriticalSectionScoped lock(*m_apiLock);
        *handle = keep(device);
        logPrint(kLogMilestone, "Open device succeed");
        return 0;
    });
}

// Adds an open device to the list, or closes it again when there is no memory for that.
NubrixDevice *Context::keep(const std::shared_ptr<Device> &device)
{
    try {
        m_devices.add(device);
    } catch (...) {
        device->close();
        throw;
    }
    return device->handle();
}

// Finds what a URI means: the path to open and the driver that serves it.
int Context::findCamera(const char *uri, std::string &path, NubrixBaseDriver *&driver)
{
    if (uri && contains(uri, "/dev/video")) {
        if (!m_records.hasGmsl(uri))
            return refuseAddress();
        path = uri;
        driver = m_drivers.of(DRIVER_TYPE_UVC);
    } else {
        const auto found = m_records.find(uri);
        if (!found && uri)
            return refuseAddress();
        if (!found) {
            setErrorNumber(NUBRIX_ERR_DEVICE_NOT_FOUND);
            logPrint(kLogError, "Not find device!");
            return -4;
        }
        path = found->uri;
        driver = m_drivers.ofTransport(found->transport);
    }
    if (driver)
        return 0;
    logPrint(kLogError, "cannot open Device[%s],  not find support driver", path.c_str());
    return -12;
}

int Context::openDevice2(unsigned int vid, unsigned int pid, unsigned int fd, const char *path,
                         NubrixDevice **handle)
{
    return underLock([&] {
        NubrixBaseDriver *const driver = m_drivers.forIdentifiers(vid, pid);
        if (!driver) {
            logPrint(kLogInfo, "cannot open Device[vid=%0x  pid=%0x], driver not support", vid,
                     pid);
            return -1;
        }
        const auto device = std::make_shared<Device>(*driver);
        if (const int failed = device->open2(vid, pid, fd, path)) {
            logPrint(kLogError, "Open Device(%s) Failed!", path);
            return failed;
        }
        *handle = keep(device);
        logPrint(kLogInfo, "Add device=0x%p to device list", static_cast<void *>(device.get()));
        return 0;
    });
}

int Context::closeDevice(NubrixDevice *handle)
{
    return inside([&] {
        std::shared_ptr<Device> device;
        const int refused = onDevice(handle, [&](Device &found) {
            if (!found.beginClose())  // another thread is closing it
                return refuseDevice();
            device = found.shared_from_this();
            return 0;
        });
        if (refused != 0)
            return refused;
        try {
            closeStreamsOfDevice(*device);
            device->close();
        } catch (...) {
            device->cancelClose();
            throw;
        }
        std::shared_ptr<NubrixBaseUpgrade> upgrader;
        {
            const CriticalSectionScoped lock(*m_apiLock);
            upgrader = m_upgrades.remove(handle);
            m_devices.remove(handle);
        }
        m_upgrades.end(std::move(upgrader));  // may wait for a thread that runs a callback
        logPrint(kLogMilestone, "Finish close device");
        return 0;
    });
}

// --- arriving and leaving

void Context::onDeviceState(const char *deviceAddr, const char *serial, const char *location,
                            unsigned int state)
{
    guarded([&] {
        const Gate::Entry entry(m_gate);
        logEmptyLine();
        if (m_events.drop() || !entry || upgraderHandles(deviceAddr, serial, location, state))
            return 0;
        logPrint(kLogMilestone,
                 "onDeviceState Change deviceAddr = %s , SN = %s, location = %s, deviceState = %d",
                 orEmpty(deviceAddr), orEmpty(serial), orEmpty(location), static_cast<int>(state));
        if (state == NUBRIX_DEVICE_DISCONNECTED)
            logAdvice(orEmpty(deviceAddr));
        m_records.rebuild(m_drivers);
        notifyApplication(deviceAddr, serial, state);
        return 0;
    });
}

bool Context::upgraderHandles(const char *deviceAddr, const char *serial, const char *location,
                              unsigned int state)
{
    std::vector<std::shared_ptr<NubrixBaseUpgrade>> upgraders;  // none is deleted under the lock
    // An event from within a listing holds that lock, which initialize takes after this one.
    std::optional<CriticalSectionScoped<CriticalSectionWrapper>> lock;
    if (!DeviceRecords::isListing())
        lock.emplace(*m_apiLock);
    upgraders = m_upgrades.all();
    for (const auto &each : upgraders) {
        NubrixBaseUpgrade *const upgrader = each.get();
        const std::string own = upgrader->getDeviceLocation();
        if (own != orEmpty(location) && !contains(orEmpty(location), kTunnelled) &&
            !contains(own.c_str(), kTunnelled))
            continue;
        logPrint(kLogMilestone,
                 "onDeviceState Change deviceAddr = %s , SN = %s, location = %s, "
                 "deviceLocation : %s, deviceState = %d",
                 orEmpty(deviceAddr), orEmpty(serial), orEmpty(location), own.c_str(),
                 static_cast<int>(state));
        upgrader->onDeviceStateChange(deviceAddr, serial, location, state);
        if (upgrader->isUpgradeState())
            return true;
    }
    return false;
}

void Context::notifyApplication(const char *deviceAddr, const char *serial, unsigned int state)
{
    const std::vector<DeviceEvents::Registration> registrations = m_events.registrations();
    logPrint(kLogMilestone, "register device state callback  size is %d",
             static_cast<int>(registrations.size()));
    const CallbackScope inCallback(nullptr);
    for (const auto &[callback, user] : registrations) {
        if (callback)
            callback(deviceAddr, serial, state, user);
    }
}

}  // namespace nubrix
