// Firmware upgrades, and the hooks for cameras on GMSL links.
#include "context/ContextGuards.h"

namespace nubrix {

namespace {

int nobodyToCall()
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
        const std::shared_ptr<Upgrader> upgrader = upgraderOf(handle, device);
        if (!upgrader)
            return refuseDevice();
        m_upgrades.setActive(upgrader);
        NubrixBaseDriver *const uvc = m_drivers.of(DRIVER_TYPE_UVC);
        if (!uvc)
            return -1;
        uvc->setUpgradeStatus(true);
        return upgrader->start(callbacks, file);
    };
    return inside(start, &refuseDevice);
}

// Without the API lock: a driver may wait here for its thread, which waits for that lock. Null when
// the camera was closed meanwhile.
std::shared_ptr<Upgrader> Context::upgraderOf(NubrixDevice *handle,
                                              const std::shared_ptr<Device> &device)
{
    std::shared_ptr<Upgrader> upgrader = m_upgrades.find(handle);
    if (!upgrader)
        upgrader = std::make_shared<Upgrader>(m_gate, device->createUpgradeIntance());
    const CriticalSectionScoped lock(*m_apiLock);
    return m_devices.find(handle) == device ? m_upgrades.add(handle, std::move(upgrader)) : nullptr;
}

int Context::setDufDeviceFd(unsigned int vid, unsigned int pid, unsigned int fd, const char *path)
{
    const auto pass = [&] {
        const std::shared_ptr<Upgrader> upgrader = m_upgrades.active();
        if (upgrader && upgrader->get())
            upgrader->get()->setDufDeviceFd(vid, pid, fd, path);
        return 0;
    };
    return inside(pass, &nobodyToCall);
}

int Context::setDeviceStatusChange(int event, int detail, const char *path, unsigned int state)
{
    const auto pass = [&] {
        // Kept: the text moves to the front.
        const std::shared_ptr<Upgrader> upgrader = m_upgrades.active();
        if (upgrader && upgrader->get())
            upgrader->get()->onDeviceStateChange(path, event, detail, state);
        return 0;
    };
    return inside(pass, &nobodyToCall);
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
