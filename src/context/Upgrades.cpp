#include "context/Upgrades.h"

#include <utility>

#include "base/CallbackScope.h"
#include "base/CallbackWait.h"

namespace nubrix {

bool Upgrades::find(NubrixDevice *device, Pointer &upgrader) const
{
    const MutexLock guard(m_mutex);
    const auto found = m_upgraders.find(device);
    if (found == m_upgraders.end())
        return false;
    upgrader = found->second;
    return true;
}

Upgrades::Pointer Upgrades::add(NubrixDevice *device, Pointer upgrader)
{
    const MutexLock guard(m_mutex);
    m_postponed.reserve(++m_added);
    return m_upgraders.emplace(device, std::move(upgrader)).first->second;
}

std::vector<Upgrades::Pointer> Upgrades::all() const
{
    const MutexLock guard(m_mutex);
    std::vector<Pointer> all;
    for (const auto &each : m_upgraders) {
        if (each.second)
            all.push_back(each.second);
    }
    return all;
}

Upgrades::Pointer Upgrades::remove(NubrixDevice *device)
{
    const MutexLock guard(m_mutex);
    const auto found = m_upgraders.find(device);
    if (found == m_upgraders.end())
        return nullptr;
    Pointer upgrader = std::move(found->second);
    m_upgraders.erase(found);
    if (m_active == upgrader)
        m_active = nullptr;
    return upgrader;
}

void Upgrades::end(Pointer upgrader)
{
    if (upgrader && !endOrPostpone(upgrader))
        return;
    Pointer earlier;
    {
        const MutexLock guard(m_mutex);
        if (m_postponed.empty())
            return;
        earlier = std::move(m_postponed.back());
        m_postponed.pop_back();
    }
    end(std::move(earlier));
}

// False when it was postponed.
bool Upgrades::endOrPostpone(Pointer &upgrader)
{
    const CallbackScope *const own = CallbackScope::innermost();
    const CallbackWait wait(upgrader.get());
    // An upgrader does not wait for a callback that deletes it.
    if (!wait.wouldHang() || own->isOf(upgrader.get())) {
        upgrader.reset();
        return true;
    }
    const MutexLock guard(m_mutex);
    m_postponed.push_back(std::move(upgrader));
    return false;
}

void Upgrades::setActive(Pointer upgrader)
{
    const MutexLock guard(m_mutex);
    m_active.swap(upgrader);
}

Upgrades::Pointer Upgrades::active() const
{
    const MutexLock guard(m_mutex);
    return m_active;
}

const typedefNubrixUpgradeCallbacks *Upgrades::wrap(const NubrixBaseUpgrade &upgrader,
                                                    const typedefNubrixUpgradeCallbacks *callbacks)
{
    if (!callbacks)
        return nullptr;
    const MutexLock guard(m_mutex);
    Callbacks &kept = m_callbacks.emplace_back(Callbacks{&upgrader, *callbacks, {}});
    kept.wrapped = {callbacks->onProgress ? &onProgress : nullptr,
                    callbacks->onFinished ? &onFinished : nullptr, &kept};
    return &kept.wrapped;
}

void Upgrades::onProgress(NubrixDevice *device, int percent, void *user)
{
    const auto &self = *static_cast<Callbacks *>(user);
    const CallbackScope inCallback(self.upgrader);
    self.application.onProgress(device, percent, self.application.user);
}

void Upgrades::onFinished(NubrixDevice *device, int status, void *user)
{
    const auto &self = *static_cast<Callbacks *>(user);
    const CallbackScope inCallback(self.upgrader);
    self.application.onFinished(device, status, self.application.user);
}

void Upgrades::clear()
{
    std::map<NubrixDevice *, Pointer> upgraders;
    Pointer active;
    std::vector<Pointer> postponed;
    std::list<Callbacks> callbacks;
    {
        const MutexLock guard(m_mutex);
        upgraders.swap(m_upgraders);
        postponed.swap(m_postponed);
        active.swap(m_active);
        callbacks.swap(m_callbacks);
    }
    active.reset();
    postponed.clear();
    upgraders.clear();  // before the callbacks, which they may still call
}

void Upgrades::abandon()
{
    const MutexLock guard(m_mutex);
    if (!m_upgraders.empty())
        new auto(std::move(m_upgraders));
    if (!m_postponed.empty())
        new auto(std::move(m_postponed));
    if (!m_callbacks.empty())
        new auto(std::move(m_callbacks));
}

}  // namespace nubrix
