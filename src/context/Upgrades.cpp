#include "context/Upgrades.h"

#include <utility>

#include "base/CallbackScope.h"

namespace nubrix {

Upgrader::Upgrader(std::shared_ptr<Gate> gate, NubrixBaseUpgrade *upgrader)
    : m_gate(std::move(gate)), m_upgrader(upgrader)
{
}

int Upgrader::start(const typedefNubrixUpgradeCallbacks *callbacks, const char *file)
{
    if (!m_upgrader)
        return -1;
    if (!callbacks)
        return m_upgrader->deviceStartUpgradeOffLine(nullptr, file);
    Callbacks *kept = nullptr;
    {
        const MutexLock guard(m_mutex);
        kept = &m_callbacks.emplace_back(Callbacks{*m_gate, *callbacks, {}});
    }
    kept->passedOn = kept->forDriver();
    return m_upgrader->deviceStartUpgradeOffLine(&kept->passedOn, file);
}

typedefNubrixUpgradeCallbacks Upgrader::Callbacks::forDriver()
{
    return {application.onProgress ? &onProgress : nullptr,
            application.onFinished ? &onFinished : nullptr, this};
}

void Upgrader::Callbacks::onProgress(NubrixDevice *device, int percent, void *user)
{
    const auto &self = *static_cast<Callbacks *>(user);
    const CallbackScope inCallback;
    const Gate::Entry entry(self.gate);
    self.application.onProgress(device, percent, self.application.user);
}

void Upgrader::Callbacks::onFinished(NubrixDevice *device, int status, void *user)
{
    const auto &self = *static_cast<Callbacks *>(user);
    const CallbackScope inCallback;
    const Gate::Entry entry(self.gate);
    self.application.onFinished(device, status, self.application.user);
}

Upgrades::Pointer Upgrades::find(NubrixDevice *device) const
{
    const MutexLock guard(m_mutex);
    const auto found = m_upgraders.find(device);
    return found == m_upgraders.end() ? nullptr : found->second;
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
        if (each.second->get())
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

std::vector<Upgrades::Pointer> Upgrades::removeAll()
{
    const MutexLock guard(m_mutex);
    std::vector<Pointer> all;
    all.reserve(m_upgraders.size());
    for (auto &each : m_upgraders)
        all.push_back(std::move(each.second));
    m_upgraders.clear();
    m_active = nullptr;
    return all;
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

}  // namespace nubrix
