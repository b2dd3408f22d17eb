// Whom a driver tells of cameras that come and go.
#pragma once

#include <mutex>
#include <string>

#include "common/Text.h"
#include "nubrix/driver.h"

namespace nubrix {

/// Thread-safe.
class StateCallback {
public:
    /// Null for nobody. Does not wait: the one before may still be called, or be running, on
    /// another thread, so what it uses must live until the driver is destroyed.
    void set(DriverStateCallback callback, void *user)
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_callback = callback;
        m_user = user;
    }
    /// Calls with the cleaned texts, and without a lock.
    void tell(const std::string &uri, const std::string &serial, const std::string &location,
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
