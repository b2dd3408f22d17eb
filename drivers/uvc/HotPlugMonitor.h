// The thread that hears from udev which cameras come and go.
#pragma once

#include <chrono>
#include <functional>
#include <list>
#include <optional>
#include <thread>

#include "uvc/CameraTable.h"
#include "uvc/EventFd.h"
#include "uvc/NodeScanner.h"

namespace nubrix {

/// Keeps a table of cameras up to date. When an event was lost, or a node could not be read, it
/// looks at all nodes again until that succeeds. start and stop: not thread-safe.
class HotPlugMonitor {
public:
    using Handler = std::function<void(const CameraTable::Change &)>;

    /// `table` must outlive it. `handler` runs on the monitor's thread, with no lock held; a change
    /// for which it throws comes again.
    HotPlugMonitor(CameraTable &table, NodeOpener opener, Handler handler);
    HotPlugMonitor(const HotPlugMonitor &) = delete;
    HotPlugMonitor &operator=(const HotPlugMonitor &) = delete;
    ~HotPlugMonitor() { stop(); }

    /// Fills the table and begins to listen, in an order that misses nothing. False when udev is
    /// not to be had or events are not: the table is then what could be found. Throws
    /// std::system_error when there is no thread to be had.
    bool start();
    /// Returns when the handler has returned and will not be called again.
    void stop();

private:
    static constexpr std::chrono::milliseconds kFirstLookDelay{100};
    static constexpr std::chrono::milliseconds kLongestLookDelay{5000};
    static constexpr std::chrono::milliseconds kSecondLookDelay{1000};
    static constexpr int kRetryMs = 100;  // of a change

    bool listen();
    void run() noexcept;
    /// Waits for an event, the next change, the next look or the end; false at the end.
    bool wait();
    void step();
    /// Hands out the changes up to now, those of one camera in order.
    void handOut(CameraTable::Time now);
    bool handOut(const CameraTable::Change &change) const noexcept;
    /// False when events were lost.
    bool receive();
    bool take(const NodeScanner &scanner, udev_device &device);
    /// Makes the table what is attached now.
    void look();
    /// Each time in a row later, and reported the first time.
    void lookLater() noexcept;
    /// Postpones cameras that are due and not whole.
    void waitForMore(CameraTable::Time now);

    CameraTable &m_table;
    const NodeOpener m_opener;
    const Handler m_handler;
    EventFd m_end;
    UdevPtr<udev> m_udev;  // used by one thread at a time
    UdevPtr<udev_monitor> m_monitor;
    std::optional<CameraTable::Time> m_nextLook;  // these three: of the thread, once it runs
    std::chrono::milliseconds m_lookDelay = kFirstLookDelay;
    std::list<CameraTable::Change> m_changes;  // taken from the table, and not handed out
    std::thread m_thread;
};

}  // namespace nubrix
