#include "net/CameraWatch.h"

#include <pthread.h>

#include <algorithm>
#include <exception>
#include <utility>

#include "net/Report.h"

namespace nubrix {

namespace {

constexpr std::chrono::milliseconds kListen{300};
constexpr std::chrono::milliseconds kPause{300};
constexpr std::chrono::milliseconds kFirstList{1200};

}  // namespace

CameraWatch::CameraWatch(const NetSettings &settings, Listener listener)
    : m_settings(settings), m_listener(std::move(listener))
{
}

CameraWatch::~CameraWatch()
{
    stop();
}

void CameraWatch::start()
{
    m_started = Clock::now();
    m_thread = std::thread(&CameraWatch::run, this);
    pthread_setname_np(m_thread.native_handle(), "nubrix-net-look");
}

void CameraWatch::stop()
{
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_ending = true;
    }
    m_changed.notify_all();
    if (m_thread.joinable())
        m_thread.join();
}

std::vector<NetIdentity> CameraWatch::cameras()
{
    std::unique_lock<std::mutex> lock(m_lock);
    m_changed.wait_until(lock, m_started + kFirstList, [&] { return m_hasLooked; });
    std::vector<NetIdentity> all;
    for (const auto &[address, entry] : m_cameras)
        all.push_back(entry.camera);
    return all;
}

void CameraWatch::watch(const std::string &address, const std::shared_ptr<CameraState> &state)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_open.emplace(address, state);
}

void CameraWatch::run()
{
    std::unique_lock<std::mutex> lock(m_lock);
    while (!m_ending) {
        lock.unlock();
        try {
            look();
        } catch (const std::exception &error) {
            report(std::string("cannot look for cameras: ") + error.what());
        }
        lock.lock();
        m_changed.wait_for(lock, kPause, [&] { return m_ending; });
    }
}

void CameraWatch::look()
{
    const auto found = findCameras(addressesToAsk(), kListen);
    std::vector<Change> changes = update(found, Clock::now());
    for (const Change &change : changes)
        m_listener(change);
}

std::vector<std::string> CameraWatch::addressesToAsk()
{
    std::vector<std::string> addresses = m_settings.addresses();
    const std::lock_guard<std::mutex> lock(m_lock);
    for (const auto &[address, state] : m_open)
        addresses.push_back(address);
    return addresses;
}

std::vector<CameraWatch::Change> CameraWatch::update(const std::vector<NetIdentity> &found,
                                                     Clock::time_point now)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    std::vector<Change> changes;
    for (const NetIdentity &camera : found) {
        const auto known = m_cameras.find(camera.address);
        if (known != m_cameras.end() && known->second.camera.mac == camera.mac &&
            known->second.camera.serial == camera.serial)
            known->second.lastAnswer = now;
    }
    for (auto entry = m_cameras.begin(); entry != m_cameras.end();) {
        if (!isLost(entry->first, entry->second, now)) {
            ++entry;
            continue;
        }
        changes.push_back({entry->second.camera, false});
        entry = m_cameras.erase(entry);
    }
    for (const NetIdentity &camera : found) {
        if (m_cameras.insert({camera.address, {camera, now}}).second)
            changes.push_back({camera, true});
    }
    // What is there from the start is listed; no changes come of it.
    if (!std::exchange(m_hasLooked, true))
        changes.clear();
    m_changed.notify_all();
    return changes;
}

bool CameraWatch::isLost(const std::string &address, const Entry &entry, Clock::time_point now)
{
    auto lastSign = entry.lastAnswer;
    bool isGone = false;
    const auto [first, last] = m_open.equal_range(address);
    for (auto open = first; open != last; ++open) {
        if (const auto state = open->second.lock()) {
            lastSign = std::max(lastSign, state->lastPicture());
            isGone = isGone || state->isGone();
        }
    }
    isGone = isGone || now - lastSign > m_settings.silence();
    for (auto open = first; open != last;) {
        const auto state = open->second.lock();
        if (state && isGone)
            state->setGone();
        open = !state || isGone ? m_open.erase(open) : std::next(open);
    }
    return isGone;
}

}  // namespace nubrix
