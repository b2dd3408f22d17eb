// Firmware upgrades, and the hooks for cameras on GMSL links.
#include "base/CriticalSectionScoped.h"
#include "context/Context.h"
#include "device/Device.h"

namespace nubrix {

int Context::deviceStartUpgradeOffLine(NubrixDevice *handle,
                                       const typedefNubrixUpgradeCallbacks *callbacks,
                                       const char *file)
{
    const InFlight::Entry entry(m_inFlight);
    if (m_destroying)
        return refuseDevice();
    NubrixBaseUpgrade *upgrader = nullptr;
    {
        // The lock keeps another thread from closing the camera before its upgrader is noted.
        const CriticalSectionScoped lock(*m_apiLock);
        Device *device = nullptr;
        if (const int refused = requireOpenDevice(handle, device))
            return refused;
        auto known = m_upgraders.find(handle);
        if (known == m_upgraders.end())
            known = m_upgraders.emplace(handle, device->createUpgradeIntance()).first;
        upgrader = known->second;
        m_activeUpgrader = upgrader;
    }
    NubrixBaseDriver *const uvc = driverOf(DRIVER_TYPE_UVC);
    if (!uvc)
        return -1;
    uvc->setUpgradeStatus(true);
    return upgrader ? upgrader->deviceStartUpgradeOffLine(callbacks, file) : -1;
}

int Context::setDufDeviceFd(unsigned int a, unsigned int b, unsigned int c, const char *d)
{
    if (NubrixBaseUpgrade *const upgrader = m_activeUpgrader)
        upgrader->setDufDeviceFd(a, b, c, d);
    return 0;
}

int Context::setDeviceStatusChange(int a, int b, const char *path, unsigned int d)
{
    // Kept: the text moves to the front.
    if (NubrixBaseUpgrade *const upgrader = m_activeUpgrader)
        upgrader->onDeviceStateChange(path, a, b, d);
    return 0;
}

int Context::setGmslI2CStats(bool on)
{
    NubrixBaseDriver *const uvc = driverOf(DRIVER_TYPE_UVC);
    if (!uvc)
        return -1;
    uvc->setGmslI2CStats(on);
    return 0;
}

int Context::setGmslI2CAddress(std::string address)
{
    NubrixBaseDriver *const uvc = driverOf(DRIVER_TYPE_UVC);
    if (!uvc)
        return -1;
    uvc->setGmslI2CAddress(std::move(address));
    return 0;
}

int Context::nubrixGetGmslDeviceList(_NubrixGmslDeviceInfo **list, unsigned int *count)
{
    const ApiLock lock(*this);
    if (const int refused = requireInitialized(lock))
        return refused;
    NubrixBaseDriver *const uvc = driverOf(DRIVER_TYPE_UVC);
    if (!uvc) {
        *list = nullptr;
        *count = 0;
        return 0;
    }
    const std::lock_guard table(m_tableLock);
    uvc->getGmslDeviceList(m_gmslTable, &m_gmslCount);
    *list = m_gmslTable;
    *count = m_gmslCount;
    return 0;
}

}  // namespace nubrix
