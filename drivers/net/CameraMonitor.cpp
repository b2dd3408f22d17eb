#include "net/CameraMonitor.h"

#include <pthread.h>

#include <algorithm>
#include <exception>
#include <utility>

#include "net/NetSettings.h"

namespace nubrix::net {

namespace {

// Within the shortest timeout, a camera that delays each answer by up to a second is received even
// when a packet is lost.
constexpr std::chrono::milliseconds kSearchPeriod{500};
constexpr std::chrono::milliseconds kSlice{100};      // within which a stop is noticed
constexpr std::chrono::milliseconds kShortSlice{10};  // while a first list is awaited
constexpr std::chrono::milliseconds kRetry{1000};
constexpr std::chrono::milliseconds kPromptAnswer{300};    // of cameras that do not delay it
constexpr std::chrono::milliseconds kDelayedAnswer{1100};  // of cameras that do
constexpr std::chrono::milliseconds kDirectAnswer{1200};   // to a request to the camera's address

/// Lets no exception end the monitor's thread.
void reportOnce(const char *cause, std::string &reported) noexcept
try {
    if (std::exchange(reported, cause) != cause)
        kReporter.error("cannot search for cameras, tries again each second: " + reported);
} catch (const std::exception &) {
    // No memory for the line.
}

}  // namespace

CameraMonitor::CameraMonitor(const NetSettings &settings, Listener listener)
    : m_settings(settings), m_listener(std::move(listener))
{
    beginSearch();
}

CameraMonitor::~CameraMonitor()
{
    stop();
}

void CameraMonitor::beginSearch()
{
    m_finder.reset();
    m_nextRequests = m_began = Clock::now();
    bool isComplete = false;
    try {
        sendIfDue();
        isComplete = !m_finder->isAnswerPossible();
    } catch (const std::exception &) {
        // The thread tries again, and reports it.
    }
    const std::lock_guard<std::mutex> lock(m_lock);
    m_isComplete = isComplete;
    m_hasListed = false;
}

void CameraMonitor::start()
{
    m_thread = std::thread(&CameraMonitor::run, this);
    pthread_setname_np(m_thread.native_handle(), "nubrix-net-look");
}

void CameraMonitor::stop()
{
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_stopping = true;
    }
    m_changed.notify_all();
    if (m_thread.joinable())
        m_thread.join();
}

std::vector<NetIdentity> CameraMonitor::cameras()
{
    std::unique_lock<std::mutex> lock(m_lock);
    // The thread needs no longer, unless it is flooded with answers.
    m_changed.wait_for(lock, kDelayedAnswer + kSlice, [&] { return m_stopping || m_isComplete; });
    m_hasListed = true;
    std::vector<NetIdentity> all;
    for (const auto &[address, entry] : m_cameras)
        all.push_back(entry.camera);
    return all;
}

void CameraMonitor::track(const std::string &address, const std::shared_ptr<CameraState> &state)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_open.push_back({address, state, Clock::now()});
    m_changed.notify_all();
}

void CameraMonitor::run()
{
    std::string reported;
    std::unique_lock<std::mutex> lock(m_lock);
    while (!m_stopping) {
        lock.unlock();
        try {
            search();
        } catch (const std::exception &error) {
            reportOnce(error.what(), reported);
        }
        lock.lock();
        m_changed.wait_for(lock, kRetry, [&] { return m_stopping; });
    }
}

void CameraMonitor::search()
{
    while (awaitWork()) {
        sendIfDue();
        const Answer answer = m_finder->awaitAnswer(Clock::now() + slice());
        for (const Change &change : update(answer, Clock::now()))
            m_listener(change);
    }
}

void CameraMonitor::sendIfDue()
{
    const auto now = Clock::now();
    if (now < m_nextRequests)
        return;
    if (!m_finder)
        m_finder.emplace(m_settings.searchesInterfaces());
    m_finder->sendRequests(addressesToQuery());
    m_nextRequests = now + kSearchPeriod;
}

/// Sleeps while there is nobody to query and nobody to expire. False when the monitor stops.
bool CameraMonitor::awaitWork()
{
    const bool isSearching = m_settings.searchesInterfaces() || !m_settings.addresses().empty();
    std::unique_lock<std::mutex> lock(m_lock);
    m_changed.wait(
        lock, [&] { return m_stopping || isSearching || !m_open.empty() || !m_cameras.empty(); });
    return !m_stopping;
}

std::chrono::milliseconds CameraMonitor::slice()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_isComplete ? kSlice : kShortSlice;
}

std::vector<std::string> CameraMonitor::addressesToQuery()
{
    std::vector<std::string> addresses = m_settings.addresses();
    const std::lock_guard<std::mutex> lock(m_lock);
    for (const Opened &open : m_open)
        addresses.push_back(open.address);
    return addresses;
}

std::vector<CameraMonitor::Change> CameraMonitor::update(const Answer &answer,
                                                         Clock::time_point now)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    if (answer)
        noteAnswer(*answer, now);
    std::vector<Change> changes = expireListed(expireOpened(now), now);
    if (answer && m_cameras.insert({answer->camera.address, {answer->camera, now}}).second)
        changes.push_back({answer->camera, true});
    m_isComplete = m_isComplete || isFirstListComplete(answer, now);
    m_changed.notify_all();
    // The first list contains the cameras that have arrived before it.
    if (!m_hasListed && now < m_began + kDelayedAnswer)
        changes.clear();
    return changes;
}

bool CameraMonitor::isFirstListComplete(const Answer &answer, Clock::time_point now) const
{
    if (!m_finder->isAnswerPossible())
        return true;
    // After a slow start of the thread, answers that have arrived long ago are received first.
    return !answer && now >= m_began + (m_cameras.empty() ? kDelayedAnswer : kPromptAnswer);
}

void CameraMonitor::noteAnswer(const CameraFinder::Answer &answer, Clock::time_point now)
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

/// Returns the addresses of cameras that are gone. None of them has been opened again.
std::set<std::string> CameraMonitor::expireOpened(Clock::time_point now)
{
    std::set<std::string> lost;
    std::set<std::string> held;
    std::vector<Opened> kept;
    for (const Opened &open : m_open) {
        const auto state = open.state.lock();
        if (!state)
            continue;
        const auto idle = now - std::max(open.lastAnswer, state->lastFrame());
        if (idle > m_settings.responseTimeout())
            state->setGone();
        else if (idle > kDirectAnswer)
            state->noteNoAnswer();
        if (state->isGone()) {
            lost.insert(open.address);
            continue;
        }
        held.insert(open.address);
        kept.push_back(open);
    }
    m_open = std::move(kept);
    // An application that has opened a camera again knows that it was gone.
    for (const std::string &address : held)
        lost.erase(address);
    return lost;
}

std::vector<CameraMonitor::Change> CameraMonitor::expireListed(std::set<std::string> lost,
                                                               Clock::time_point now)
{
    std::vector<Change> changes;
    for (auto entry = m_cameras.begin(); entry != m_cameras.end();) {
        const auto &[address, listed] = *entry;
        const bool isOpen = std::any_of(m_open.begin(), m_open.end(),
                                        [&, &at = address](auto &o) { return o.address == at; });
        const bool hasExpired = !isOpen && now - listed.lastAnswer > m_settings.responseTimeout();
        if (lost.erase(address) == 0 && !hasExpired) {
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
