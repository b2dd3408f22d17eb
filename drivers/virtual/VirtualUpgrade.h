// Rehearses a firmware upgrade of a virtual camera.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "nubrix/driver.h"
#include "virtual/FirmwareImage.h"

namespace nubrix {

class VirtualCamera;

/// Detaches the camera, writes block after block, lets it reboot and verifies what was written. The
/// reboot raises the events of a real one, which stay with the upgrader. Whatever goes wrong, the
/// camera keeps the firmware that it had. One upgrade at a time. Thread-safe.
class VirtualUpgrade final : public NubrixBaseUpgrade {
public:
    static constexpr std::uint32_t kBlockBytes = 4096;

    explicit VirtualUpgrade(VirtualCamera &camera);
    /// Breaks an upgrade off that is still running. May be called from within onFinished.
    ~VirtualUpgrade() override;

    /// The camera is about to go: breaks an upgrade off, and begins no other.
    void abandon();

    /// Checks the image, then upgrades on a thread of its own, which calls the callbacks (with a
    /// null device). -4 without a file or for one that is no sound image, -2 while an upgrade runs,
    /// -9 when the camera is not plugged in, -1 when there is no thread to be had; stderr says why.
    int deviceStartUpgradeOffLine(const typedefNubrixUpgradeCallbacks *callbacks,
                                  const char *file) override;
    void onDeviceStateChange(const char *deviceAddr, const char *serial, const char *location,
                             unsigned int state) override;
    bool isUpgradeState() override;
    std::string getDeviceSerialNumber() override;
    std::string getDeviceLocation() override;

private:
    /// Why an upgrade did not end well.
    struct Failed {
        int status;
        std::string reason;
    };
    using Callbacks = typedefNubrixUpgradeCallbacks;

    void run(const FirmwareImage &image, const Callbacks &callbacks);
    void upgrade(const FirmwareImage &image, const Callbacks &callbacks);
    std::vector<std::uint8_t> write(const FirmwareImage &image, const Callbacks &callbacks);
    void reboot();
    /// Waits until the library has passed an event of the reboot on and asked what to do with it.
    void awaitEvent(unsigned int state);
    void nap(std::chrono::milliseconds time);
    void requireCamera() const;
    void breakOff();

    const std::string m_serial;
    const std::string m_location;
    VirtualCamera *m_camera;  // null once it is abandoned, when there is no thread any more
    std::thread m_thread;     // everything below is under m_lock
    std::mutex m_lock;
    std::condition_variable m_wake;
    bool m_running = false;
    bool m_breakOff = false;
    std::optional<unsigned int> m_expected;  // state of the event that a reboot waits for
    bool m_arrived = false;                  // it was passed on, ...
    bool m_swallowed = false;                // ... and stays here
};

}  // namespace nubrix
