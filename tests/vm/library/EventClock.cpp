#include "EventClock.h"

#include <poll.h>

#include <stdexcept>

namespace nubrix::vm {

EventClock::EventClock()
    : m_udev(udev_new(), udev_unref),
      m_kernel(listenTo("kernel")),
      m_user(listenTo("udev")),
      m_thread(&EventClock::run, this)
{
}

EventClock::~EventClock()
{
    m_end = true;
    m_thread.join();
}

std::vector<EventClock::Time> EventClock::moments(Teller teller, const std::string &action,
                                                  Time begin, Time end) const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    std::vector<Time> found;
    for (const Event &event : m_events) {
        if (event.teller == teller && event.action == action && event.when >= begin &&
            event.when <= end) {
            found.push_back(event.when);
        }
    }
    return found;
}

EventClock::Owned<udev_monitor> EventClock::listenTo(const char *name)
{
    Owned<udev_monitor> monitor(udev_monitor_new_from_netlink(m_udev.get(), name),
                                udev_monitor_unref);
    if (!monitor ||
        udev_monitor_filter_add_match_subsystem_devtype(monitor.get(), "video4linux", nullptr) <
            0 ||
        udev_monitor_enable_receiving(monitor.get()) < 0) {
        throw std::runtime_error("cannot listen to " + std::string(name));
    }
    return monitor;
}

void EventClock::receive(udev_monitor &monitor, Teller teller)
{
    const Owned<udev_device> device(udev_monitor_receive_device(&monitor), udev_device_unref);
    if (!device) {
        return;
    }
    const std::lock_guard<std::mutex> lock(m_lock);
    m_events.push_back(
        {teller, udev_device_get_action(device.get()), std::chrono::steady_clock::now()});
}

void EventClock::run()
{
    pollfd waited[] = {{udev_monitor_get_fd(m_kernel.get()), POLLIN, 0},
                       {udev_monitor_get_fd(m_user.get()), POLLIN, 0}};
    while (!m_end) {
        if (poll(waited, 2, 100) <= 0) {
            continue;
        }
        if (waited[0].revents != 0) {
            receive(*m_kernel, Teller::kKernel);
        }
        if (waited[1].revents != 0) {
            receive(*m_user, Teller::kUdev);
        }
    }
}

}  // namespace nubrix::vm
