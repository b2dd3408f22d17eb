#include "uvc/HotPlugMonitor.h"

#include <poll.h>
#include <pthread.h>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <utility>

#include "uvc/Report.h"
#include "uvc/UsbFolder.h"

namespace nubrix {

namespace {

constexpr std::chrono::milliseconds kProbeTime{1000};  // of one stream, by the kernel
constexpr int kReceiveBufferBytes = 4 << 20;  // some thousand events, while the handler runs

int msUntil(std::optional<CameraTable::Time> moment)
{
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
    const auto nodes = NodeScanner(*m_udev, m_opener).scan();
    const auto now = std::chrono::steady_clock::now();
    m_table.fill(nodes, now);
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

void HotPlugMonitor::run()
try {
    ::pthread_setname_np(::pthread_self(), "nubrix-usb-plug");
    while (wait()) {
        receive();
        const auto now = std::chrono::steady_clock::now();
        waitForMore(now);
        for (const auto &change : m_table.takeChanges(now))
            m_handler(change);
    }
} catch (const std::exception &error) {
    try {
        report(std::string("cameras that come and go are no longer noticed: ") + error.what());
    } catch (const std::exception &) {
        // For want of memory it ends without a line.
    }
}

bool HotPlugMonitor::wait()
{
    pollfd waited[] = {{udev_monitor_get_fd(m_monitor.get()), POLLIN, 0},
                       {m_end.descriptor(), POLLIN, 0}};
    while (::poll(waited, 2, msUntil(m_table.nextChange())) < 0) {
        if (errno != EINTR)
            return false;
    }
    return waited[1].revents == 0;
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

void HotPlugMonitor::receive()
{
    const NodeScanner scanner(*m_udev, m_opener);
    bool lost = false;
    for (;;) {
        errno = 0;
        const UdevPtr<udev_device> device(udev_monitor_receive_device(m_monitor.get()));
        const auto now = std::chrono::steady_clock::now();
        if (!device) {
            if (errno != ENOBUFS)
                break;
            lost = true;
            continue;
        }
        const char *action = udev_device_get_action(device.get());
        if (action == nullptr)
            continue;
        if (std::strcmp(action, "remove") == 0) {
            m_table.remove(udev_device_get_syspath(device.get()));
        } else if (std::strcmp(action, "add") == 0) {
            if (const auto node = scanner.describe(*device))
                m_table.add(*node, now);
        }
    }
    // What is there now counts. Not before the last event is read: until then the kernel drops all
    // others and does not say so again.
    if (lost)
        m_table.update(scanner.scan(), std::chrono::steady_clock::now());
}

}  // namespace nubrix
