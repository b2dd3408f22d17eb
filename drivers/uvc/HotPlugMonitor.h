// The thread that receives the events of udev about attached and detached cameras.
#pragma once

#include <chrono>
#include <functional>
#include <list>
#include <optional>
#include <thread>

#include "common/DriverThreads.h"
#include "uvc/CameraTable.h"
#include "uvc/NodeScanner.h"

namespace nubrix::uvc {

/// Keeps a table of cameras up to date. When an event is lost or a node cannot be read, it scans
/// all nodes again until a scan succeeds. start and stop: not thread-safe.
class HotPlugMonitor {
public:
    using Handler = std::function<void(const CameraTable::Change &)>;

    /// `table` must outlive the monitor. `handler` runs on its thread, with no lock held; a change
    /// for which it throws is passed to it again.
    HotPlugMonitor(CameraTable &table, NodeOpener opener, Handler handler);
    HotPlugMonitor(const HotPlugMonitor &) = delete;
    HotPlugMonitor &operator=(const HotPlugMonitor &) = delete;
    ~HotPlugMonitor() { stop(); }

    /// Starts to listen and fills the table, in an order that misses no camera. False when udev or
    /// its events are not available: the table then holds what a scan found. Throws
    /// std::system_error when the system has no thread left.
    bool start();
    /// Returns when the handler has returned and will not be called again.
    void stop();

private:
    static constexpr std::chrono::milliseconds kFirstScanDelay{100};
    static constexpr std::chrono::milliseconds kMaxScanDelay{5000};
    static constexpr std::chrono::milliseconds kSecondScanDelay{1000};
    static constexpr int kRetryMs = 100;  // before a change is handled again

    bool listen();
    void run() noexcept;
    /// Waits for an event, the next change, the next scan or stop; false after stop.
    bool wait();
    void step();
    /// Passes the changes up to now to the handler, those of one camera in order.
    void handOut(CameraTable::Time now);
    bool handOut(const CameraTable::Change &change) const noexcept;
    /// Reads all events; false when some were lost.
    bool receive();
    bool take(const NodeScanner &scanner, udev_device &device);
    /// Scans all nodes and updates the table.
    void rescan();
    /// Schedules the next scan, each time in a row with a longer delay; reported the first time.
    void scheduleRescan() noexcept;
    /// Postpones cameras that have settled but still lack nodes.
    void postponeIncomplete(CameraTable::Time now);

    CameraTable &m_table;
    const NodeOpener m_opener;
    const Handler m_handler;
    EventFd m_stopEvent;
    UdevPtr<udev> m_udev;  // used by one thread at a time
    UdevPtr<udev_monitor> m_monitor;
    std::optional<CameraTable::Time>
        m_nextScan;  // these three: used by the thread only, once it runs
    std::chrono::milliseconds m_scanDelay = kFirstScanDelay;
    std::list<CameraTable::Change> m_changes;  // taken from the table, not yet handled
    std::thread m_thread;
};

}  // namespace nubrix::uvc
