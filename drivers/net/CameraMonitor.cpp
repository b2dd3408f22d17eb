#include "net/CameraMonitor.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <pthread.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <memory>
#include <utility>

#include "net/NetSettings.h"

namespace nubrix::net {

namespace {

constexpr std::uint16_t kId = 0xffff;

/// Sends on one interface, whatever the routes are: cameras may have addresses of other networks.
void broadcast(const UdpSocket &socket, unsigned int interface, Packet request)
{
    sockaddr_in to = cameraAddress(in_addr{htonl(INADDR_BROADCAST)});
    iovec part = {request.data(), request.size()};
    union {
        cmsghdr header;
        char space[CMSG_SPACE(sizeof(in_pktinfo))];
    } control = {};
    msghdr message = {};
    message.msg_name = &to;
    message.msg_namelen = sizeof to;
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = &control;
    message.msg_controllen = sizeof control;
    control.header.cmsg_level = IPPROTO_IP;
    control.header.cmsg_type = IP_PKTINFO;
    control.header.cmsg_len = CMSG_LEN(sizeof(in_pktinfo));
    in_pktinfo info = {};
    info.ipi_ifindex = static_cast<int>(interface);
    std::memcpy(CMSG_DATA(&control.header), &info, sizeof info);
    ::sendmsg(socket.descriptor(), &message, MSG_DONTWAIT);
}

void sendEverywhere(const UdpSocket &socket, const Packet &request)
{
    ifaddrs *all = nullptr;
    if (::getifaddrs(&all) != 0)
        return;
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs *)> owner(all, &::freeifaddrs);
    for (const ifaddrs *each = all; each != nullptr; each = each->ifa_next) {
        if (each->ifa_addr == nullptr || each->ifa_addr->sa_family != AF_INET ||
            (each->ifa_flags & IFF_UP) == 0)
            continue;
        if ((each->ifa_flags & IFF_LOOPBACK) != 0) {
            sockaddr_in own = {};
            std::memcpy(&own, each->ifa_addr, sizeof own);
            socket.send(cameraAddress(own.sin_addr), request);
        } else if ((each->ifa_flags & IFF_BROADCAST) != 0) {
            broadcast(socket, ::if_nametoindex(each->ifa_name), request);
        }
    }
}

// Within the shortest timeout, a camera that delays each answer by up to a second is received even
// when a packet is lost.
constexpr std::chrono::milliseconds kSearchPeriod{500};
constexpr std::chrono::milliseconds kSlice{100};  // within which a stop is noticed
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

CameraFinder::CameraFinder()
{
    const int on = 1;
    ::setsockopt(m_socket.descriptor(), SOL_SOCKET, SO_BROADCAST, &on, sizeof on);
}

void CameraFinder::sendRequests(const std::vector<std::string> &addresses)
{
    const Packet request = makeRequest(kDiscovery, kId);
    sendEverywhere(m_socket, request);
    for (const std::string &address : addresses) {
        if (const auto to = cameraAddress(address))
            m_socket.send(*to, request);
    }
}

std::optional<CameraFinder::Answer> CameraFinder::awaitAnswer(UdpSocket::Clock::time_point end)
{
    for (;;) {
        const UdpSocket::Received received = m_socket.receive(end);
        if (received.packet.empty())
            return std::nullopt;
        if (auto camera = identityIn(received.packet, kId))
            return Answer{std::move(*camera), addressText(received.sender)};
    }
}

CameraMonitor::CameraMonitor(const NetSettings &settings, Listener listener)
    : m_settings(settings), m_listener(std::move(listener))
{
}

CameraMonitor::~CameraMonitor()
{
    stop();
}

void CameraMonitor::start()
{
    m_started = Clock::now();
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
    m_changed.wait_until(lock, m_started + kPromptAnswer, [&] { return m_stopping; });
    m_changed.wait_until(lock, m_started + kDelayedAnswer,
                         [&] { return m_stopping || !m_cameras.empty(); });
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
    CameraFinder finder;
    while (!isStopping()) {
        finder.sendRequests(addressesToQuery());
        const auto next = Clock::now() + kSearchPeriod;
        while (Clock::now() < next && !isStopping()) {
            const Answer answer = finder.awaitAnswer(std::min(next, Clock::now() + kSlice));
            for (const Change &change : update(answer, Clock::now()))
                m_listener(change);
        }
    }
}

bool CameraMonitor::isStopping()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_stopping;
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
    m_changed.notify_all();
    // The first list contains the cameras that have arrived before it.
    if (!m_hasListed && now < m_started + kDelayedAnswer)
        changes.clear();
    return changes;
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
