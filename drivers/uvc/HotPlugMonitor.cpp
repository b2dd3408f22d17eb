#include "uvc/HotPlugMonitor.h"

#include <poll.h>
#include <pthread.h>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "uvc/NodeIo.h"
#include "uvc/NodeScanner.h"

namespace nubrix::uvc {

namespace {

constexpr std::chrono::milliseconds kProbeTime{1000};  // in which the kernel probes one stream
constexpr int kReceiveBufferBytes = 4 << 20;  // holds some thousand events while the handler runs

/// Milliseconds until the earlier time, -1 when there is none.
int msUntil(std::optional<CameraTable::Time> moment, const std::optional<CameraTable::Time> &other)
{
    if (other && (!moment || *other < *moment))
        moment = other;
    if (!moment)
        return -1;
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(*moment - std::chrono::steady_clock::now());
    return static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
}

}  // namespace

HotPlugMonitor::HotPlugMonitor(CameraTable &table, NodeOpener opener, Handler handler)
    : m_table(table), m_opener(std::move(opener)), m_handler(std::move(handler))
{
}

bool HotPlugMonitor::start()
{
    m_udev.reset(udev_new());
    if (!m_udev)
        return false;
    const bool listens = listen();
    const Scan found = NodeScanner(*m_udev, m_opener).scan();
    const auto now = std::chrono::steady_clock::now();
    m_table.fill(found.nodes, now);
    if (!found.complete)
        scheduleRescan();
    // Cameras that are attached at the start are listed, but not reported.
    if (listens) {
        postponeIncomplete(now);
        m_table.takeChanges(now);
        m_thread = std::thread(&HotPlugMonitor::run, this);
    } else {
        m_table.takeChanges(CameraTable::Time::max());
    }
    return listens && isUdevRunning(*m_udev);
}

bool HotPlugMonitor::listen()
{
    m_monitor.reset(udev_monitor_new_from_netlink(m_udev.get(), "udev"));
    if (!m_monitor)
        return false;
    // Needs a privilege; without it the default size remains.
    udev_monitor_set_receive_buffer_size(m_monitor.get(), kReceiveBufferBytes);
    return udev_monitor_filter_add_match_subsystem_devtype(m_monitor.get(), "video4linux",
                                                           nullptr) >= 0 &&
           udev_monitor_enable_receiving(m_monitor.get()) >= 0;
}

void HotPlugMonitor::stop()
{
    m_stopEvent.set();
    if (m_thread.joinable())
        m_thread.join();
}

void HotPlugMonitor::run() noexcept
{
    ::pthread_setname_np(::pthread_self(), "nubrix-usb-plug");
    for (;;) {
        try {
            if (!wait())
                return;
            step();
        } catch (...) {
            reportFailure("monitoring attached cameras");
            scheduleRescan();
            pollfd end = {m_stopEvent.descriptor(), POLLIN, 0};
            ::poll(&end, 1, static_cast<int>(kFirstScanDelay.count()));
        }
    }
}

bool HotPlugMonitor::wait()
{
    pollfd waited[] = {{udev_monitor_get_fd(m_monitor.get()), POLLIN, 0},
                       {m_stopEvent.descriptor(), POLLIN, 0}};
    const auto timeout = [this] {
        const int ms = msUntil(m_table.nextChange(), m_nextScan);
        return m_changes.empty() || (ms >= 0 && ms < kRetryMs) ? ms : kRetryMs;
    };
    while (::poll(waited, 2, timeout()) < 0) {
        if (errno != EINTR)
            throw std::system_error(errno, std::generic_category(), "poll");
    }
    return waited[1].revents == 0;
}

void HotPlugMonitor::step()
{
    const bool lost = !receive();
    const auto now = std::chrono::steady_clock::now();
    // Scans only after the last event is read: until then the kernel drops further events without a
    // new error.
    if (lost || (m_nextScan && *m_nextScan <= now))
        rescan();
    // The scan may have found a node that was being detached.
    if (lost && !m_nextScan)
        m_nextScan = now + kSecondScanDelay;
    postponeIncomplete(now);
    handOut(now);
}

void HotPlugMonitor::handOut(CameraTable::Time now)
{
    m_changes.splice(m_changes.end(), m_table.takeChanges(now));
    for (auto change = m_changes.begin(); change != m_changes.end();) {
        const bool hasEarlierChange =
            std::any_of(m_changes.begin(), change, [&](const CameraTable::Change &kept) {
                return kept.camera.usb.sysPath == change->camera.usb.sysPath;
            });
        if (!hasEarlierChange && handOut(*change))
            change = m_changes.erase(change);
        else
            ++change;
    }
}

bool HotPlugMonitor::handOut(const CameraTable::Change &change) const noexcept
try {
    m_handler(change);
    return true;
} catch (...) {
    reportFailure("reporting a camera that was attached or detached");
    return false;
}

void HotPlugMonitor::postponeIncomplete(CameraTable::Time now)
{
    for (const CameraTable::Due &due : m_table.due(now)) {
        const UsbFolder folder = readUsbFolder(due.camera.usb.sysPath);
        // Either udev has not reported a node yet, or the kernel has not created it: the kernel
        // probes the next stream of the camera first.
        const bool more =
            std::any_of(folder.videoNodes.begin(), folder.videoNodes.end(),
                        [&](const auto &node) { return !m_table.knows(node); }) ||
            (due.camera.nodes.size() < folder.videoStreams && now < due.lastNode + kProbeTime);
        if (more)
            m_table.postpone(due.camera.usb.sysPath, now);
    }
}

bool HotPlugMonitor::receive()
{
    constexpr int kMaxFailures = 100;  // in a row; the rest is read after the next poll
    const NodeScanner scanner(*m_udev, m_opener);
    bool lost = false;
    for (int failures = 0; failures < kMaxFailures;) {
        errno = 0;
        const UdevPtr<udev_device> device(udev_monitor_receive_device(m_monitor.get()));
        if (device) {
            lost = !take(scanner, *device) || lost;
            failures = 0;
        } else if (errno == EAGAIN || errno == 0) {
            break;
        } else {  // there was no memory or no descriptor for the event
            lost = true;
            ++failures;
        }
    }
    return !lost;
}

bool HotPlugMonitor::take(const NodeScanner &scanner, udev_device &device)
{
    const char *action = udev_device_get_action(&device);
    if (action == nullptr)
        return true;
    if (std::strcmp(action, "remove") == 0)
        m_table.remove(udev_device_get_syspath(&device));
    if (std::strcmp(action, "add") != 0)
        return true;
    NodeInfo node;
    const NodeScanner::Outcome outcome = scanner.describe(device, node);
    if (outcome == NodeScanner::Outcome::kNode)
        m_table.add(node, std::chrono::steady_clock::now());
    return outcome != NodeScanner::Outcome::kUnreadable;
}

void HotPlugMonitor::rescan()
{
    const Scan found = NodeScanner(*m_udev, m_opener).scan();
    const auto now = std::chrono::steady_clock::now();
    if (found.complete) {
        m_table.update(found.nodes, now);
        m_nextScan.reset();
        m_scanDelay = kFirstScanDelay;
        return;
    }
    // Nodes that were not found may be attached nevertheless.
    for (const NodeInfo &node : found.nodes)
        m_table.add(node, now);
    scheduleRescan();
}

void HotPlugMonitor::scheduleRescan() noexcept
{
    if (m_scanDelay == kFirstScanDelay) {
        try {
            kReporter.warning("some video nodes cannot be read now, the search is repeated");
        } catch (...) {
            reportFailure("reporting nodes that cannot be read");
        }
    }
    m_nextScan = std::chrono::steady_clock::now() + m_scanDelay;
    m_scanDelay = std::min(2 * m_scanDelay, kMaxScanDelay);
}

}  // namespace nubrix::uvc
