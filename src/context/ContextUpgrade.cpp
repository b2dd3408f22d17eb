// Firmware upgrades, and the hooks for cameras on GMSL links.
#include "context/ContextGuards.h"

namespace nubrix {

namespace {

int noCallback()
{
    return 0;
}

int noDriver()
{
    return -1;
}

}  // namespace

int Context::deviceStartUpgradeOffLine(NubrixDevice *handle,
                                       const typedefNubrixUpgradeCallbacks *callbacks,
                                       const char *file)
{
    const auto start = [&] {
        std::shared_ptr<Device> device;
        {
            const CriticalSectionScoped lock(*m_apiLock);
            device = m_devices.find(handle);
        }
        if (!device)
            return refuseDevice();
        std::shared_ptr<NubrixBaseUpgrade> upgrader;
        if (!findUpgrader(handle, device, upgrader))
            return refuseDevice();
        NubrixBaseDriver *const uvc = m_drivers.of(DRIVER_TYPE_UVC);
        if (!uvc)
            return -1;
        uvc->setUpgradeStatus(true);
        return upgrader ? upgrader->deviceStartUpgradeOffLine(m_upgrades.wrap(*upgrader, callbacks),
                                                              file)
                        : -1;
    };
    return inside(start, &refuseDevice);
}

// Makes the camera's upgrader the active one. Without the API lock at first: a driver may wait here
// for its thread, which waits for that lock. False when the camera was closed meanwhile.
bool Context::findUpgrader(NubrixDevice *handle, const std::shared_ptr<Device> &device,
                           std::shared_ptr<NubrixBaseUpgrade> &upgrader)
{
    if (!m_upgrades.find(handle, upgrader))
        upgrader.reset(device->createUpgradeIntance());
    std::shared_ptr<NubrixBaseUpgrade> known;  // the other one is deleted without the lock
    const CriticalSectionScoped lock(*m_apiLock);
    if (m_devices.find(handle) != device)
        return false;
    known = m_upgrades.add(handle, upgrader);
    known.swap(upgrader);
    m_upgrades.setActive(upgrader);
    return true;
}

int Context::setDufDeviceFd(unsigned int vid, unsigned int pid, unsigned int fd, const char *path)
{
    const auto pass = [&] {
        if (const auto upgrader = m_upgrades.active())
            upgrader->setDufDeviceFd(vid, pid, fd, path);
        return 0;
    };
    return inside(pass, &noCallback);
}

int Context::setDeviceStatusChange(int event, int detail, const char *path, unsigned int state)
{
    const auto pass = [&] {
        // Kept: the text moves to the front.
        if (const auto upgrader = m_upgrades.active())
            upgrader->onDeviceStateChange(path, event, detail, state);
        return 0;
    };
    return inside(pass, &noCallback);
}

int Context::setGmslI2CStats(bool on)
{
    const auto pass = [&] {
        NubrixBaseDriver *const uvc = m_drivers.of(DRIVER_TYPE_UVC);
        if (!uvc)
            return -1;
        uvc->setGmslI2CStats(on);
        return 0;
    };
    return inside(pass, &noDriver);
}

int Context::setGmslI2CAddress(std::string address)
{
    const auto pass = [&] {
        NubrixBaseDriver *const uvc = m_drivers.of(DRIVER_TYPE_UVC);
        if (!uvc)
            return -1;
        uvc->setGmslI2CAddress(std::move(address));
        return 0;
    };
    return inside(pass, &noDriver);
}

int Context::nubrixGetGmslDeviceList(_NubrixGmslDeviceInfo **list, unsigned int *count)
{
    return underLock([&] {
        NubrixBaseDriver *const uvc = m_drivers.of(DRIVER_TYPE_UVC);
        if (uvc)
            m_records.readGmsl(*uvc);
        *list = uvc ? m_records.gmslTable() : nullptr;
        *count = uvc ? m_records.gmslCount() : 0;
        return 0;
    });
}

}  // namespace nubrix
