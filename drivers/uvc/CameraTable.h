// Which cameras are attached: nodes that come and go, made into cameras that do.
#pragma once

#include <chrono>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "uvc/NodeInfo.h"

namespace nubrix {

/// Thread-safe.
class CameraTable {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// A camera's nodes come one by one. It is told of, and listed, so long after the last,
    static constexpr std::chrono::milliseconds kSettleTime{80};
    /// or, when more are to come and do not, so long after the first was heard of.
    static constexpr std::chrono::milliseconds kLongestSettling{3000};

    struct Change {
        CameraInfo camera;
        bool connected;
    };

    /// A camera that is about to be told of.
    struct Due {
        CameraInfo camera;
        Time lastNode;  // came
    };

    /// Adds nodes as of the moments at which udev was done with them.
    void fill(const std::vector<NodeInfo> &nodes, Time now);
    /// A node that is known already is left alone.
    void add(const NodeInfo &node, Time now);
    /// The camera is gone with its last node.
    void remove(const std::string &sysPath);
    /// Adds and removes whatever makes the difference to `nodes`.
    void update(const std::vector<NodeInfo> &nodes, Time now);

    /// The cameras that have settled by now and have not been told of.
    std::vector<Due> due(Time now) const;
    /// Has one of them wait for another kSettleTime; by path of the USB device.
    void postpone(const std::string &usbPath, Time now);
    /// Whether a node has been added, be it one that gives pictures or not.
    bool knows(const std::string &sysPath) const;

    /// What has changed up to now and has not been taken, in order.
    std::list<Change> takeChanges(Time now);
    /// When a camera will have settled, nothing if none is about to.
    std::optional<Time> nextChange() const;

    /// The cameras that are listed, by bus path.
    std::vector<CameraInfo> cameras() const;
    std::optional<CameraInfo> find(const std::string &uri) const;
    /// The nodes that give pictures and are not USB.
    std::vector<NodeInfo> otherNodes() const;

private:
    struct Entry {
        CameraInfo camera;
        Time since;  // it is in the table
        Time lastNode;
        std::optional<Time> settledAt;  // nothing: listed

        void noteNode(Time came);
        void settleAfter(Time last);
    };

    void insert(const NodeInfo &node, Time came, Time now);
    void erase(const std::string &sysPath);

    mutable std::mutex m_lock;
    std::map<std::string, Entry> m_cameras;  // by path of the USB device; all under m_lock
    std::vector<NodeInfo> m_otherNodes;
    std::set<std::string> m_known;  // paths of all nodes
    std::vector<Change> m_gone;
};

}  // namespace nubrix
