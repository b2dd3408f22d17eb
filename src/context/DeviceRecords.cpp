#include "context/DeviceRecords.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "base/CriticalSectionWrapper.h"
#include "base/LogCall.h"

namespace nubrix {

namespace {

template <std::size_t Size>
std::string textOf(const char (&field)[Size])
{
    return {field, strnlen(field, Size)};
}

}  // namespace

void DeviceRecords::clear()
{
    const CriticalSectionScoped listing(m_listing);
    publish(0);
}

int DeviceRecords::append(NubrixBaseDriver &driver)
{
    const CriticalSectionScoped listing(m_listing);
    unsigned int filled = m_count;
    const int result = list(driver, filled);
    publish(filled);
    return result;
}

// Lists the cameras of a driver from the first record that is not filled.
int DeviceRecords::list(NubrixBaseDriver &driver, unsigned int &filled)
{
    // Kept: always offers 60 records, and counts what the driver leaves in the count, also when it
    // fails. See docs/oddities.md.
    unsigned int count = kOffered;
    const bool nested = std::exchange(t_listing, true);
    const int result = driver.getDeviceList(&m_table[filled], &count);
    t_listing = nested;
    filled = std::min(filled + std::min(count, kOffered), kCapacity);
    return result;
}

void DeviceRecords::rebuild(const DriverTable &drivers)
{
    const CriticalSectionScoped listing(m_listing);
    unsigned int filled = 0;
    for (const auto &[type, driver] : drivers.loaded()) {
        logPrint(kLogInfo, "get device list");
        list(*driver, filled);
    }
    publish(filled);
}

// Copies what look-ups need: the table itself is the drivers' while they list.
void DeviceRecords::publish(unsigned int filled)
{
    std::vector<typedefNubrixeviceAttribute> known(m_table, m_table + filled);
    const MutexLock guard(m_mutex);
    m_known.swap(known);
    m_count = filled;
}

void DeviceRecords::readGmsl(NubrixBaseDriver &driver)
{
    const CriticalSectionScoped listing(m_gmslListing);
    unsigned int count = m_gmslCount;  // kept: the driver is given the count before
    driver.getGmslDeviceList(m_gmslTable, &count);
    m_gmslCount = std::min(count, kCapacity);
    std::vector<std::string> known;
    for (unsigned int i = 0; i < m_gmslCount; ++i)
        known.push_back(textOf(m_gmslTable[i].devicePath));
    const MutexLock guard(m_mutex);
    m_knownGmsl.swap(known);
}

std::optional<DeviceRecords::Found> DeviceRecords::find(const char *uri) const
{
    const MutexLock guard(m_mutex);
    const auto found = std::find_if(
        m_known.begin(), m_known.end(),
        [&](const typedefNubrixeviceAttribute &each) { return !uri || textOf(each.uri) == uri; });
    if (found == m_known.end())
        return std::nullopt;
    auto *const table = const_cast<typedefNubrixeviceAttribute *>(m_table);
    return Found{table + (found - m_known.begin()), textOf(found->uri), found->transport};
}

unsigned int DeviceRecords::copy(typedefNubrixeviceAttribute *records, unsigned int capacity) const
{
    const MutexLock guard(m_mutex);
    const auto count = static_cast<unsigned int>(m_known.size());
    std::copy_n(m_known.begin(), std::min(count, capacity), records);
    return count;
}

bool DeviceRecords::hasGmsl(const std::string &path) const
{
    const MutexLock guard(m_mutex);
    return std::find(m_knownGmsl.begin(), m_knownGmsl.end(), path) != m_knownGmsl.end();
}

}  // namespace nubrix
