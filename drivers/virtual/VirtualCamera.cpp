#include "virtual/VirtualCamera.h"

#include <algorithm>

#include "common/Report.h"
#include "common/Text.h"
#include "virtual/VirtualDevice.h"
#include "virtual/VirtualUpgrade.h"

namespace nubrix::virtual_camera {

void HotPlug::start()
{
    m_thread = std::thread(&HotPlug::run, this);
}

void HotPlug::stop()
{
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_stopping = true;
        m_wake.notify_all();
    }
    if (m_thread.joinable())
        m_thread.join();
}

void HotPlug::schedule(Time when, VirtualCamera &camera, Action action)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    const auto later =
        std::upper_bound(m_events.begin(), m_events.end(), when,
                         [](Time time, const Event &event) { return time < event.when; });
    m_events.insert(later, Event{when, &camera, action});
    m_wake.notify_all();
}

void HotPlug::run()
{
    std::unique_lock<std::mutex> lock(m_lock);
    while (!m_stopping) {
        if (m_events.empty()) {
            m_wake.wait(lock);
            continue;
        }
        const Event event = m_events.front();
        if (event.when > std::chrono::steady_clock::now()) {
            m_wake.wait_until(lock, event.when);
            continue;
        }
        m_events.erase(m_events.begin());
        lock.unlock();
        carryOut(event);
        lock.lock();
    }
}

void HotPlug::carryOut(const Event &event)
try {
    VirtualCamera &camera = *event.camera;
    if (event.action == Action::kPlug) {
        camera.plug();
        return;
    }
    if (event.action == Action::kUnplug) {
        camera.unplug();
        return;
    }
    m_callback.notify(camera.uri(), camera.serial(), camera.location(),
                      event.action == Action::kNotifyConnected);
} catch (...) {
    reportFailure("an event of a virtual camera");
}

VirtualCamera::VirtualCamera(const CameraSetup &setup, unsigned int ordinal, const Shared &shared)
    : m_shared(shared),
      m_serial(setup.serial),
      m_uri(kUriStart + setup.serial),
      m_location("virtual-" + std::to_string(ordinal)),
      m_faults(setup.faults),
      m_plugged(setup.plugged)
{
}

VirtualCamera::~VirtualCamera() = default;

void VirtualCamera::describe(typedefNubrixeviceAttribute &record) const
{
    record = {};
    record.vendorId = kVendorId;
    record.productId = kProductId;
    record.transport = 1;
    record.deviceState = NUBRIX_DEVICE_CONNECTED;
    copyText(record.serialNumber, m_serial);
    copyText(record.uri, m_uri);
    copyText(record.location, m_location);
    copyText(record.productName, "Nubrix Virtual Camera");
}

bool VirtualCamera::isPlugged() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_plugged;
}

bool VirtualCamera::isFree() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_plugged && m_device == nullptr;
}

std::uint64_t VirtualCamera::msAt(HotPlug::Time moment) const
{
    const auto since =
        std::chrono::duration_cast<std::chrono::milliseconds>(moment - m_shared.start);
    return since.count() < 0 ? 0 : static_cast<std::uint64_t>(since.count());
}

int VirtualCamera::open(std::unique_ptr<VirtualDevice> &device)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    if (!m_plugged)
        return kBadArgument;
    if (m_device != nullptr)
        return kWrongState;
    if (const int status = m_faults.openAttempt(msAt(std::chrono::steady_clock::now())))
        return status;
    device = std::make_unique<VirtualDevice>(*this);
    m_device = device.get();
    return kDone;
}

void VirtualCamera::detach(const VirtualDevice &device)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    if (m_device == &device)
        m_device = nullptr;
}

void VirtualCamera::plug()
{
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        if (m_plugged)
            return;
        m_plugged = true;
    }
    m_shared.hotPlug.schedule(std::chrono::steady_clock::now(), *this,
                              HotPlug::Action::kNotifyConnected);
}

VirtualCamera::Version VirtualCamera::firmware() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_firmware;
}

void VirtualCamera::setFirmware(const Version &version)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_firmware = version;
}

void VirtualCamera::beginUpgrade()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_upgrading = true;
    ++m_upgrades;
    if (m_device != nullptr)
        m_device->wakeStreams();
}

void VirtualCamera::endUpgrade()
{
    m_upgrading = false;
}

void VirtualCamera::leaveForReboot()
{
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_plugged = false;
    }
    m_shared.hotPlug.schedule(std::chrono::steady_clock::now(), *this,
                              HotPlug::Action::kNotifyDisconnected);
}

void VirtualCamera::addUpgrade(const std::shared_ptr<UpgradeRun> &run)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    std::erase_if(m_upgradeRuns, [](const auto &each) { return each.expired(); });
    m_upgradeRuns.push_back(run);
}

void VirtualCamera::abortUpgrades()
{
    std::vector<std::weak_ptr<UpgradeRun>> left;
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        left.swap(m_upgradeRuns);
    }
    for (const auto &each : left) {
        if (const std::shared_ptr<UpgradeRun> run = each.lock())
            run->abort();
    }
}

void VirtualCamera::unplug()
{
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        if (!m_plugged)
            return;
        m_plugged = false;
        if (m_device != nullptr)
            m_device->disconnect();
        m_device = nullptr;
    }
    const HotPlug::Time now = std::chrono::steady_clock::now();
    m_shared.hotPlug.schedule(now, *this, HotPlug::Action::kNotifyDisconnected);
    if (const auto delay = m_faults.nextPlugAfterMs()) {
        m_shared.hotPlug.schedule(now + std::chrono::milliseconds(*delay), *this,
                                  HotPlug::Action::kPlug);
    }
}

}  // namespace nubrix::virtual_camera
