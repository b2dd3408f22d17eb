#include "net/CameraFinder.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <sys/socket.h>

#include <cstring>
#include <memory>
#include <utility>

namespace nubrix::net {

namespace {

constexpr std::uint16_t kId = 0xffff;

/// Sends on one interface, whatever the routes are: cameras may have addresses of other networks.
/// False when the packet cannot be sent.
bool broadcast(const UdpSocket &socket, unsigned int interface, Packet request)
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
    return socket.send(message);
}

}  // namespace

CameraFinder::CameraFinder(bool searchesInterfaces) : m_searchesInterfaces(searchesInterfaces)
{
    const int on = 1;
    ::setsockopt(m_socket.descriptor(), SOL_SOCKET, SO_BROADCAST, &on, sizeof on);
    m_socket.reportRefusals();
}

void CameraFinder::sendRequests(const std::vector<std::string> &addresses)
{
    const Packet request = makeRequest(kDiscovery, kId);
    if (m_searchesInterfaces)
        sendToInterfaces(request);
    for (const std::string &address : addresses) {
        if (const auto host = cameraAddress(address))
            sendTo(*host, request);
    }
    m_isFirst = false;
}

void CameraFinder::sendToInterfaces(const Packet &request)
{
    ifaddrs *all = nullptr;
    if (::getifaddrs(&all) != 0)
        return;
    const std::unique_ptr<ifaddrs, void (*)(ifaddrs *)> owner(all, &::freeifaddrs);
    for (const ifaddrs *each = all; each != nullptr; each = each->ifa_next) {
        if (each->ifa_addr == nullptr || each->ifa_addr->sa_family != AF_INET ||
            (each->ifa_flags & IFF_UP) == 0)
            continue;
        // An interface without a carrier reaches as little as the loopback: this machine.
        if ((each->ifa_flags & IFF_LOOPBACK) != 0 || (each->ifa_flags & IFF_RUNNING) == 0) {
            sockaddr_in own = {};
            std::memcpy(&own, each->ifa_addr, sizeof own);
            sendTo(cameraAddress(own.sin_addr), request);
        } else if ((each->ifa_flags & IFF_BROADCAST) != 0) {
            const bool isSent = broadcast(m_socket, ::if_nametoindex(each->ifa_name), request);
            m_hasBroadcast = m_hasBroadcast || (m_isFirst && isSent);
        }
    }
}

void CameraFinder::sendTo(const sockaddr_in &host, const Packet &request)
{
    if (m_socket.send(host, request) && m_isFirst)
        m_unanswered.insert(addressText(host.sin_addr));
}

std::optional<CameraFinder::Answer> CameraFinder::awaitAnswer(UdpSocket::Clock::time_point end)
{
    for (;;) {
        const UdpSocket::Received received = m_socket.receive(end);
        if (received.isRefusal) {  // answers may have arrived behind it
            m_unanswered.erase(addressText(received.sender));
            if (isAnswerPossible())
                continue;
        }
        if (received.packet.empty())
            return std::nullopt;
        if (auto camera = identityIn(received.packet, kId)) {
            Answer answer{std::move(*camera), addressText(received.sender)};
            m_unanswered.erase(answer.sender);
            return answer;
        }
    }
}

}  // namespace nubrix::net
