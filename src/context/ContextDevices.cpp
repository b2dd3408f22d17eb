// Cameras: listing, opening, closing, coming and going.
#include <cstring>

#include "base/CriticalSectionScoped.h"
#include "base/ErrorNumber.h"
#include "base/LogCall.h"
#include "context/Context.h"
#include "device/Device.h"
#include "device/UsbIdentifiers.h"
#include "stream/VideoStream.h"

namespace nubrix {

namespace {

constexpr const char *kTunnelled = "NVTEVM";  // a location that stands for every camera behind it

const char *orEmpty(const char *text)
{
    return text ? text : "";
}

bool contains(const char *text, const char *part)
{
    return std::strstr(text, part) != nullptr;
}

// Transports and drivers are numbered differently: 2 and 3 both belong to the network driver.
bool driverTypeOf(int transport, DRIVER_TYPE &type)
{
    switch (transport) {
        case 1:
            type = DRIVER_TYPE_UVC;
            return true;
        case 2:
        case 3:
            type = DRIVER_TYPE_NET;
            return true;
        case 4:
            type = DRIVER_TYPE_MINI;
            return true;
        default:
            return false;
    }
}

int refuseAddress()
{
    setErrorNumber(NUBRIX_ERR_OPEN_FAILED);
    logPrint(kLogError, "invalid device addr !");
    return -4;
}

}  // namespace

int Context::setDeviceStateCallback(NubrixDeviceStateCallback callback, void *user)
{
    const ApiLock lock(*this);
    if (const int refused = requireInitialized(lock))
        return refused;
    bool known = false;
    {
        const CriticalSectionScoped guard(*m_leafLock);
        for (const Registration &registration : m_stateCallbacks)
            known = known || registration.first == callback;
        if (!known)
            m_stateCallbacks.emplace_back(callback, user);
    }
    if (known)
        logPrint(kLogInfo, "already registed\n");
    return 0;
}

int Context::nubrixGetDeviceList(typedefNubrixeviceAttribute **list, unsigned int *count)
{
    const ApiLock lock(*this);
    if (const int refused = requireInitialized(lock))
        return refused;
    *list = m_deviceTable;
    *count = m_deviceCount;
    return 0;
}

typedefNubrixeviceAttribute *Context::getDeviceAttributeByUri(const char *uri)
{
    const ApiLock lock(*this);
    if (requireInitialized(lock) != 0)
        return nullptr;
    if (!uri) {
        logPrint(kLogError, "pDeviceUri is null");
        return nullptr;
    }
    typedefNubrixeviceAttribute *record = nullptr;
    {
        const std::lock_guard<std::recursive_mutex> table(m_tableLock);
        record = findRecord(uri);
    }
    if (!record) {
        setErrorNumber(NUBRIX_ERR_URI_NOT_FOUND);
        logPrint(kLogError, " not found %s Device ", uri);
    }
    return record;
}

typedefNubrixeviceAttribute *Context::findRecord(const char *uri)
{
    for (unsigned int i = 0; i < m_deviceCount; ++i) {
        if (std::strcmp(m_deviceTable[i].uri, uri) == 0)
            return &m_deviceTable[i];
    }
    return nullptr;
}

// --- opening and closing

int Context::openDevice(const char *uri, NubrixDevice **handle)
{
    const InFlight::Entry entry(m_inFlight);
    if (m_destroying || !m_initialized)
        return refuseUninitialized();
    logPrint(kLogMilestone, "Start open device %s", uri ? uri : "(null)");
    std::string path;
    NubrixBaseDriver *driver = nullptr;
    if (const int refused = resolveUri(uri, path, driver))
        return refused;
    {
        const CriticalSectionScoped lock(*m_apiLock);
        if (isOpen(path)) {
            // Kept: success, and the handle is left alone.
            logPrint(kLogMilestone, "Device[%s] is already opened!", path.c_str());
            return 0;
        }
    }
    auto device = std::make_unique<Device>(*driver);
    if (const int failed = device->open(path.c_str())) {
        logPrint(kLogError, "Open device failed ret = %d!", failed);
        return failed;
    }
    const CriticalSectionScoped lock(*m_apiLock);
    m_devices.push_back(device.get());
    *handle = device.release()->handle();
    logPrint(kLogMilestone, "Open device succeed");
    return 0;
}

// Finds what a URI means: the path to open and the driver that serves it.
int Context::resolveUri(const char *uri, std::string &path, NubrixBaseDriver *&driver)
{
    const bool gmsl = uri && contains(uri, "/dev/video");
    int transport = 1;
    {
        const std::lock_guard<std::recursive_mutex> table(m_tableLock);
        if (gmsl) {
            if (!isGmslPath(uri))
                return refuseAddress();
            path = uri;
        } else {
            if (!uri && m_deviceCount == 0) {
                setErrorNumber(NUBRIX_ERR_DEVICE_NOT_FOUND);
                logPrint(kLogError, "Not find device!");
                return -4;
            }
            const typedefNubrixeviceAttribute *record = uri ? findRecord(uri) : m_deviceTable;
            if (!record)
                return refuseAddress();
            path = record->uri;
            transport = record->transport;
        }
    }
    DRIVER_TYPE type = DRIVER_TYPE_UVC;
    driver = driverTypeOf(transport, type) ? driverOf(type) : nullptr;
    if (!driver) {
        logPrint(kLogError, "cannot open Device[%s],  not find support driver", path.c_str());
        return -12;
    }
    return 0;
}

bool Context::isGmslPath(const char *path) const
{
    for (unsigned int i = 0; i < m_gmslCount; ++i) {
        if (std::strcmp(m_gmslTable[i].devicePath, path) == 0)
            return true;
    }
    return false;
}

bool Context::isOpen(const std::string &path) const
{
    for (const Device *device : m_devices) {
        if (device->deviceId() == path)
            return true;
    }
    return false;
}

int Context::openDevice2(unsigned int vid, unsigned int pid, unsigned int fd, const char *path,
                         NubrixDevice **handle)
{
    const ApiLock lock(*this);
    if (const int refused = requireInitialized(lock))
        return refused;
    NubrixBaseDriver *const driver = driverForIdentifiers(vid, pid);
    if (!driver) {
        logPrint(kLogInfo, "cannot open Device[vid=%0x  pid=%0x], driver not support", vid, pid);
        return -1;
    }
    auto device = std::make_unique<Device>(*driver);
    if (const int failed = device->open2(vid, pid, fd, path)) {
        logPrint(kLogError, "Open Device(%s) Failed!", path);
        return failed;
    }
    m_devices.push_back(device.get());
    logPrint(kLogInfo, "Add device=0x%p to device list", static_cast<void *>(device.get()));
    *handle = device.release()->handle();
    return 0;
}

// The driver of the first row that has an entry in the map; a null entry ends the search.
NubrixBaseDriver *Context::driverForIdentifiers(unsigned int vid, unsigned int pid)
{
    const CriticalSectionScoped guard(*m_leafLock);
    for (const UsbIdentifier &row : kUsbIdentifiers) {
        if (row.vendor != vid || row.product != pid)
            continue;
        const auto found = m_drivers.find(row.driver);
        if (found != m_drivers.end())
            return found->second;
    }
    return nullptr;
}

int Context::closeDevice(NubrixDevice *handle)
{
    const InFlight::Entry entry(m_inFlight);
    if (m_destroying)
        return refuseUninitialized();
    Device *device = nullptr;
    {
        const ApiLock lock(*this);
        if (const int refused = requireDevice(lock, handle, device))
            return refused;
        if (!device->beginClose())  // another thread closes it: gone for this one
            return refuseDevice();
    }
    closeStreamsOfDevice(device);
    device->close();
    std::unique_ptr<NubrixBaseUpgrade> upgrader;
    {
        const CriticalSectionScoped lock(*m_apiLock);
        upgrader = takeUpgraderOf(handle);
        m_devices.remove(device);
        delete device;
    }
    upgrader.reset();  // may wait for a thread that calls the application
    logPrint(kLogMilestone, "Finish close device");
    return 0;
}

std::unique_ptr<NubrixBaseUpgrade> Context::takeUpgraderOf(NubrixDevice *handle)
{
    const auto found = m_upgraders.find(handle);
    if (found == m_upgraders.end())
        return nullptr;
    std::unique_ptr<NubrixBaseUpgrade> upgrader(found->second);
    if (m_activeUpgrader == found->second)
        m_activeUpgrader = nullptr;
    m_upgraders.erase(found);
    return upgrader;
}

// --- coming and going

void Context::deviceStateCallback(const char *deviceAddr, const char *serial, const char *location,
                                  unsigned int state, void *user)
{
    static_cast<Context *>(user)->onDeviceState(deviceAddr, serial, location, state);
}

void Context::onDeviceState(const char *deviceAddr, const char *serial, const char *location,
                            unsigned int state)
{
    const InFlight::Entry entry(m_inFlight);
    logEmptyLine();
    if (isDropped() || upgraderTakes(deviceAddr, serial, location, state))
        return;
    logPrint(kLogMilestone,
             "onDeviceState Change deviceAddr = %s , SN = %s, location = %s, deviceState = %d",
             orEmpty(deviceAddr), orEmpty(serial), orEmpty(location), static_cast<int>(state));
    if (state == NUBRIX_DEVICE_DISCONNECTED)
        logAdvice(orEmpty(deviceAddr));
    rebuildDeviceTable();
    notifyApplication(deviceAddr, serial, state);
}

bool Context::isDropped()
{
    const CriticalSectionScoped guard(*m_leafLock);
    m_changedMeanwhile = m_changedMeanwhile || m_destroying;
    return m_destroying;
}

bool Context::upgraderTakes(const char *deviceAddr, const char *serial, const char *location,
                            unsigned int state)
{
    const CriticalSectionScoped lock(*m_apiLock);
    for (const auto &entry : m_upgraders) {
        NubrixBaseUpgrade *const upgrader = entry.second;
        if (!upgrader)
            continue;
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

void Context::logAdvice(const char *deviceAddr)
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

void Context::rebuildDeviceTable()
{
    const std::lock_guard<std::recursive_mutex> table(m_tableLock);
    m_deviceCount = 0;
    for (const auto &[type, driver] : drivers()) {
        logPrint(kLogInfo, "get device list");
        listDevicesOf(*driver);
    }
}

void Context::notifyApplication(const char *deviceAddr, const char *serial, unsigned int state)
{
    std::vector<Registration> registrations;
    {
        const CriticalSectionScoped guard(*m_leafLock);
        registrations.assign(m_stateCallbacks.begin(), m_stateCallbacks.end());
    }
    logPrint(kLogMilestone, "register device state callback  size is %d",
             static_cast<int>(registrations.size()));
    for (const auto &[callback, user] : registrations) {
        if (callback)
            callback(deviceAddr, serial, state, user);
    }
}

}  // namespace nubrix
