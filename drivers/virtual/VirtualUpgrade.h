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

/// A firmware file: 32 bytes of header, then the firmware. All numbers are little-endian.
///
///     0   8  "NUBRIXFW"
///     8   6  version: three 16-bit numbers
///     14  2  0
///     16  4  size of the firmware in bytes, at least 1, at most 64 MiB
///     20  4  its CRC-32, as zlib's crc32 computes it
///     24  8  0
struct FirmwareImage {
    static constexpr std::uint32_t kHeaderBytes = 32;
    static constexpr std::uint32_t kMaxBytes = 64U << 20U;

    std::array<unsigned short, 3> version;
    std::uint32_t crc = 0;
    std::vector<std::uint8_t> firmware;

    /// Reads and checks a file. The text is an error message.
    static std::variant<FirmwareImage, std::string> read(const std::string &path);
    /// "2.1.0".
    static std::string versionText(const std::array<unsigned short, 3> &version);
    static std::uint32_t crcOf(const std::vector<std::uint8_t> &bytes);
};

class VirtualCamera;

/// The steps of one upgrade: detaches the camera, writes block after block, reboots it and verifies
/// what was written. The reboot raises the events of a real one, which the upgrader consumes. After
/// any failure the camera keeps its old firmware. The upgrader and its thread share it, since
/// either may be destroyed first. Thread-safe.
class UpgradeRun {
public:
    static constexpr std::uint32_t kBlockBytes = 4096;
    using Callbacks = typedefNubrixUpgradeCallbacks;

    explicit UpgradeRun(VirtualCamera &camera) : m_camera(camera) {}

    /// Reserves the run: 0, -2 while it is reserved, -9 without a camera.
    int begin();
    /// Performs all steps and releases the reservation; with a null `image`, only the latter. Once
    /// after each begin, on the upgrader's thread.
    void run(const FirmwareImage *image, const Callbacks &callbacks);

    /// Called with each event of the camera.
    void onEvent(unsigned int state);
    /// Called after onEvent: true when the upgrade consumes the event, so that nobody else gets it.
    bool takeEvent();

    /// Ends the upgrade soon, prevents further ones, and waits until all callbacks have returned,
    /// except those that the calling thread is in.
    void abort();

private:
    /// Why an upgrade failed.
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
    /// Waits until the library has passed on an event of the reboot and called takeEvent.
    void awaitEvent(unsigned int state);
    void pause(std::chrono::milliseconds time);
    void requireCamera() const;

    VirtualCamera &m_camera;
    std::mutex m_lock;
    std::condition_variable m_wake;
    bool m_claimed = false;   // everything below is under m_lock
    unsigned int m_runs = 0;  // that have begun; the next one may begin while onFinished is running
    bool m_aborted = false;
    std::optional<unsigned int> m_expected;  // the state that a reboot waits for
    bool m_arrived = false;                  // it was passed on, ...
    bool m_taken = false;                    // ... and consumed
};

/// Reports why an upgrade of a camera failed, in one line.
void reportUpgrade(const std::string &uri, const std::string &reason);

/// Upgrades one camera on a thread of its own, one upgrade at a time. Thread-safe.
class VirtualUpgrade final : public NubrixBaseUpgrade {
public:
    explicit VirtualUpgrade(VirtualCamera &camera);
    /// Aborts a running upgrade and waits for its callbacks. May be called from within them.
    ~VirtualUpgrade() override;

    /// Checks the image, then upgrades on a thread of its own, which calls the callbacks (with a
    /// null device). -4 without a file or for an invalid image, -2 while an upgrade runs, -9 when
    /// the camera is not plugged in, -1 when no thread is available. The reason is logged.
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
    DriverThreads &m_threads;  // not used after the driver is destroyed: begin() fails then
    const std::shared_ptr<UpgradeRun> m_run;
};

}  // namespace nubrix::virtual_camera
