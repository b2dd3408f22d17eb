#include "virtual/VirtualUpgrade.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <iterator>
#include <utility>
#include <variant>

#include "virtual/VirtualCamera.h"

namespace nubrix {

namespace {

constexpr int kGone = -9;
constexpr std::chrono::milliseconds kBlockTime(1);
constexpr std::chrono::milliseconds kRebootTime(200);
constexpr std::chrono::seconds kEventTimeOut(10);

// What is done by the end of each step, in per cent.
constexpr int kDetached = 5;
constexpr int kWritten = 85;
constexpr int kRebooted = 95;
constexpr int kVerified = 100;

void complain(const VirtualCamera &camera, const std::string &reason)
{
    std::fprintf(stderr, "nubrix virtual camera: upgrade of %s: %s\n", camera.uri().c_str(),
                 reason.c_str());
}

void tellProgress(const typedefNubrixUpgradeCallbacks &callbacks, int percent)
{
    if (callbacks.onProgress)
        callbacks.onProgress(nullptr, percent, callbacks.user);
}

}  // namespace

VirtualUpgrade::VirtualUpgrade(VirtualCamera &camera)
    : m_serial(camera.serial()), m_location(camera.location()), m_camera(&camera)
{
    camera.addUpgrade(*this);
}

VirtualUpgrade::~VirtualUpgrade()
{
    breakOff();
    if (m_camera)
        m_camera->removeUpgrade(*this);
}

void VirtualUpgrade::abandon()
{
    breakOff();
    m_camera = nullptr;
}

void VirtualUpgrade::breakOff()
{
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_breakOff = true;
        m_wake.notify_all();
    }
    if (m_thread.get_id() == std::this_thread::get_id())
        m_thread.detach();  // within onFinished, after which the thread touches nothing
    else if (m_thread.joinable())
        m_thread.join();
}

int VirtualUpgrade::deviceStartUpgradeOffLine(const typedefNubrixUpgradeCallbacks *callbacks,
                                              const char *file)
try {
    if (file == nullptr)
        return -4;
    if (m_camera == nullptr)
        return kGone;
    auto read = FirmwareImage::read(file);
    if (const auto *wrong = std::get_if<std::string>(&read)) {
        complain(*m_camera, *wrong);
        return -4;
    }
    const std::lock_guard<std::mutex> lock(m_lock);
    if (m_running || m_thread.get_id() == std::this_thread::get_id())
        return -2;
    if (!m_camera->isPlugged())
        return kGone;
    if (m_thread.joinable())
        m_thread.join();  // it has nothing left to do but to return
    m_running = true;
    m_thread = std::thread([this, image = std::move(std::get<FirmwareImage>(read)),
                            told = callbacks ? *callbacks : Callbacks()] { run(image, told); });
    return 0;
} catch (const std::exception &error) {
    complain(*m_camera, error.what());
    const std::lock_guard<std::mutex> lock(m_lock);
    m_running = false;
    return -1;
}

void VirtualUpgrade::onDeviceStateChange(const char * /*deviceAddr*/, const char * /*serial*/,
                                         const char * /*location*/, unsigned int state)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_arrived = m_expected == state;
}

bool VirtualUpgrade::isUpgradeState()
{
    // The library asks right after it has passed an event on. The end of the upgrade waits for
    // that, or the last event would reach the application.
    const std::lock_guard<std::mutex> lock(m_lock);
    if (!std::exchange(m_arrived, false))
        return false;  // a real unplugging, say
    m_swallowed = true;
    m_expected.reset();
    m_wake.notify_all();
    return true;
}

std::string VirtualUpgrade::getDeviceSerialNumber()
{
    return m_serial;
}

std::string VirtualUpgrade::getDeviceLocation()
{
    return m_location;
}

void VirtualUpgrade::run(const FirmwareImage &image, const Callbacks &callbacks)
{
    int status = 0;
    try {
        m_camera->beginUpgrade();
        upgrade(image, callbacks);
    } catch (const Failed &failed) {
        complain(*m_camera, failed.reason + "; the camera keeps firmware " +
                                FirmwareImage::versionText(m_camera->firmware()));
        status = failed.status;
    } catch (const std::exception &error) {
        complain(*m_camera, error.what());
        status = -1;
    }
    m_camera->endUpgrade();
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_expected.reset();
        m_running = false;
    }
    if (callbacks.onFinished)
        callbacks.onFinished(nullptr, status, callbacks.user);
}

void VirtualUpgrade::upgrade(const FirmwareImage &image, const Callbacks &callbacks)
{
    tellProgress(callbacks, kDetached);
    const std::vector<std::uint8_t> written = write(image, callbacks);
    reboot();
    tellProgress(callbacks, kRebooted);
    if (FirmwareImage::crcOf(written) != image.crc)
        throw Failed{-1, "what was written differs from the image"};
    requireCamera();
    m_camera->setFirmware(image.version);
    tellProgress(callbacks, kVerified);
}

std::vector<std::uint8_t> VirtualUpgrade::write(const FirmwareImage &image,
                                                const Callbacks &callbacks)
{
    const auto size = static_cast<std::uint32_t>(image.firmware.size());
    const std::uint32_t blocks = (size + kBlockBytes - 1) / kBlockBytes;
    std::vector<std::uint8_t> written;
    int told = kDetached;
    for (std::uint32_t block = 0; block < blocks; ++block) {
        requireCamera();
        if (m_camera->faults().cutsUpgrade(block)) {
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

void VirtualUpgrade::reboot()
{
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_expected = NUBRIX_DEVICE_DISCONNECTED;
    }
    requireCamera();
    m_camera->leaveForReboot();
    try {
        awaitEvent(NUBRIX_DEVICE_DISCONNECTED);
        nap(kRebootTime);
        {
            const std::lock_guard<std::mutex> lock(m_lock);
            m_expected = NUBRIX_DEVICE_CONNECTED;
        }
    } catch (const Failed &) {
        m_camera->plug();
        throw;
    }
    m_camera->plug();
    awaitEvent(NUBRIX_DEVICE_CONNECTED);
}

void VirtualUpgrade::awaitEvent(unsigned int state)
{
    std::unique_lock<std::mutex> lock(m_lock);
    m_wake.wait_for(lock, kEventTimeOut, [this] { return m_swallowed || m_breakOff; });
    if (m_breakOff)
        throw Failed{-1, "it was broken off"};
    if (!std::exchange(m_swallowed, false)) {
        throw Failed{-1, std::string("nobody noticed that the camera ") +
                             (state == NUBRIX_DEVICE_CONNECTED ? "came back" : "left")};
    }
}

void VirtualUpgrade::nap(std::chrono::milliseconds time)
{
    std::unique_lock<std::mutex> lock(m_lock);
    if (m_camera->pacing() == Pacing::kRealtime)
        m_wake.wait_for(lock, time, [this] { return m_breakOff; });
    if (m_breakOff)
        throw Failed{-1, "it was broken off"};
}

void VirtualUpgrade::requireCamera() const
{
    if (!m_camera->isPlugged())
        throw Failed{kGone, "the camera was unplugged"};
}

}  // namespace nubrix
