#include "virtual/VirtualUpgrade.h"

#include <zlib.h>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>
#include <variant>

#include "common/Report.h"
#include "virtual/VirtualCamera.h"

namespace nubrix::virtual_camera {

namespace {

constexpr char kMagic[] = "NUBRIXFW";

std::uint32_t numberAt(const std::vector<std::uint8_t> &bytes, std::size_t at, unsigned int size)
{
    std::uint32_t number = 0;
    for (unsigned int i = 0; i < size; ++i)
        number |= std::uint32_t{bytes[at + i]} << (8U * i);
    return number;
}

constexpr std::chrono::milliseconds kBlockTime(1);
constexpr std::chrono::milliseconds kRebootTime(200);
constexpr std::chrono::seconds kEventTimeOut(10);

// Progress at the end of each step, in per cent.
constexpr int kDetached = 5;
constexpr int kWritten = 85;
constexpr int kRebooted = 95;
constexpr int kVerified = 100;

thread_local const UpgradeRun *runOfThisThread = nullptr;

void notifyProgress(const typedefNubrixUpgradeCallbacks &callbacks, int percent)
{
    if (callbacks.onProgress)
        callbacks.onProgress(nullptr, percent, callbacks.user);
}

}  // namespace

std::string FirmwareImage::versionText(const std::array<unsigned short, 3> &version)
{
    return std::to_string(version[0]) + "." + std::to_string(version[1]) + "." +
           std::to_string(version[2]);
}

std::uint32_t FirmwareImage::crcOf(const std::vector<std::uint8_t> &bytes)
{
    return static_cast<std::uint32_t>(
        crc32(0, bytes.data(), static_cast<unsigned int>(bytes.size())));
}

std::variant<FirmwareImage, std::string> FirmwareImage::read(const std::string &path)
{
    const auto wrong = [&path](const std::string &what) { return "\"" + path + "\" " + what; };
    std::error_code error;
    const std::uintmax_t length = std::filesystem::file_size(path, error);
    if (error)
        return wrong("cannot be read: " + error.message());
    if (length > kHeaderBytes + kMaxBytes)
        return wrong("is no firmware image: it is larger than 64 MiB");
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(length));
    std::ifstream file(path, std::ios::binary);
    if (!file.read(reinterpret_cast<char *>(bytes.data()), static_cast<std::streamsize>(length)))
        return wrong("cannot be read: " + std::generic_category().message(errno));
    if (bytes.size() < kHeaderBytes || std::memcmp(bytes.data(), kMagic, 8) != 0)
        return wrong("is no firmware image");
    const std::uint32_t size = numberAt(bytes, 16, 4);
    if (numberAt(bytes, 14, 2) != 0 || numberAt(bytes, 24, 4) != 0 || numberAt(bytes, 28, 4) != 0)
        return wrong("has a header of an unknown kind");
    if (size == 0 || size != bytes.size() - kHeaderBytes) {
        return wrong("should hold " + std::to_string(size) + " bytes of firmware, and holds " +
                     std::to_string(bytes.size() - kHeaderBytes));
    }
    FirmwareImage image;
    for (unsigned int i = 0; i < 3; ++i)
        image.version[i] = static_cast<unsigned short>(numberAt(bytes, 8 + 2 * i, 2));
    image.crc = numberAt(bytes, 20, 4);
    image.firmware.assign(std::next(bytes.begin(), kHeaderBytes), bytes.end());
    if (crcOf(image.firmware) != image.crc)
        return wrong("is damaged: its checksum does not match");
    return image;
}

void reportUpgrade(const std::string &uri, const std::string &reason)
{
    kReporter.error("upgrade of " + uri + ": " + reason);
}

int UpgradeRun::begin()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    if (m_claimed)
        return kWrongState;
    if (m_aborted || !m_camera.isPlugged())
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
    notifyProgress(callbacks, kDetached);
    const std::vector<std::uint8_t> written = write(image, callbacks);
    reboot();
    notifyProgress(callbacks, kRebooted);
    if (FirmwareImage::crcOf(written) != image.crc)
        throw Failed{kFailed, "what was written differs from the image"};
    requireCamera();
    m_camera.setFirmware(image.version);
    notifyProgress(callbacks, kVerified);
}

std::vector<std::uint8_t> UpgradeRun::write(const FirmwareImage &image, const Callbacks &callbacks)
{
    const auto size = static_cast<std::uint32_t>(image.firmware.size());
    const std::uint32_t blocks = (size + kBlockBytes - 1) / kBlockBytes;
    std::vector<std::uint8_t> written;
    int reported = kDetached;
    for (std::uint32_t block = 0; block < blocks; ++block) {
        requireCamera();
        if (m_camera.faults().cutsUpgrade(block)) {
            throw Failed{kGone, "the connection was cut at block " + std::to_string(block) +
                                    " of " + std::to_string(blocks)};
        }
        const std::uint32_t from = block * kBlockBytes;
        const auto first = std::next(image.firmware.begin(), from);
        written.insert(written.end(), first, std::next(first, std::min(kBlockBytes, size - from)));
        pause(kBlockTime);
        const auto share = std::uint64_t{block + 1} * (kWritten - kDetached) / blocks;
        if (const int percent = kDetached + static_cast<int>(share); percent != reported)
            notifyProgress(callbacks, reported = percent);
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
        pause(kRebootTime);
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

bool UpgradeRun::takeEvent()
{
    // The library calls this right after it has passed an event on. The upgrade waits for the call
    // at its end; otherwise the last event would reach the application.
    const std::lock_guard<std::mutex> lock(m_lock);
    if (!std::exchange(m_arrived, false))
        return false;  // for example a real unplugging
    m_taken = true;
    m_expected.reset();
    m_wake.notify_all();
    return true;
}

void UpgradeRun::awaitEvent(unsigned int state)
{
    std::unique_lock<std::mutex> lock(m_lock);
    m_wake.wait_for(lock, kEventTimeOut, [this] { return m_taken || m_aborted; });
    if (m_aborted)
        throw Failed{kFailed, "it was broken off"};
    if (!std::exchange(m_taken, false)) {
        throw Failed{kFailed, std::string("nobody noticed that the camera ") +
                                  (state == NUBRIX_DEVICE_CONNECTED ? "came back" : "left")};
    }
}

void UpgradeRun::pause(std::chrono::milliseconds time)
{
    std::unique_lock<std::mutex> lock(m_lock);
    if (m_camera.pacing() == Pacing::kRealtime)
        m_wake.wait_for(lock, time, [this] { return m_aborted; });
    if (m_aborted)
        throw Failed{kFailed, "it was broken off"};
}

void UpgradeRun::requireCamera() const
{
    if (!m_camera.isPlugged())
        throw Failed{kGone, "the camera was unplugged"};
}

void UpgradeRun::abort()
{
    const unsigned int own = runOfThisThread == this ? 1 : 0;
    std::unique_lock<std::mutex> lock(m_lock);
    m_aborted = true;
    m_wake.notify_all();
    m_wake.wait(lock, [&] { return m_runs == own; });
}

VirtualUpgrade::VirtualUpgrade(VirtualCamera &camera)
    : m_uri(camera.uri()),
      m_serial(camera.serial()),
      m_location(camera.location()),
      m_threads(camera.threads()),
      m_run(std::make_shared<UpgradeRun>(camera))
{
    camera.addUpgrade(m_run);
}

VirtualUpgrade::~VirtualUpgrade()
{
    m_run->abort();
}

int VirtualUpgrade::deviceStartUpgradeOffLine(const typedefNubrixUpgradeCallbacks *callbacks,
                                              const char *file)
try {
    if (file == nullptr)
        return kBadArgument;
    auto read = FirmwareImage::read(file);
    if (const auto *wrong = std::get_if<std::string>(&read)) {
        reportUpgrade(m_uri, *wrong);
        return kBadArgument;
    }
    return begin(std::move(std::get<FirmwareImage>(read)),
                 callbacks ? *callbacks : UpgradeRun::Callbacks());
} catch (...) {
    reportFailure("the upgrade of a virtual camera");
    return kFailed;
}

int VirtualUpgrade::begin(FirmwareImage image, const typedefNubrixUpgradeCallbacks &callbacks)
{
    if (const int refused = m_run->begin())
        return refused;
    const std::shared_ptr<UpgradeRun> run = m_run;
    try {
        m_threads.run([run, image = std::move(image), callbacks] { run->run(&image, callbacks); });
        return kDone;
    } catch (const std::exception &) {
        run->run(nullptr, callbacks);
        throw;
    }
}

void VirtualUpgrade::onDeviceStateChange(const char * /*deviceAddr*/, const char * /*serial*/,
                                         const char * /*location*/, unsigned int state)
{
    m_run->onEvent(state);
}

bool VirtualUpgrade::isUpgradeState()
{
    return m_run->takeEvent();
}

std::string VirtualUpgrade::getDeviceSerialNumber()
{
    return m_serial;
}

std::string VirtualUpgrade::getDeviceLocation()
{
    return m_location;
}

}  // namespace nubrix::virtual_camera
