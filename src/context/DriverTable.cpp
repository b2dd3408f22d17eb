#include "context/DriverTable.h"

#include "device/UsbIdentifiers.h"

namespace nubrix {

void DriverTable::set(DRIVER_TYPE type, NubrixBaseDriver *driver)
{
    const MutexLock guard(m_mutex);
    m_drivers[type] = driver;
}

NubrixBaseDriver *DriverTable::of(DRIVER_TYPE type)
{
    const MutexLock guard(m_mutex);
    return m_drivers[type];
}

// Transports and drivers are numbered differently: 2 and 3 both belong to the network driver.
NubrixBaseDriver *DriverTable::ofTransport(int transport)
{
    switch (transport) {
        case 1:
            return of(DRIVER_TYPE_UVC);
        case 2:
        case 3:
            return of(DRIVER_TYPE_NET);
        case 4:
            return of(DRIVER_TYPE_MINI);
        default:
            return nullptr;
    }
}

NubrixBaseDriver *DriverTable::forIdentifiers(unsigned int vid, unsigned int pid) const
{
    const MutexLock guard(m_mutex);
    for (const UsbIdentifier &row : kUsbIdentifiers) {
        if (row.vendor != vid || row.product != pid)
            continue;
        const auto found = m_drivers.find(row.driver);
        if (found != m_drivers.end())
            return found->second;
    }
    return nullptr;
}

std::vector<DriverTable::Entry> DriverTable::loaded() const
{
    const MutexLock guard(m_mutex);
    std::vector<Entry> loaded;
    for (const auto &driver : m_drivers) {
        if (driver.second)
            loaded.push_back(driver);
    }
    return loaded;
}

void DriverTable::forgetAll()
{
    const MutexLock guard(m_mutex);
    for (auto &driver : m_drivers)
        driver.second = nullptr;
}

}  // namespace nubrix
