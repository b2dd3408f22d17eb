#include "net/GvcpProbe.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <system_error>

namespace nubrix {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint16_t kPort = 3956;
constexpr std::uint8_t kKey = 0x42;
constexpr std::uint8_t kAcknowledge = 1;
constexpr std::uint16_t kDiscovery = 0x0002;
constexpr std::uint16_t kReadRegister = 0x0080;
constexpr std::uint16_t kWriteRegister = 0x0082;
constexpr std::size_t kHeader = 8;
constexpr std::size_t kIdentity = 0xf8;  // registers 0 to 0xf7
constexpr std::uint32_t kControlRegister = 0x0a00;
constexpr std::uint32_t kHolderRegister = 0x0a14;
constexpr std::uint32_t kControl = 2;
constexpr std::uint32_t kControlBits = 3;  // with exclusive access

constexpr std::chrono::milliseconds kRegisterWait{200};

struct RegisterReply {
    bool isGranted;
    std::uint32_t value;
};

class Socket {
public:
    Socket() : m_descriptor(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        if (m_descriptor < 0)
            throw std::system_error(errno, std::generic_category(), "socket");
    }
    ~Socket() { ::close(m_descriptor); }
    Socket(const Socket &) = delete;
    Socket &operator=(const Socket &) = delete;

    int descriptor() const { return m_descriptor; }
    /// Waits for a packet until `end`; empty at the end.
    std::vector<std::uint8_t> receive(Clock::time_point end) const;

private:
    const int m_descriptor;
};

std::vector<std::uint8_t> Socket::receive(Clock::time_point end) const
{
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
        if (left <= 0)
            return {};
        pollfd waited = {m_descriptor, POLLIN, 0};
        if (::poll(&waited, 1, static_cast<int>(left)) <= 0)
            continue;
        std::vector<std::uint8_t> packet(1024);
        // Refused by a machine without a camera, among others: no packet.
        const ssize_t got = ::recv(m_descriptor, packet.data(), packet.size(), MSG_DONTWAIT);
        if (got <= 0)
            continue;
        packet.resize(static_cast<std::size_t>(got));
        return packet;
    }
}

sockaddr_in socketAddress(in_addr address)
{
    sockaddr_in to = {};
    to.sin_family = AF_INET;
    to.sin_port = htons(kPort);
    to.sin_addr = address;
    return to;
}

std::optional<sockaddr_in> socketAddress(const std::string &text)
{
    in_addr address = {};
    if (inet_pton(AF_INET, text.c_str(), &address) != 1)
        return std::nullopt;
    return socketAddress(address);
}

template <class T>
const sockaddr *plain(const T &address)
{
    return reinterpret_cast<const sockaddr *>(&address);
}

std::uint16_t shortAt(const std::vector<std::uint8_t> &packet, std::size_t place)
{
    return static_cast<std::uint16_t>(packet[place] << 8U | packet[place + 1]);
}

std::uint32_t wordAt(const std::vector<std::uint8_t> &packet, std::size_t place)
{
    return static_cast<std::uint32_t>(shortAt(packet, place)) << 16U | shortAt(packet, place + 2);
}

std::string addressText(std::uint32_t address)
{
    const in_addr network = {htonl(address)};
    std::array<char, INET_ADDRSTRLEN> text = {};
    return inet_ntop(AF_INET, &network, text.data(), text.size()) == nullptr ? "" : text.data();
}

std::string textAt(const std::vector<std::uint8_t> &packet, std::size_t place, std::size_t room)
{
    const auto *first = packet.data() + kHeader + place;
    return {first, std::find(first, first + room, 0)};
}

NetIdentity identityIn(const std::vector<std::uint8_t> &packet)
{
    std::array<char, 18> mac = {};
    const auto *byte = packet.data() + kHeader + 0x0a;
    std::snprintf(mac.data(), mac.size(), "%02x:%02x:%02x:%02x:%02x:%02x", byte[0], byte[1],
                  byte[2], byte[3], byte[4], byte[5]);
    NetIdentity camera;
    camera.address = addressText(wordAt(packet, kHeader + 0x24));
    camera.mac = mac.data();
    camera.vendor = textAt(packet, 0x48, 32);
    camera.model = textAt(packet, 0x68, 32);
    camera.version = textAt(packet, 0x88, 32);
    camera.serial = textAt(packet, 0xd8, 16);
    return camera;
}

/// Out of one interface whatever the routes are, as cameras may not have their right address yet.
void broadcast(const Socket &socket, unsigned int interface,
               const std::array<std::uint8_t, kHeader> &request)
{
    sockaddr_in to = socketAddress(in_addr{htonl(INADDR_BROADCAST)});
    auto packet = request;
    iovec part = {packet.data(), packet.size()};
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

void sendTo(const Socket &socket, const sockaddr_in &to,
            const std::array<std::uint8_t, kHeader> &request)
{
    ::sendto(socket.descriptor(), request.data(), request.size(), MSG_DONTWAIT, plain(to),
             sizeof to);
}

void sendEverywhere(const Socket &socket, const std::array<std::uint8_t, kHeader> &request)
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
            sendTo(socket, socketAddress(own.sin_addr), request);
        } else if ((each->ifa_flags & IFF_BROADCAST) != 0) {
            broadcast(socket, ::if_nametoindex(each->ifa_name), request);
        }
    }
}

/// What a camera answers to a request for some registers; it need not be ours.
std::optional<RegisterReply> ask(const Socket &socket, std::uint16_t command,
                                 const std::vector<std::uint32_t> &words)
{
    std::vector<std::uint8_t> request = {kKey, kAcknowledge};
    const auto append = [&](unsigned int value) {
        request.push_back(static_cast<std::uint8_t>(value >> 8U));
        request.push_back(static_cast<std::uint8_t>(value));
    };
    append(command);
    append(static_cast<unsigned int>(4 * words.size()));
    append(0xfffe);
    for (const std::uint32_t word : words) {
        append(word >> 16U);
        append(word);
    }
    ::send(socket.descriptor(), request.data(), request.size(), MSG_DONTWAIT);
    const auto end = Clock::now() + kRegisterWait;
    for (auto packet = socket.receive(end); !packet.empty(); packet = socket.receive(end)) {
        if (packet.size() >= kHeader && shortAt(packet, 2) == command + 1)
            return RegisterReply{shortAt(packet, 0) == 0 && packet.size() >= kHeader + 4,
                                 packet.size() >= kHeader + 4 ? wordAt(packet, kHeader) : 0};
    }
    return std::nullopt;
}

bool connectTo(const Socket &socket, const std::string &address)
{
    const auto to = socketAddress(address);
    return to && ::connect(socket.descriptor(), plain(*to), sizeof *to) == 0;
}

std::optional<RegisterReply> readRegister(const std::string &address, std::uint32_t place)
{
    const Socket socket;
    return connectTo(socket, address) ? ask(socket, kReadRegister, {place}) : std::nullopt;
}

}  // namespace

std::string addressOf(const std::string &uri)
{
    const std::string prefix = "net:";
    const bool ours =
        uri.compare(0, prefix.size(), prefix) == 0 && socketAddress(uri.substr(prefix.size()));
    return ours ? uri.substr(prefix.size()) : "";
}

std::string localAddressFor(const std::string &address)
{
    const Socket socket;
    sockaddr_in own = {};
    socklen_t size = sizeof own;
    if (!connectTo(socket, address) ||
        ::getsockname(socket.descriptor(), reinterpret_cast<sockaddr *>(&own), &size) != 0)
        return {};
    return addressText(ntohl(own.sin_addr.s_addr));
}

std::vector<NetIdentity> findCameras(const std::vector<std::string> &addresses,
                                     std::chrono::milliseconds wait)
{
    const std::array<std::uint8_t, kHeader> request = {
        kKey, kAcknowledge, kDiscovery >> 8U, kDiscovery & 0xffU, 0, 0, 0xff, 0xff};
    const Socket socket;
    const int on = 1;
    ::setsockopt(socket.descriptor(), SOL_SOCKET, SO_BROADCAST, &on, sizeof on);
    sendEverywhere(socket, request);
    for (const std::string &address : addresses) {
        if (const auto to = socketAddress(address))
            sendTo(socket, *to, request);
    }
    std::vector<NetIdentity> cameras;
    const auto end = Clock::now() + wait;
    for (;;) {
        const auto packet = socket.receive(end);
        if (packet.empty())
            return cameras;
        if (packet.size() < kHeader + kIdentity || shortAt(packet, 0) != 0 ||
            shortAt(packet, 2) != kDiscovery + 1)
            continue;
        const NetIdentity camera = identityIn(packet);
        const bool known = std::any_of(cameras.begin(), cameras.end(), [&](const auto &other) {
            return other.address == camera.address;
        });
        if (!known)
            cameras.push_back(camera);
    }
}

bool isAnswering(const std::string &address)
{
    return readRegister(address, kControlRegister) || readRegister(address, kControlRegister);
}

Hold askHold(const std::string &address)
{
    for (int attempt = 0; attempt < 3; ++attempt) {
        if (const auto control = readRegister(address, kControlRegister)) {
            const bool isFree = control->isGranted && (control->value & kControlBits) == 0;
            return isFree ? Hold::kNobody : Hold::kSomebody;
        }
    }
    return Hold::kNoAnswer;
}

bool canTakeControl(const std::string &address)
{
    const Socket socket;
    if (!connectTo(socket, address))
        return false;
    const auto taken = ask(socket, kWriteRegister, {kControlRegister, kControl});
    return taken && taken->isGranted && ask(socket, kWriteRegister, {kControlRegister, 0});
}

std::string holderOf(const std::string &address)
{
    const auto holder = readRegister(address, kHolderRegister);
    return holder && holder->isGranted && holder->value != 0 ? addressText(holder->value) : "";
}

}  // namespace nubrix
