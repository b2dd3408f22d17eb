// The tables of attached cameras, which the drivers fill and the application reads in place.
#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <vector>

#include "base/CriticalSectionImpl.h"
#include "base/Mutex.h"
#include "context/DriverTable.h"
#include "nubrix/types.h"

namespace nubrix {

/// Look-ups use a copy, so that none waits for a driver that is slow to list its cameras.
/// Thread-safe, except for the tables that are handed out.
class DeviceRecords final {
public:
    struct Found {
        typedefNubrixeviceAttribute *record;  // in the table that is handed out
        std::string uri;
        int transport;
    };

    /// Empties the table. One thread at a time for this and the next two.
    void clear();
    /// Appends a driver's cameras; returns the driver's status.
    int append(NubrixBaseDriver &driver);
    /// Queries all drivers again. Until the last has answered, the count and look-ups are as
    /// before.
    void rebuild(const DriverTable &drivers);
    /// Queries the GMSL cameras of a driver.
    void readGmsl(NubrixBaseDriver &driver);

    /// Whether this thread is in the listing of a driver, which reports an event from there.
    static bool isListing() { return t_listing; }

    typedefNubrixeviceAttribute *table() { return m_table; }
    unsigned int count() const { return m_count; }
    _NubrixGmslDeviceInfo *gmslTable() { return m_gmslTable; }
    unsigned int gmslCount() const { return m_gmslCount; }

    /// Copies the first `capacity` records of the cameras that look-ups find; returns how many
    /// there are.
    unsigned int copy(typedefNubrixeviceAttribute *records, unsigned int capacity) const;
    /// The first camera with a URI, or the first of all for null; nothing when there is none.
    std::optional<Found> find(const char *uri) const;
    bool hasGmsl(const std::string &path) const;

private:
    // The space offered to every driver, whatever is left, and space for three that fill it.
    static constexpr unsigned int kOffered = 60;
    static constexpr unsigned int kCapacity = 3 * kOffered;

    int list(NubrixBaseDriver &driver, unsigned int &filled) NUBRIX_REQUIRES(m_listing);
    void publish(unsigned int filled) NUBRIX_REQUIRES(m_listing);

    static inline thread_local bool t_listing = false;

    // One listing at a time; held while drivers are queried. Recursive: a driver may report an
    // event meanwhile.
    CriticalSectionImpl m_listing;
    typedefNubrixeviceAttribute m_table[kCapacity] = {};
    std::atomic<unsigned int> m_count{0};
    CriticalSectionImpl m_gmslListing;
    _NubrixGmslDeviceInfo m_gmslTable[kCapacity] = {};
    std::atomic<unsigned int> m_gmslCount{0};

    mutable Mutex m_mutex;  // nothing is called while it is held
    std::vector<typedefNubrixeviceAttribute> m_known NUBRIX_GUARDED_BY(m_mutex);  // of the table
    std::vector<std::string> m_knownGmsl NUBRIX_GUARDED_BY(m_mutex);
};

}  // namespace nubrix
