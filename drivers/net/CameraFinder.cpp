#include "net/CameraFinder.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <sys/socket.h>

#include <cstring>
#include <memory>

namespace nubrix::net {

namespace {

constexpr std::uint16_t kId = 0xffff;

/// Out of one interface whatever the routes are, as cameras may not have their right address yet.
void broadcast(const UdpSocket &socket, unsigned int interface, Packet request)
{
    sockaddr_in to = cameraAddress(in_addr{htonl(INADDR_BROADCAST)});
    iovec part = {request.data(), request.size()};
    union {
        cmsghdr header;
        char room[CMSG_SPACE(sizeof(in_pktinfo))];
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

}  // namespace

CameraFinder::CameraFinder()
{
    const int on = 1;
    ::setsockopt(m_socket.descriptor(), SOL_SOCKET, SO_BROADCAST, &on, sizeof on);
}

void CameraFinder::ask(const std::vector<std::string> &addresses)
{
    const Packet request = makeRequest(kDiscovery, kId);
    sendEverywhere(m_socket, request);
    for (const std::string &address : addresses) {
        if (const auto to = cameraAddress(address))
            m_socket.send(*to, request);
    }
}

std::optional<CameraFinder::Answer> CameraFinder::await(UdpSocket::Clock::time_point end)
{
    for (;;) {
        const UdpSocket::Received received = m_socket.receive(end);
        if (received.packet.empty())
            return std::nullopt;
        if (auto camera = identityIn(received.packet, kId))
            return Answer{std::move(*camera), addressText(received.sender)};
    }
}

}  // namespace nubrix::net
