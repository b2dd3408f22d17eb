// The drivers that the context has loaded.
#pragma once

#include <map>
#include <utility>
#include <vector>

#include "base/Mutex.h"
#include "nubrix/driver.h"

namespace nubrix {

/// At most one driver of a type. Looking a missing one up leaves an entry without a driver.
/// Thread-safe; no driver is called while the lock is held.
class DriverTable final {
public:
    using Entry = std::pair<DRIVER_TYPE, NubrixBaseDriver *>;

    void set(DRIVER_TYPE type, NubrixBaseDriver *driver);
    /// Null when there is none.
    NubrixBaseDriver *of(DRIVER_TYPE type);
    /// The driver for a transport code of the device record, null when there is none.
    NubrixBaseDriver *ofTransport(int transport);
    /// The driver of the first row of the USB identifiers that has an entry here; an entry without
    /// a driver ends the search.
    NubrixBaseDriver *forIdentifiers(unsigned int vid, unsigned int pid) const;
    /// Those that are loaded, in ascending order of type.
    std::vector<Entry> loaded() const;
    /// Forgets the drivers; the entries stay.
    void forgetAll();

private:
    mutable Mutex m_mutex;
    std::map<DRIVER_TYPE, NubrixBaseDriver *> m_drivers NUBRIX_GUARDED_BY(m_mutex);
};

}  // namespace nubrix
