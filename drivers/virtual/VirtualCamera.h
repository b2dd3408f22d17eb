// One camera that is attached, or not, and the thread that attaches and detaches it.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "common/DriverThreads.h"
#include "common/StateCallback.h"
#include "nubrix/driver.h"
#include "virtual/FaultPlan.h"
#include "virtual/FrameSource.h"
#include "virtual/Scenario.h"

namespace nubrix::virtual_camera {

class VirtualCamera;

/// Carries out events in the order of their times, on one thread and without a lock held. The
/// cameras must outlive it or its stop. Thread-safe.
class HotPlug {
public:
    using Time = std::chrono::steady_clock::time_point;

    enum class Action { kPlug, kUnplug, kTellConnected, kTellDisconnected };

    HotPlug() = default;
    HotPlug(const HotPlug &) = delete;
    HotPlug &operator=(const HotPlug &) = delete;
    ~HotPlug() { stop(); }

    StateCallback &callback() { return m_callback; }
    /// Starts the thread. Throws std::system_error when there is none to be had.
    void start();
    /// Forgets what is still to come and waits for an event that is being carried out.
    void stop();

    void schedule(Time when, VirtualCamera &camera, Action action);

private:
    struct Event {
        VirtualCamera *camera;
        Action action;
    };

    void run();
    void carryOut(const Event &event);

    StateCallback m_callback;
    std::thread m_thread;  // start and stop only
    std::mutex m_lock;
    std::condition_variable m_wake;
    bool m_stopping = false;              // this and m_events: under m_lock
    std::multimap<Time, Event> m_events;  // equal times stay in order
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
        HotPlug::Time start;  ///< what times of faults count from
        std::shared_ptr<FrameSource> source;
        HotPlug &hotPlug;
        DriverThreads &threads;
    };

    /// `ordinal` counts the cameras from 1.
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
    /// Plugged in, and no live device is open on it.
    bool isFree() const;
    /// Milliseconds from the driver's start to a moment, 0 before it.
    std::uint64_t msAt(HotPlug::Time moment) const;

    /// Opens the camera: -4 when it is not plugged in, -2 when it is open already, or what a fault
    /// says. The driver owns the device.
    int open(std::unique_ptr<VirtualDevice> &device);
    /// The device is about to go.
    void detach(const VirtualDevice &device);

    /// Changes the state and has the library told by the hot-plug thread; nothing if it is so
    /// already. Unplugging disconnects the device that is open.
    void plug();
    void unplug();

    using Version = std::array<unsigned short, 3>;
    /// Kept as long as the driver lives.
    Version firmware() const;
    void setFirmware(const Version &version);

    /// From the one to the other no stream starts; those that run end.
    void beginUpgrade();
    void endUpgrade();
    bool isUpgrading() const { return m_upgrading; }
    /// Counts the upgrades that have begun.
    unsigned int upgrades() const { return m_upgrades; }
    /// Looks unplugged until plug(), to all but the device that is open.
    void leaveForReboot();
    /// Upgrades of this camera will be run.
    void addUpgrade(const std::shared_ptr<UpgradeRun> &run);
    /// Ends them and waits until their callbacks have returned; none begins afterwards.
    void breakOffUpgrades();

private:
    const Shared m_shared;  // fixed after construction
    const std::string m_serial;
    const std::string m_uri;
    const std::string m_location;
    FaultPlan m_faults;
    mutable std::mutex m_lock;
    bool m_plugged;                     // everything below is under m_lock
    VirtualDevice *m_device = nullptr;  // the live one
    std::vector<std::weak_ptr<UpgradeRun>> m_upgradeRuns;
    Version m_firmware = {1, 0, 0};
    std::atomic<bool> m_upgrading{false};  // the last two: read without it as well
    std::atomic<unsigned int> m_upgrades{0};
};

}  // namespace nubrix::virtual_camera
