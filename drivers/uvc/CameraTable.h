// Which cameras are attached: nodes that are attached and detached, combined into cameras.
#pragma once

#include <chrono>
#include <cstdint>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace nubrix::uvc {

/// The USB device behind a node. Texts are printable UTF-8; those that a camera lacks are empty.
struct UsbIdentity {
    std::string sysPath;
    std::string busPath;  ///< "1-2.3": bus, then ports
    unsigned int vendorId = 0;
    unsigned int productId = 0;
    unsigned int address = 0;  ///< on the bus; changes each time the device is plugged in
    unsigned int release = 0;  ///< binary coded decimals: 0x0123 is 1.23
    std::string serial;
    std::string product;
};

/// One video node.
struct NodeInfo {
    std::string sysPath;
    std::string path;         ///< "/dev/video0"
    unsigned int number = 0;  ///< 0 of "/dev/video0"
    bool captures = false;    ///< it captures frames
    /// Since udev finished setting it up; long ago where udev does not run.
    std::chrono::microseconds age = std::chrono::hours(1);
    std::optional<UsbIdentity> usb;
};

/// One USB camera with its nodes that capture, lowest number first.
struct CameraInfo {
    UsbIdentity usb;
    std::vector<NodeInfo> nodes;

    std::string uri() const { return "usb:" + usb.busPath; }
};

/// Combines nodes that are attached and detached into cameras. Thread-safe.
class CameraTable {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// The nodes of a camera are attached one by one. The camera is reported, and listed, this long
    /// after its last node.
    static constexpr std::chrono::milliseconds kSettleTime{80};
    /// The camera is reported this long after its first node even if it is not complete.
    static constexpr std::chrono::milliseconds kLongestSettling{3000};

    struct Change {
        CameraInfo camera;
        bool connected;
    };

    /// A camera that has settled and is to be reported.
    struct Due {
        CameraInfo camera;
        Time lastNode;  // when the last node was attached
    };

    /// Adds nodes as of the time at which udev finished setting them up.
    void fill(const std::vector<NodeInfo> &nodes, Time now);
    /// Does nothing for a node that is already in the table.
    void add(const NodeInfo &node, Time now);
    /// Removes a node; its camera is detached with the last one.
    void remove(const std::string &sysPath);
    /// Adds and removes nodes until the table has exactly `nodes`.
    void update(const std::vector<NodeInfo> &nodes, Time now);

    /// The cameras that have settled by now and have not been reported.
    std::vector<Due> due(Time now) const;
    /// Postpones one of them for another kSettleTime; by path of the USB device.
    void postpone(const std::string &usbPath, Time now);
    /// Whether a node has been added, whether it captures or not.
    bool knows(const std::string &sysPath) const;

    /// The changes up to now that have not been taken, in order.
    std::list<Change> takeChanges(Time now);
    /// When the next camera settles; nullopt if none is waiting.
    std::optional<Time> nextChange() const;

    /// The cameras that are listed, by bus path.
    std::vector<CameraInfo> cameras() const;
    std::optional<CameraInfo> find(const std::string &uri) const;
    /// The nodes that capture and are not USB.
    std::vector<NodeInfo> otherNodes() const;

private:
    struct Entry {
        CameraInfo camera;
        Time since;  // when it was added
        Time lastNode;
        std::optional<Time> settledAt;  // nullopt: listed

        void addNode(Time attached);
        void settleAfter(Time last);
    };

    void insert(const NodeInfo &node, Time attached, Time now);
    void erase(const std::string &sysPath);

    mutable std::mutex m_lock;
    std::map<std::string, Entry> m_cameras;  // by path of the USB device; all under m_lock
    std::vector<NodeInfo> m_otherNodes;
    std::set<std::string> m_known;  // paths of all nodes
    std::vector<Change> m_gone;
};

}  // namespace nubrix::uvc
