// The two functions that the library calls in the plug-in.
#include <exception>

#include "common/SettingsFiles.h"
#include "net/NetDriver.h"
#include "nubrix/export.h"

namespace {

using nubrix::net::NetDriver;

/// Owns a driver until it has been initialized. When another driver fails, the library neither
/// initializes nor destroys this one, which holds a socket: then it is the driver of the next
/// attempt, or is destroyed with the plug-in. Used under the lock under which the library loads,
/// initializes and destroys drivers.
class UnusedDriver {
public:
    UnusedDriver() = default;
    ~UnusedDriver()
    {
        if (isUnused())
            delete m_driver;
    }
    UnusedDriver(const UnusedDriver &) = delete;
    UnusedDriver &operator=(const UnusedDriver &) = delete;

    NetDriver *get()
    {
        if (isUnused())
            m_driver->searchAnew();
        else
            m_driver = new NetDriver(nubrix::settingsFiles("nubrixNet.ini"));
        return m_driver;
    }
    void onDestroy(const nubrix::NubrixBaseDriver *driver)
    {
        if (m_driver == driver)
            m_driver = nullptr;
    }

private:
    bool isUnused() const { return m_driver && !m_driver->isInitialized(); }

    NetDriver *m_driver = nullptr;  // that was made last, unless it was destroyed
};

UnusedDriver g_unused;

}  // namespace

extern "C" NUBRIX_API nubrix::NubrixBaseDriver *driverInstance()
try {
    return g_unused.get();
} catch (const std::exception &) {
    return nullptr;
}

extern "C" NUBRIX_API void driverDestroy(nubrix::NubrixBaseDriver *driver)
{
    g_unused.onDestroy(driver);
    delete driver;
}
