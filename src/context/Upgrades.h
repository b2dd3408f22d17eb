// The firmware upgrades of a context.
#pragma once

#include <list>
#include <map>
#include <memory>
#include <vector>

#include "base/Mutex.h"
#include "nubrix/driver.h"

namespace nubrix {

/// The upgraders by the handle of their camera, and the one that was started last. Thread-safe; no
/// upgrader is called or deleted while the lock is held.
class Upgrades final {
public:
    using Pointer = std::shared_ptr<NubrixBaseUpgrade>;

    /// Whether the camera has an entry; its upgrader is null when the driver made none.
    bool find(NubrixDevice *device, Pointer &upgrader) const;
    /// Adds an entry, unless the camera has one meanwhile; returns the upgrader of the entry.
    Pointer add(NubrixDevice *device, Pointer upgrader);
    /// Those that are not null, in the order of their cameras.
    std::vector<Pointer> all() const;
    /// Takes the entry of a camera that is closed out; its upgrader is to be deleted.
    void retire(NubrixDevice *device);
    /// Deletes the retired upgraders, which waits for their callbacks. One whose callback waits for
    /// this thread's stays until the next time.
    void deleteRetired();

    void setActive(Pointer upgrader);
    Pointer active() const;

    /// What an upgrader calls in place of the application, so that its thread is known to run a
    /// callback; null for null. Valid until clear, because an upgrade that its own callback ends
    /// still reports that it has finished.
    const typedefNubrixUpgradeCallbacks *wrap(const NubrixBaseUpgrade &upgrader,
                                              const typedefNubrixUpgradeCallbacks *callbacks);

    /// Deletes the upgraders, and then the callbacks: no upgrade runs any more.
    void clear();
    /// Forgets everything and frees nothing: upgrades may run on.
    void abandon();

private:
    struct Callbacks {
        const NubrixBaseUpgrade *upgrader;
        typedefNubrixUpgradeCallbacks application;
        typedefNubrixUpgradeCallbacks wrapped;
    };

    static void onProgress(NubrixDevice *device, int percent, void *user);
    static void onFinished(NubrixDevice *device, int status, void *user);

    mutable Mutex m_mutex;
    std::map<NubrixDevice *, Pointer> m_upgraders NUBRIX_GUARDED_BY(m_mutex);
    std::vector<Pointer> m_retired NUBRIX_GUARDED_BY(m_mutex);
    Pointer m_active NUBRIX_GUARDED_BY(m_mutex);
    std::list<Callbacks> m_callbacks NUBRIX_GUARDED_BY(m_mutex);  // of every start
};

}  // namespace nubrix
