// nubrix upgrade: new firmware for a camera.
#include <iostream>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <utility>
#include "Names.h"
#include "StopSignal.h"
#include "StreamStatistics.h"
#include "commands/Command.h"
#include "nubrix/client/session.h"
#include "output/ProgressBar.h"

namespace nubrix::tool {

namespace {

constexpr int kUpgradeTickMs = 200;
constexpr std::uint64_t kUpgradeTimeoutUs = 120000000;

/// The progress that the library's upgrade thread reports.
class UpgradeProgress {
public:
    explicit UpgradeProgress(const StopSignal &wake) : m_wake(wake) {}

    typedefNubrixUpgradeCallbacks callbacks() { return {onProgress, onFinished, this}; }
    int percent() const
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_percent;
    }
    std::optional<int> status() const
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_status;
    }

private:
    static void onProgress(NubrixDevice * /*device*/, int percent, void *user)
    {
        auto *progress = static_cast<UpgradeProgress *>(user);
        const std::lock_guard<std::mutex> lock(progress->m_lock);
        progress->m_percent = percent;
        progress->m_wake.wake();
    }
    static void onFinished(NubrixDevice * /*device*/, int status, void *user)
    {
        auto *progress = static_cast<UpgradeProgress *>(user);
        const std::lock_guard<std::mutex> lock(progress->m_lock);
        progress->m_status = status;
        progress->m_wake.wake();
    }

    const StopSignal &m_wake;
    mutable std::mutex m_lock;
    int m_percent = 0;  // everything below is under m_lock
    std::optional<int> m_status;
};

std::string firmwareOf(const client::Camera &camera)
{
    try {
        return versionText(camera.versions().firmware);
    } catch (const client::Unsupported &) {
        return "unknown";
    }
}

/// Waits until the upgrade has ended and returns its status. Throws a std::runtime_error when it
/// makes no progress.
int waitForUpgrade(const UpgradeProgress &progress, const StopSignal &stop, bool wanted)
{
    const LiveLine line(wanted);
    int shown = -1;
    bool warned = false;
    std::uint64_t progressUs = monotonicUs();
    while (true) {
        const std::optional<int> status = progress.status();
        if (const int percent = progress.percent(); percent != shown) {
            progressUs = monotonicUs();
            shown = percent;
            line.draw(std::to_string(percent) + " %");
        }
        if (status)
            return *status;
        if (stop.requested() && !std::exchange(warned, true))
            std::cerr << "nubrix: the upgrade continues; press Ctrl-C again to abort it\n";
        if (monotonicUs() - progressUs > kUpgradeTimeoutUs) {
            throw std::runtime_error("the upgrade has made no progress for " +
                                     std::to_string(kUpgradeTimeoutUs / 1000000) + " s, at " +
                                     std::to_string(shown) + " %");
        }
        stop.wait(kUpgradeTickMs);
    }
}

class UpgradeCommand final : public Command {
public:
    explicit UpgradeCommand(CLI::App &parent);
    void run() override;

private:
    std::string m_uri;
    std::string m_file;
};

UpgradeCommand::UpgradeCommand(CLI::App &parent)
    : Command(parent, "upgrade", "Write new firmware into a camera")
{
    app().add_option("URI", m_uri, "The camera, as in 'nubrix list'")->required();
    app()
        .add_option("FILE", m_file, "The firmware image, in the camera's own format")
        ->required()
        ->type_name("");
    app().footer(R"(Do not unplug the camera during the upgrade. Ctrl-C does not end it; pressed
again, it does.

Examples:
  nubrix upgrade usb:1-2 camera.fw
      Write the image and show the firmware version before and after.
  nubrix --virtual upgrade usb:virtual-VIRT0001 camera.fw
      A rehearsal on the virtual camera.)");
}

void UpgradeCommand::run()
{
    const StopSignal stop;
    UpgradeProgress progress(stop);  // outlives the camera, whose upgrade thread uses it
    const client::Camera camera = client::Session().open(m_uri);
    const std::string before = firmwareOf(camera);
    const typedefNubrixUpgradeCallbacks callbacks = progress.callbacks();
    client::require("deviceStartUpgradeOffLine", m_file, [&] {
        return camera.context().deviceStartUpgradeOffLine(camera.handle(), &callbacks,
                                                          m_file.c_str());
    });
    const int status = waitForUpgrade(progress, stop, !json());
    const std::string after = firmwareOf(camera);
    if (json()) {
        printJson({{"uri", camera.info().uri},
                   {"status", status},
                   {"firmware_before", before},
                   {"firmware_after", after}});
    }
    if (status != 0) {
        throw std::runtime_error("the upgrade failed at " + std::to_string(progress.percent()) +
                                 " % (status " + std::to_string(status) +
                                 "); the camera has firmware " + after);
    }
    if (!json())
        std::cout << camera.info().uri << ": firmware " << before << " -> " << after << '\n';
}

}  // namespace

std::unique_ptr<Command> makeUpgradeCommand(CLI::App &parent)
{
    return std::make_unique<UpgradeCommand>(parent);
}

}  // namespace nubrix::tool
