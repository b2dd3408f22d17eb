// What the driver object of each plug-in is made of: the devices that it has opened, its lists of
// records, the callback that it notifies.
#pragma once

#include <algorithm>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "common/Report.h"
#include "common/Text.h"
#include "nubrix/driver.h"

namespace nubrix {

/// The devices that a driver has opened, which it owns. Thread-safe.
template <class Device>
class OpenDevices {
public:
    /// Keeps a device until it is closed, and returns it in `device`.
    int keep(std::unique_ptr<Device> opened, NubrixBaseDevice **device)
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_devices.push_back(std::move(opened));
        *device = m_devices.back().get();
        return kDone;
    }
    /// Destroys the device, which stops its streams, and clears the pointer: -4 for one that is not
    /// open.
    int close(NubrixBaseDevice **device)
    {
        if (device == nullptr || *device == nullptr)
            return kBadArgument;
        std::unique_ptr<Device> removed;  // destroyed without the lock, as it waits for its streams
        {
            const std::lock_guard<std::mutex> lock(m_lock);
            const auto found =
                std::find_if(m_devices.begin(), m_devices.end(),
                             [&](const auto &open) { return open.get() == *device; });
            if (found == m_devices.end())
                return kBadArgument;
            removed = std::move(*found);
            m_devices.erase(found);
        }
        *device = nullptr;
        return kDone;
    }
    /// Destroys all.
    void clear()
    {
        std::vector<std::unique_ptr<Device>> removed;  // destroyed after the lock is released
        const std::lock_guard<std::mutex> lock(m_lock);
        removed.swap(m_devices);
    }

private:
    std::mutex m_lock;
    std::vector<std::unique_ptr<Device>> m_devices;  // under m_lock
};

/// Fills as many records as there is space for, one for each of the entries that `list` returns, by
/// `describe(entry, record)`. `count` holds the capacity on entry and returns the number of filled
/// records, 0 whenever it fails: -4 when it or the records are null, -1 when one of the two throws.
/// Thread-safe.
template <class List, class Describe, class Record>
int listRecords(List list, Describe describe, Record *records, unsigned int *count)
{
    if (count == nullptr)
        return kBadArgument;
    const unsigned int capacity = std::exchange(*count, 0U);
    if (records == nullptr)
        return kBadArgument;
    try {
        unsigned int filled = 0;
        for (const auto &entry : list()) {
            if (filled == capacity)
                break;
            describe(entry, records[filled++]);
        }
        *count = filled;
        return kDone;
    } catch (const std::exception &) {
        return kFailed;
    }
}

/// The callback that is notified when a camera is attached or detached. Thread-safe.
class StateCallback {
public:
    /// Sets the callback, null for none. Does not wait: another thread may still call the previous
    /// callback, or be in it, so what it uses must live until the driver is destroyed.
    void set(DriverStateCallback callback, void *user)
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_callback = callback;
        m_user = user;
    }
    /// Calls the callback with the cleaned texts, and without a lock.
    void notify(const std::string &uri, const std::string &serial, const std::string &location,
                bool connected) const
    {
        DriverStateCallback callback = nullptr;
        void *user = nullptr;
        {
            const std::lock_guard<std::mutex> lock(m_lock);
            callback = m_callback;
            user = m_user;
        }
        if (callback != nullptr) {
            callback(cleanText(uri).c_str(), cleanText(serial).c_str(), cleanText(location).c_str(),
                     connected ? NUBRIX_DEVICE_CONNECTED : NUBRIX_DEVICE_DISCONNECTED, user);
        }
    }

private:
    mutable std::mutex m_lock;
    DriverStateCallback m_callback = nullptr;  // both under m_lock
    void *m_user = nullptr;
};

}  // namespace nubrix
