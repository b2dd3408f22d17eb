// Rehearses a firmware upgrade of a virtual camera with an image file.
#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "common/DriverThreads.h"
#include "nubrix/driver.h"

namespace nubrix::virtual_camera {

/// A file: 32 bytes of header, then the firmware. All numbers are little-endian.
///
///     0   8  "NUBRIXFW"
///     8   6  version: three 16-bit numbers
///     14  2  0
///     16  4  size of the firmware in bytes, at least 1, at most 64 MiB
///     20  4  its CRC-32, as zlib's crc32 computes it
///     24  8  0
struct FirmwareImage {
    static constexpr std::uint32_t kHeaderBytes = 32;
    static constexpr std::uint32_t kMostBytes = 64U << 20U;

    std::array<unsigned short, 3> version;
    std::uint32_t crc = 0;
    std::vector<std::uint8_t> firmware;

    /// Reads and checks a file; the text says what is wrong with it.
    static std::variant<FirmwareImage, std::string> read(const std::string &path);
    /// "2.1.0".
    static std::string versionText(const std::array<unsigned short, 3> &version);
    static std::uint32_t crcOf(const std::vector<std::uint8_t> &bytes);
};

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

/// Upgrades one camera, on a thread of its own. One upgrade at a time. Thread-safe.
class VirtualUpgrade final : public NubrixBaseUpgrade {
public:
    explicit VirtualUpgrade(VirtualCamera &camera);
    /// Breaks an upgrade off that is still running, and waits for its callbacks. May be called from
    /// within them.
    ~VirtualUpgrade() override;

    /// Checks the image, then upgrades on a thread of its own, which calls the callbacks (with a
    /// null device). -4 without a file or for one that is no sound image, -2 while an upgrade runs,
    /// -9 when the camera is not plugged in, -1 when there is no thread to be had; the log says
    /// why.
    int deviceStartUpgradeOffLine(const typedefNubrixUpgradeCallbacks *callbacks,
                                  const char *file) override;
    void onDeviceStateChange(const char *deviceAddr, const char *serial, const char *location,
                             unsigned int state) override;
    bool isUpgradeState() override;
    std::string getDeviceSerialNumber() override;
    std::string getDeviceLocation() override;

private:
    int begin(FirmwareImage image, const typedefNubrixUpgradeCallbacks &callbacks);

    const std::string m_uri;
    const std::string m_serial;
    const std::string m_location;
    DriverThreads &m_threads;  // not used once the driver is gone: the run begins no more then
    const std::shared_ptr<UpgradeRun> m_run;
};

}  // namespace nubrix::virtual_camera
