// The firmware upgrades of a context.
#pragma once

#include <cstddef>
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
    /// Takes out the upgrader of a camera that is closed.
    Pointer remove(NubrixDevice *device);
    /// Deletes an upgrader, which waits for its callbacks, unless one of those waits for the
    /// callback that this thread runs: then the next call deletes it, or clear.
    void end(Pointer upgrader);

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

    bool endOrPostpone(Pointer &upgrader);
    static void onProgress(NubrixDevice *device, int percent, void *user);
    static void onFinished(NubrixDevice *device, int status, void *user);

    mutable Mutex m_mutex;
    std::map<NubrixDevice *, Pointer> m_upgraders NUBRIX_GUARDED_BY(m_mutex);
    std::vector<Pointer> m_postponed NUBRIX_GUARDED_BY(m_mutex);  // has space for all
    std::size_t m_added NUBRIX_GUARDED_BY(m_mutex) = 0;
    Pointer m_active NUBRIX_GUARDED_BY(m_mutex);
    std::list<Callbacks> m_callbacks NUBRIX_GUARDED_BY(m_mutex);  // of every start
};

}  // namespace nubrix
