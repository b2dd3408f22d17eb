// One camera, attached or not, and the thread that attaches and detaches cameras.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "common/DriverParts.h"
#include "common/DriverThreads.h"
#include "nubrix/driver.h"
#include "virtual/FaultPlan.h"
#include "virtual/FrameSource.h"
#include "virtual/Scenario.h"

namespace nubrix::virtual_camera {

class VirtualCamera;

/// Executes events in the order of their times, on one thread and without holding a lock. The
/// cameras must live until it has been stopped. Thread-safe.
class HotPlug {
public:
    using Time = std::chrono::steady_clock::time_point;

    enum class Action { kPlug, kUnplug, kNotifyConnected, kNotifyDisconnected };

    HotPlug() = default;
    HotPlug(const HotPlug &) = delete;
    HotPlug &operator=(const HotPlug &) = delete;
    ~HotPlug() { stop(); }

    StateCallback &callback() { return m_callback; }
    /// Starts the thread. Throws std::system_error when no thread is available.
    void start();
    /// Drops pending events and waits for the one that is being executed.
    void stop();

    void schedule(Time when, VirtualCamera &camera, Action action);

private:
    struct Event {
        Time when;
        VirtualCamera *camera;
        Action action;
    };

    void run();
    void carryOut(const Event &event);

    StateCallback m_callback;
    std::thread m_thread;  // start and stop only
    std::mutex m_lock;
    std::condition_variable m_wake;
    bool m_stopping = false;  // this and m_events: under m_lock
    // In the order of their times; equal ones keep theirs. Its memory stays when events have
    // passed, so that the heap does not shrink while a scenario runs.
    std::vector<Event> m_events;
};

class UpgradeRun;
class VirtualDevice;

/// Lives as long as the driver. Thread-safe.
class VirtualCamera {
public:
    static constexpr unsigned int kVendorId = 0x1209;
    static constexpr unsigned int kProductId = 0x0001;
    static constexpr const char *kUriStart = "usb:virtual-";

    /// What all cameras of a driver share.
    struct Shared {
        Pacing pacing;
        HotPlug::Time start;  ///< the time from which faults count
        std::shared_ptr<FrameSource> source;
        HotPlug &hotPlug;
        DriverThreads &threads;
    };

    /// `ordinal` numbers the cameras from 1.
    VirtualCamera(const CameraSetup &setup, unsigned int ordinal, const Shared &shared);
    VirtualCamera(const VirtualCamera &) = delete;
    VirtualCamera &operator=(const VirtualCamera &) = delete;
    ~VirtualCamera();

    const std::string &serial() const { return m_serial; }
    const std::string &uri() const { return m_uri; }
    const std::string &location() const { return m_location; }
    Pacing pacing() const { return m_shared.pacing; }
    FrameSource &source() const { return *m_shared.source; }
    FaultPlan &faults() { return m_faults; }
    DriverThreads &threads() const { return m_shared.threads; }

    void describe(typedefNubrixeviceAttribute &record) const;
    bool isPlugged() const;
    /// Plugged in, and no connected device is open on it.
    bool isFree() const;
    /// Milliseconds from the driver's start to a time; 0 before the start.
    std::uint64_t msAt(HotPlug::Time moment) const;

    /// Opens the camera: -4 when it is not plugged in, -2 when it is open already, or the status of
    /// a fault. The driver owns the device.
    int open(std::unique_ptr<VirtualDevice> &device);
    /// Called when the device is about to be destroyed.
    void detach(const VirtualDevice &device);

    /// Changes the state and lets the hot-plug thread notify the library; does nothing without a
    /// change. Unplugging disconnects the device that is open.
    void plug();
    void unplug();

    using Version = std::array<unsigned short, 3>;
    /// Lasts as long as the driver.
    Version firmware() const;
    void setFirmware(const Version &version);

    /// Between the two no stream starts, and those that run end.
    void beginUpgrade();
    void endUpgrade();
    bool isUpgrading() const { return m_upgrading; }
    /// Number of upgrades that have begun.
    unsigned int upgrades() const { return m_upgrades; }
    /// Appears unplugged until plug() to everything but the device that is open.
    void leaveForReboot();
    /// Registers an upgrade of this camera.
    void addUpgrade(const std::shared_ptr<UpgradeRun> &run);
    /// Aborts all upgrades and waits until their callbacks have returned; none begins afterwards.
    void abortUpgrades();

private:
    const Shared m_shared;  // fixed after construction
    const std::string m_serial;
    const std::string m_uri;
    const std::string m_location;
    FaultPlan m_faults;
    mutable std::mutex m_lock;
    bool m_plugged;                     // everything below is under m_lock
    VirtualDevice *m_device = nullptr;  // the connected one
    std::vector<std::weak_ptr<UpgradeRun>> m_upgradeRuns;
    Version m_firmware = {1, 0, 0};
    std::atomic<bool> m_upgrading{false};  // these two: also read without it
    std::atomic<unsigned int> m_upgrades{0};
};

}  // namespace nubrix::virtual_camera
