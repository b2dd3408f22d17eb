#include "uvc/HotPlugMonitor.h"

#include <poll.h>
#include <pthread.h>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "uvc/Report.h"
#include "uvc/UsbFolder.h"

namespace nubrix {

namespace {

constexpr std::chrono::milliseconds kProbeTime{1000};  // of one stream, by the kernel
constexpr int kReceiveBufferBytes = 4 << 20;  // some thousand events, while the handler runs

/// The time to wait until the earlier one, -1 for ever.
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
        lookLater();
    // These are there from the start: they are listed, and nobody is told.
    if (listens) {
        waitForMore(now);
        m_table.takeChanges(now);
        m_thread = std::thread(&HotPlugMonitor::run, this);
    } else {
        m_table.takeChanges(CameraTable::Time::max());
    }
    return listens && isUdevThere(*m_udev);
}

bool HotPlugMonitor::listen()
{
    m_monitor.reset(udev_monitor_new_from_netlink(m_udev.get(), "udev"));
    if (!m_monitor)
        return false;
    // Needs a privilege; without it the system's own size has to do.
    udev_monitor_set_receive_buffer_size(m_monitor.get(), kReceiveBufferBytes);
    return udev_monitor_filter_add_match_subsystem_devtype(m_monitor.get(), "video4linux",
                                                           nullptr) >= 0 &&
           udev_monitor_enable_receiving(m_monitor.get()) >= 0;
}

void HotPlugMonitor::stop()
{
    m_end.set();
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
            reportFailure("looking for cameras that come and go");
            lookLater();
            pollfd end = {m_end.descriptor(), POLLIN, 0};
            ::poll(&end, 1, static_cast<int>(kFirstLookDelay.count()));
        }
    }
}

bool HotPlugMonitor::wait()
{
    pollfd waited[] = {{udev_monitor_get_fd(m_monitor.get()), POLLIN, 0},
                       {m_end.descriptor(), POLLIN, 0}};
    const auto timeout = [this] {
        const int ms = msUntil(m_table.nextChange(), m_nextLook);
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
    // Not before the last event is read: until then the kernel drops all others and does not say so
    // again.
    if (lost || (m_nextLook && *m_nextLook <= now))
        look();
    // A node that leaves may still have been found.
    if (lost && !m_nextLook)
        m_nextLook = now + kSecondLookDelay;
    waitForMore(now);
    handOut(now);
}

void HotPlugMonitor::handOut(CameraTable::Time now)
{
    m_changes.splice(m_changes.end(), m_table.takeChanges(now));
    for (auto change = m_changes.begin(); change != m_changes.end();) {
        const bool isBehindOther =
            std::any_of(m_changes.begin(), change, [&](const CameraTable::Change &kept) {
                return kept.camera.usb.sysPath == change->camera.usb.sysPath;
            });
        if (!isBehindOther && handOut(*change))
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
    reportFailure("reporting a camera that comes or goes");
    return false;
}

void HotPlugMonitor::waitForMore(CameraTable::Time now)
{
    for (const CameraTable::Due &due : m_table.due(now)) {
        const UsbFolder folder = readUsbFolder(due.camera.usb.sysPath);
        // udev has still to tell of a node, or the kernel to make one: it asks the camera about its
        // next stream first.
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
    constexpr int kMostFailures = 100;  // in a row: what follows is read after the next poll
    const NodeScanner scanner(*m_udev, m_opener);
    bool lost = false;
    for (int failures = 0; failures < kMostFailures;) {
        errno = 0;
        const UdevPtr<udev_device> device(udev_monitor_receive_device(m_monitor.get()));
        if (device) {
            lost = !take(scanner, *device) || lost;
            failures = 0;
        } else if (errno == EAGAIN || errno == 0) {
            break;
        } else {  // an event that there was no space or no descriptor for
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
    const NodeScanner::Look look = scanner.describe(device, node);
    if (look == NodeScanner::Look::kNode)
        m_table.add(node, std::chrono::steady_clock::now());
    return look != NodeScanner::Look::kUnreadable;
}

void HotPlugMonitor::look()
{
    const Scan found = NodeScanner(*m_udev, m_opener).scan();
    const auto now = std::chrono::steady_clock::now();
    if (found.complete) {
        m_table.update(found.nodes, now);
        m_nextLook.reset();
        m_lookDelay = kFirstLookDelay;
        return;
    }
    // What was not found may be attached nevertheless.
    for (const NodeInfo &node : found.nodes)
        m_table.add(node, now);
    lookLater();
}

void HotPlugMonitor::lookLater() noexcept
{
    if (m_lookDelay == kFirstLookDelay) {
        try {
            report("some video nodes cannot be read now, they are looked for again");
        } catch (...) {
            reportFailure("reporting nodes that cannot be read");
        }
    }
    m_nextLook = std::chrono::steady_clock::now() + m_lookDelay;
    m_lookDelay = std::min(2 * m_lookDelay, kLongestLookDelay);
}

}  // namespace nubrix
