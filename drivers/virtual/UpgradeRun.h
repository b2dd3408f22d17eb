// The steps of one upgrade of a virtual camera after another.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "nubrix/driver.h"
#include "virtual/FirmwareImage.h"

namespace nubrix {

class VirtualCamera;

/// Detaches the camera, writes block after block, lets it reboot and verifies what was written. The
/// reboot raises the events of a real one, which stay with the upgrader. Whatever goes wrong, the
/// camera keeps the firmware that it had. Shared by the upgrader and its thread, since either may
/// go before the other. Thread-safe.
class UpgradeRun {
public:
    static constexpr std::uint32_t kBlockBytes = 4096;
    using Callbacks = typedefNubrixUpgradeCallbacks;

    explicit UpgradeRun(VirtualCamera &camera) : m_camera(camera) {}

    /// Claims the run: 0, -2 while it is claimed, -9 without a camera.
    int begin();
    /// Does all the steps and frees the claim; `image` null: only that. Once after each begin; the
    /// upgrader's thread.
    void run(const FirmwareImage *image, const Callbacks &callbacks);

    /// An event of the camera has come, ...
    void onEvent(unsigned int state);
    /// ... and the library asks whether it stays here.
    bool keepsEvent();

    /// Ends the upgrade soon, begins no other, and waits until all callbacks have returned but
    /// those that the caller itself is called by.
    void breakOff();

private:
    /// Why an upgrade did not end well.
    struct Failed {
        int status;
        std::string reason;
    };

    int upgradeWith(const FirmwareImage &image, const Callbacks &callbacks);
    int attempt(const FirmwareImage &image, const Callbacks &callbacks);
    void upgrade(const FirmwareImage &image, const Callbacks &callbacks);
    std::vector<std::uint8_t> write(const FirmwareImage &image, const Callbacks &callbacks);
    void reboot();
    void expect(unsigned int state);
    /// Waits until the library has passed an event of the reboot on and asked what to do with it.
    void awaitEvent(unsigned int state);
    void nap(std::chrono::milliseconds time);
    void requireCamera() const;

    VirtualCamera &m_camera;
    std::mutex m_lock;
    std::condition_variable m_wake;
    bool m_claimed = false;   // everything below is under m_lock
    unsigned int m_runs = 0;  // that have begun; one more begins while onFinished is called
    bool m_breakOff = false;
    std::optional<unsigned int> m_expected;  // state of the event that a reboot waits for
    bool m_arrived = false;                  // it was passed on, ...
    bool m_kept = false;                     // ... and stays here
};

/// Reports why an upgrade of a camera failed, in one line.
void reportUpgrade(const std::string &uri, const std::string &reason);

}  // namespace nubrix
