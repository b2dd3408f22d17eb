// The devices that a driver has opened.
#pragma once

#include <algorithm>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "common/Report.h"
#include "nubrix/driver.h"

namespace nubrix {

/// Owns them. Thread-safe.
template <class Device>
class OpenDevices {
public:
    /// Keeps a device until it is closed, and hands it out.
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
        std::unique_ptr<Device> gone;  // waits for its streams without the lock
        {
            const std::lock_guard<std::mutex> lock(m_lock);
            const auto found =
                std::find_if(m_devices.begin(), m_devices.end(),
                             [&](const auto &open) { return open.get() == *device; });
            if (found == m_devices.end())
                return kBadArgument;
            gone = std::move(*found);
            m_devices.erase(found);
        }
        *device = nullptr;
        return kDone;
    }
    /// Destroys all.
    void clear()
    {
        std::vector<std::unique_ptr<Device>> gone;  // waits for their streams without the lock
        const std::lock_guard<std::mutex> lock(m_lock);
        gone.swap(m_devices);
    }

private:
    std::mutex m_lock;
    std::vector<std::unique_ptr<Device>> m_devices;  // under m_lock
};

}  // namespace nubrix
