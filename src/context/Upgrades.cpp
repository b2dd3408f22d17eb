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

void Upgrades::retire(NubrixDevice *device)
{
    const MutexLock guard(m_mutex);
    const auto found = m_upgraders.find(device);
    if (found == m_upgraders.end())
        return;
    if (found->second)
        m_retired.push_back(found->second);
    if (m_active == found->second)
        m_active = nullptr;
    m_upgraders.erase(found);
}

void Upgrades::deleteRetired()
{
    std::vector<Pointer> retired;
    {
        const MutexLock guard(m_mutex);
        retired.swap(m_retired);
    }
    for (Pointer &each : retired) {
        // Its own callback may delete an upgrader: that one it does not wait for.
        const CallbackWait wait(each.get());
        if (wait.isEndless() && CallbackScope::caller() != each.get()) {
            const MutexLock guard(m_mutex);
            m_retired.push_back(std::move(each));
        }
        each.reset();
    }
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
    std::vector<Pointer> retired;
    std::list<Callbacks> callbacks;
    {
        const MutexLock guard(m_mutex);
        upgraders.swap(m_upgraders);
        retired.swap(m_retired);
        active.swap(m_active);
        callbacks.swap(m_callbacks);
    }
    active.reset();
    retired.clear();
    upgraders.clear();  // before the callbacks, which they may still call
}

void Upgrades::abandon()
{
    const MutexLock guard(m_mutex);
    if (!m_upgraders.empty())
        new auto(std::move(m_upgraders));
    if (!m_retired.empty())
        new auto(std::move(m_retired));
    if (!m_callbacks.empty())
        new auto(std::move(m_callbacks));
}

}  // namespace nubrix
