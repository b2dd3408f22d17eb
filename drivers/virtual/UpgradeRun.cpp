#include "virtual/UpgradeRun.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "virtual/Report.h"
#include "virtual/VirtualCamera.h"

namespace nubrix {

namespace {

constexpr std::chrono::milliseconds kBlockTime(1);
constexpr std::chrono::milliseconds kRebootTime(200);
constexpr std::chrono::seconds kEventTimeOut(10);

// What is done by the end of each step, in per cent.
constexpr int kDetached = 5;
constexpr int kWritten = 85;
constexpr int kRebooted = 95;
constexpr int kVerified = 100;

thread_local const UpgradeRun *runOfThisThread = nullptr;

void tellProgress(const typedefNubrixUpgradeCallbacks &callbacks, int percent)
{
    if (callbacks.onProgress)
        callbacks.onProgress(nullptr, percent, callbacks.user);
}

}  // namespace

void reportUpgrade(const std::string &uri, const std::string &reason)
{
    report("upgrade of " + uri + ": " + reason);
}

int UpgradeRun::begin()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    if (m_claimed)
        return kWrongState;
    if (m_breakOff || !m_camera.isPlugged())
        return kGone;
    m_claimed = true;
    ++m_runs;
    return kDone;
}

void UpgradeRun::run(const FirmwareImage *image, const Callbacks &callbacks)
{
    const UpgradeRun *const outer = std::exchange(runOfThisThread, this);
    const int status = image ? upgradeWith(*image, callbacks) : 0;
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_expected.reset();
        m_claimed = false;
    }
    if (image && callbacks.onFinished)
        callbacks.onFinished(nullptr, status, callbacks.user);
    runOfThisThread = outer;
    const std::lock_guard<std::mutex> lock(m_lock);
    --m_runs;
    m_wake.notify_all();
}

int UpgradeRun::upgradeWith(const FirmwareImage &image, const Callbacks &callbacks)
{
    int status = kFailed;
    m_camera.beginUpgrade();
    try {
        status = attempt(image, callbacks);
    } catch (...) {
        reportFailure("the upgrade of a virtual camera");
    }
    m_camera.endUpgrade();
    return status;
}

int UpgradeRun::attempt(const FirmwareImage &image, const Callbacks &callbacks)
try {
    upgrade(image, callbacks);
    return kDone;
} catch (const Failed &failed) {
    reportUpgrade(m_camera.uri(), failed.reason + "; the camera keeps firmware " +
                                      FirmwareImage::versionText(m_camera.firmware()));
    return failed.status;
}

void UpgradeRun::upgrade(const FirmwareImage &image, const Callbacks &callbacks)
{
    tellProgress(callbacks, kDetached);
    const std::vector<std::uint8_t> written = write(image, callbacks);
    reboot();
    tellProgress(callbacks, kRebooted);
    if (FirmwareImage::crcOf(written) != image.crc)
        throw Failed{kFailed, "what was written differs from the image"};
    requireCamera();
    m_camera.setFirmware(image.version);
    tellProgress(callbacks, kVerified);
}

std::vector<std::uint8_t> UpgradeRun::write(const FirmwareImage &image, const Callbacks &callbacks)
{
    const auto size = static_cast<std::uint32_t>(image.firmware.size());
    const std::uint32_t blocks = (size + kBlockBytes - 1) / kBlockBytes;
    std::vector<std::uint8_t> written;
    int told = kDetached;
    for (std::uint32_t block = 0; block < blocks; ++block) {
        requireCamera();
        if (m_camera.faults().cutsUpgrade(block)) {
            throw Failed{kGone, "the connection was cut at block " + std::to_string(block) +
                                    " of " + std::to_string(blocks)};
        }
        const std::uint32_t from = block * kBlockBytes;
        const auto first = std::next(image.firmware.begin(), from);
        written.insert(written.end(), first, std::next(first, std::min(kBlockBytes, size - from)));
        nap(kBlockTime);
        const auto share = std::uint64_t{block + 1} * (kWritten - kDetached) / blocks;
        if (const int percent = kDetached + static_cast<int>(share); percent != told)
            tellProgress(callbacks, told = percent);
    }
    return written;
}

void UpgradeRun::reboot()
{
    expect(NUBRIX_DEVICE_DISCONNECTED);
    requireCamera();
    m_camera.leaveForReboot();
    try {
        awaitEvent(NUBRIX_DEVICE_DISCONNECTED);
        nap(kRebootTime);
    } catch (const Failed &) {
        m_camera.plug();
        throw;
    }
    expect(NUBRIX_DEVICE_CONNECTED);
    m_camera.plug();
    awaitEvent(NUBRIX_DEVICE_CONNECTED);
}

void UpgradeRun::expect(unsigned int state)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_expected = state;
}

void UpgradeRun::onEvent(unsigned int state)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_arrived = m_expected == state;
}

bool UpgradeRun::keepsEvent()
{
    // The library asks right after it has passed an event on. The end of the upgrade waits for
    // that, or the last event would reach the application.
    const std::lock_guard<std::mutex> lock(m_lock);
    if (!std::exchange(m_arrived, false))
        return false;  // a real unplugging, say
    m_kept = true;
    m_expected.reset();
    m_wake.notify_all();
    return true;
}

void UpgradeRun::awaitEvent(unsigned int state)
{
    std::unique_lock<std::mutex> lock(m_lock);
    m_wake.wait_for(lock, kEventTimeOut, [this] { return m_kept || m_breakOff; });
    if (m_breakOff)
        throw Failed{kFailed, "it was broken off"};
    if (!std::exchange(m_kept, false)) {
        throw Failed{kFailed, std::string("nobody noticed that the camera ") +
                                  (state == NUBRIX_DEVICE_CONNECTED ? "came back" : "left")};
    }
}

void UpgradeRun::nap(std::chrono::milliseconds time)
{
    std::unique_lock<std::mutex> lock(m_lock);
    if (m_camera.pacing() == Pacing::kRealtime)
        m_wake.wait_for(lock, time, [this] { return m_breakOff; });
    if (m_breakOff)
        throw Failed{kFailed, "it was broken off"};
}

void UpgradeRun::requireCamera() const
{
    if (!m_camera.isPlugged())
        throw Failed{kGone, "the camera was unplugged"};
}

void UpgradeRun::breakOff()
{
    const unsigned int own = runOfThisThread == this ? 1 : 0;
    std::unique_lock<std::mutex> lock(m_lock);
    m_breakOff = true;
    m_wake.notify_all();
    m_wake.wait(lock, [&] { return m_runs == own; });
}

}  // namespace nubrix
