// The firmware upgrades of a context.
#pragma once

#include <list>
#include <map>
#include <memory>
#include <vector>

#include "base/Mutex.h"
#include "context/Gate.h"
#include "nubrix/driver.h"

namespace nubrix {

/// The upgrader of one camera, which its driver made; null inside when the camera has none. While a
/// callback of the application runs, its thread is inside the gate, unless that was shut before.
class Upgrader final {
public:
    Upgrader(std::shared_ptr<Gate> gate, NubrixBaseUpgrade *upgrader);

    int start(const typedefNubrixUpgradeCallbacks *callbacks, const char *file);
    NubrixBaseUpgrade *get() const { return m_upgrader.get(); }

private:
    /// What the upgrader of the driver calls in place of the application.
    struct Callbacks {
        static void onProgress(NubrixDevice *device, int percent, void *user);
        static void onFinished(NubrixDevice *device, int status, void *user);
        typedefNubrixUpgradeCallbacks forDriver();

        Gate &gate;
        typedefNubrixUpgradeCallbacks application;
        typedefNubrixUpgradeCallbacks passedOn;
    };

    const std::shared_ptr<Gate> m_gate;
    Mutex m_mutex;
    std::list<Callbacks> m_callbacks NUBRIX_GUARDED_BY(m_mutex);  // of every start
    const std::unique_ptr<NubrixBaseUpgrade> m_upgrader;  // last: it ends before what it calls
};

/// The upgraders by the handle of their camera, and the one that was started last. Thread-safe; no
/// upgrader is called or deleted while the lock is held.
class Upgrades final {
public:
    using Pointer = std::shared_ptr<Upgrader>;

    /// Null when the camera has none yet.
    Pointer find(NubrixDevice *device) const;
    /// Adds an upgrader, unless the camera has one meanwhile; returns the one it has.
    Pointer add(NubrixDevice *device, Pointer upgrader);
    /// Those that the driver made, in the order of their cameras.
    std::vector<Pointer> all() const;
    /// Takes the upgrader of a camera that is closed, null without one.
    Pointer remove(NubrixDevice *device);
    /// Takes all; the caller deletes them.
    std::vector<Pointer> removeAll();

    void setActive(Pointer upgrader);
    Pointer active() const;

private:
    mutable Mutex m_mutex;
    std::map<NubrixDevice *, Pointer> m_upgraders NUBRIX_GUARDED_BY(m_mutex);
    Pointer m_active NUBRIX_GUARDED_BY(m_mutex);
};

}  // namespace nubrix
