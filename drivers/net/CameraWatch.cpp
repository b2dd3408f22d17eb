#include "net/CameraWatch.h"

#include <pthread.h>

#include <algorithm>
#include <exception>
#include <utility>

#include "net/Report.h"

namespace nubrix::net {

namespace {

// A camera that puts off each answer by up to a second is heard within the shortest silence, also
// when a packet is lost.
constexpr std::chrono::milliseconds kAskEvery{500};
constexpr std::chrono::milliseconds kSlice{100};  // within which the end is noticed
constexpr std::chrono::milliseconds kRetry{1000};
constexpr std::chrono::milliseconds kQuick{300};       // cameras that do not put it off
constexpr std::chrono::milliseconds kFirstList{1100};  // those that do
constexpr std::chrono::milliseconds kQuiet{1200};      // one that is asked by its address

/// On the watch's thread, which nothing may end.
void reportOnce(const char *cause, std::string &reported) noexcept
try {
    if (std::exchange(reported, cause) != cause)
        report("cannot look for cameras, tries again each second: " + reported);
} catch (const std::exception &) {
    // No memory for the line.
}

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
    m_changed.wait_until(lock, m_started + kQuick, [&] { return m_ending; });
    m_changed.wait_until(lock, m_started + kFirstList,
                         [&] { return m_ending || !m_cameras.empty(); });
    m_hasListed = true;
    std::vector<NetIdentity> all;
    for (const auto &[address, entry] : m_cameras)
        all.push_back(entry.camera);
    return all;
}

void CameraWatch::watch(const std::string &address, const std::shared_ptr<CameraState> &state)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_open.push_back({address, state, Clock::now()});
}

void CameraWatch::run()
{
    std::string reported;
    std::unique_lock<std::mutex> lock(m_lock);
    while (!m_ending) {
        lock.unlock();
        try {
            look();
        } catch (const std::exception &error) {
            reportOnce(error.what(), reported);
        }
        lock.lock();
        m_changed.wait_for(lock, kRetry, [&] { return m_ending; });
    }
}

void CameraWatch::look()
{
    CameraFinder finder;
    while (!isEnding()) {
        finder.ask(addressesToAsk());
        const auto next = Clock::now() + kAskEvery;
        while (Clock::now() < next && !isEnding()) {
            const Answer answer = finder.await(std::min(next, Clock::now() + kSlice));
            for (const Change &change : update(answer, Clock::now()))
                m_listener(change);
        }
    }
}

bool CameraWatch::isEnding()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_ending;
}

std::vector<std::string> CameraWatch::addressesToAsk()
{
    std::vector<std::string> addresses = m_settings.addresses();
    const std::lock_guard<std::mutex> lock(m_lock);
    for (const Opened &open : m_open)
        addresses.push_back(open.address);
    return addresses;
}

std::vector<CameraWatch::Change> CameraWatch::update(const Answer &answer, Clock::time_point now)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    if (answer)
        noteAnswer(*answer, now);
    std::vector<Change> changes = loseListed(loseOpened(now), now);
    if (answer && m_cameras.insert({answer->camera.address, {answer->camera, now}}).second)
        changes.push_back({answer->camera, true});
    m_changed.notify_all();
    // What comes before the first list is in it.
    if (!m_hasListed && now < m_started + kFirstList)
        changes.clear();
    return changes;
}

void CameraWatch::noteAnswer(const CameraFinder::Answer &answer, Clock::time_point now)
{
    const NetIdentity &camera = answer.camera;
    for (Opened &open : m_open) {
        if (open.address != camera.address && open.address != answer.sender)
            continue;
        open.lastAnswer = now;
        if (const auto state = open.state.lock())
            state->noteAnswer();
    }
    const auto known = m_cameras.find(camera.address);
    if (known != m_cameras.end() && known->second.camera.mac == camera.mac &&
        known->second.camera.serial == camera.serial)
        known->second = {camera, now};
}

/// The addresses of those that are gone. Nobody holds a camera there that is not.
std::set<std::string> CameraWatch::loseOpened(Clock::time_point now)
{
    std::set<std::string> lost;
    std::set<std::string> held;
    std::vector<Opened> kept;
    for (const Opened &open : m_open) {
        const auto state = open.state.lock();
        if (!state)
            continue;
        const auto silence = now - std::max(open.lastAnswer, state->lastPicture());
        if (silence > m_settings.silence())
            state->setGone();
        else if (silence > kQuiet)
            state->noteSilence();
        if (state->isGone()) {
            lost.insert(open.address);
            continue;
        }
        held.insert(open.address);
        kept.push_back(open);
    }
    m_open = std::move(kept);
    // Whoever has opened it again knows that it was lost.
    for (const std::string &address : held)
        lost.erase(address);
    return lost;
}

std::vector<CameraWatch::Change> CameraWatch::loseListed(std::set<std::string> lost,
                                                         Clock::time_point now)
{
    std::vector<Change> changes;
    for (auto entry = m_cameras.begin(); entry != m_cameras.end();) {
        const auto &[address, listed] = *entry;
        const bool isOpen = std::any_of(m_open.begin(), m_open.end(),
                                        [&, &at = address](auto &o) { return o.address == at; });
        const bool isSilent = !isOpen && now - listed.lastAnswer > m_settings.silence();
        if (lost.erase(address) == 0 && !isSilent) {
            ++entry;
            continue;
        }
        changes.push_back({listed.camera, false});
        entry = m_cameras.erase(entry);
    }
    for (const std::string &address : lost) {
        NetIdentity unlisted;
        unlisted.address = address;
        changes.push_back({unlisted, false});
    }
    return changes;
}

}  // namespace nubrix::net
