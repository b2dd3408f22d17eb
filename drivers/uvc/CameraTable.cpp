#include "uvc/CameraTable.h"

#include <algorithm>

namespace nubrix {

namespace {

bool isBefore(const NodeInfo &a, const NodeInfo &b)
{
    return a.number < b.number;
}

void insertSorted(std::vector<NodeInfo> &nodes, const NodeInfo &node)
{
    nodes.insert(std::upper_bound(nodes.begin(), nodes.end(), node, isBefore), node);
}

void eraseFrom(std::vector<NodeInfo> &nodes, const std::string &sysPath)
{
    nodes.erase(std::remove_if(nodes.begin(), nodes.end(),
                               [&](const NodeInfo &node) { return node.sysPath == sysPath; }),
                nodes.end());
}

}  // namespace

void CameraTable::Entry::noteNode(Time came)
{
    lastNode = std::max(lastNode, came);
    settleAfter(lastNode);
}

void CameraTable::Entry::settleAfter(Time last)
{
    if (settledAt)
        settledAt = std::min(last + kSettleTime, since + kLongestSettling);
}

void CameraTable::fill(const std::vector<NodeInfo> &nodes, Time now)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    for (const NodeInfo &node : nodes)
        insert(node, now - node.age, now);
}

void CameraTable::add(const NodeInfo &node, Time now)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    insert(node, now, now);
}

void CameraTable::remove(const std::string &sysPath)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    erase(sysPath);
}

void CameraTable::update(const std::vector<NodeInfo> &nodes, Time now)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    std::set<std::string> vanished = m_known;
    for (const NodeInfo &node : nodes) {
        const auto place = node.usb ? m_cameras.find(node.usb->sysPath) : m_cameras.end();
        const bool replaced =
            place != m_cameras.end() && place->second.camera.usb.address != node.usb->address;
        if (!replaced)
            vanished.erase(node.sysPath);
    }
    for (const std::string &sysPath : vanished)
        erase(sysPath);
    for (const NodeInfo &node : nodes)
        insert(node, now, now);
}

void CameraTable::insert(const NodeInfo &node, Time came, Time now)
{
    if (!m_known.insert(node.sysPath).second)
        return;
    if (!node.usb) {
        if (node.captures)
            insertSorted(m_otherNodes, node);
        return;
    }
    if (!node.captures) {
        if (const auto owner = m_cameras.find(node.usb->sysPath); owner != m_cameras.end())
            owner->second.noteNode(came);
        return;
    }
    const auto [place, isNew] = m_cameras.try_emplace(node.usb->sysPath);
    Entry &entry = place->second;
    if (isNew) {
        entry.camera.usb = *node.usb;
        entry.since = now;
        entry.lastNode = came;
        entry.settledAt = came;
    }
    entry.noteNode(came);
    insertSorted(entry.camera.nodes, node);
}

void CameraTable::erase(const std::string &sysPath)
{
    m_known.erase(sysPath);
    eraseFrom(m_otherNodes, sysPath);
    for (auto place = m_cameras.begin(); place != m_cameras.end(); ++place) {
        Entry &entry = place->second;
        std::vector<NodeInfo> left = entry.camera.nodes;
        eraseFrom(left, sysPath);
        if (left.size() == entry.camera.nodes.size())
            continue;
        if (!left.empty()) {
            entry.camera.nodes = std::move(left);
            return;
        }
        if (!entry.settledAt)
            m_gone.push_back({entry.camera, false});
        m_cameras.erase(place);
        return;
    }
}

std::vector<CameraTable::Due> CameraTable::due(Time now) const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    std::vector<Due> all;
    for (const auto &[path, entry] : m_cameras) {
        if (entry.settledAt && *entry.settledAt <= now)
            all.push_back({entry.camera, entry.lastNode});
    }
    return all;
}

void CameraTable::postpone(const std::string &usbPath, Time now)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    if (const auto place = m_cameras.find(usbPath); place != m_cameras.end())
        place->second.settleAfter(now);
}

bool CameraTable::knows(const std::string &sysPath) const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_known.count(sysPath) != 0;
}

std::list<CameraTable::Change> CameraTable::takeChanges(Time now)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    const auto isDue = [now](const Entry &entry) {
        return entry.settledAt && *entry.settledAt <= now;
    };
    // A camera is listed only once this has told of it, so what has gone went before what comes.
    std::list<Change> changes(m_gone.begin(), m_gone.end());
    for (const auto &[path, entry] : m_cameras) {
        if (isDue(entry))
            changes.push_back({entry.camera, true});
    }
    // Nothing counts as taken before nothing can throw any more.
    m_gone.clear();
    for (auto &[path, entry] : m_cameras) {
        if (isDue(entry))
            entry.settledAt.reset();
    }
    return changes;
}

std::optional<CameraTable::Time> CameraTable::nextChange() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    std::optional<Time> next;
    for (const auto &[path, entry] : m_cameras) {
        if (entry.settledAt && (!next || *entry.settledAt < *next))
            next = entry.settledAt;
    }
    return next;
}

std::vector<CameraInfo> CameraTable::cameras() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    std::vector<CameraInfo> all;
    for (const auto &[path, entry] : m_cameras) {
        if (!entry.settledAt)
            all.push_back(entry.camera);
    }
    std::sort(all.begin(), all.end(), [](const CameraInfo &a, const CameraInfo &b) {
        return a.usb.busPath < b.usb.busPath;
    });
    return all;
}

std::optional<CameraInfo> CameraTable::find(const std::string &uri) const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    for (const auto &[path, entry] : m_cameras) {
        if (!entry.settledAt && entry.camera.uri() == uri)
            return entry.camera;
    }
    return std::nullopt;
}

std::vector<NodeInfo> CameraTable::otherNodes() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_otherNodes;
}

}  // namespace nubrix
