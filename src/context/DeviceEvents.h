// Who is notified when a camera arrives or leaves, and when nobody is.
#pragma once

#include <utility>
#include <vector>

#include "base/Mutex.h"
#include "nubrix/types.h"

namespace nubrix {

/// The application's device state callbacks in the order they were registered. Events are dropped
/// from the beginning of destroy to the end of the next initialize. Thread-safe.
class DeviceEvents final {
public:
    using Registration = std::pair<NubrixDeviceStateCallback, void *>;

    /// False when the function is registered already, whatever its user pointer.
    bool add(NubrixDeviceStateCallback callback, void *user)
    {
        const MutexLock guard(m_mutex);
        for (const Registration &registration : m_registrations) {
            if (registration.first == callback)
                return false;
        }
        m_registrations.emplace_back(callback, user);
        return true;
    }
    std::vector<Registration> registrations() const
    {
        const MutexLock guard(m_mutex);
        return m_registrations;
    }
    void clear()
    {
        const MutexLock guard(m_mutex);
        m_registrations.clear();
    }

    /// Whether an event that comes now is dropped; it is remembered.
    bool drop()
    {
        const MutexLock guard(m_mutex);
        m_missed = m_missed || m_dropped;
        return m_dropped;
    }
    /// An event was dropped elsewhere.
    void miss()
    {
        const MutexLock guard(m_mutex);
        m_missed = true;
    }
    void beginDropping()
    {
        const MutexLock guard(m_mutex);
        m_dropped = true;
    }
    /// initialize has loaded the drivers.
    void onDriversLoaded()
    {
        const MutexLock guard(m_mutex);
        m_driversLoaded = true;
    }
    /// Otherwise an event is not for this context: a driver that another one left running may know
    /// one that stood at this address.
    bool areDriversLoaded() const
    {
        const MutexLock guard(m_mutex);
        return m_driversLoaded;
    }
    /// Forgets the events that were dropped so far.
    void forgetMissed()
    {
        const MutexLock guard(m_mutex);
        m_missed = false;
    }
    /// Whether one was dropped since forgetMissed.
    bool endDropping()
    {
        const MutexLock guard(m_mutex);
        m_dropped = false;
        return m_missed;
    }

private:
    mutable Mutex m_mutex;
    std::vector<Registration> m_registrations NUBRIX_GUARDED_BY(m_mutex);
    bool m_driversLoaded NUBRIX_GUARDED_BY(m_mutex) = false;
    bool m_dropped NUBRIX_GUARDED_BY(m_mutex) = false;
    bool m_missed NUBRIX_GUARDED_BY(m_mutex) = false;
};

}  // namespace nubrix
