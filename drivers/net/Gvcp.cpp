#include "net/Gvcp.h"

#include <arpa/inet.h>
#include <linux/errqueue.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>
#include <system_error>

#include "common/Text.h"

namespace nubrix::net {

namespace {

constexpr std::uint16_t kPort = 3956;
constexpr std::uint8_t kKey = 0x42;
constexpr std::uint8_t kAcknowledge = 1;
constexpr std::uint16_t kPending = 0x0089;
constexpr std::size_t kHeader = 8;
constexpr std::size_t kIdentity = 0xf8;  // registers 0 to 0xf7

const sockaddr *plain(const sockaddr_in &address)
{
    return reinterpret_cast<const sockaddr *>(&address);
}

void append(Packet &packet, unsigned int value)
{
    packet.push_back(static_cast<std::uint8_t>(value >> 8U));
    packet.push_back(static_cast<std::uint8_t>(value));
}

std::uint16_t shortAt(const Packet &packet, std::size_t offset)
{
    return static_cast<std::uint16_t>(packet[offset] << 8U | packet[offset + 1]);
}

bool isAnswerTo(const Packet &packet, std::uint16_t command, std::uint16_t id)
{
    return packet.size() >= kHeader && shortAt(packet, 2) == command + 1 &&
           shortAt(packet, 6) == id;
}

/// Up to its terminating zero, if it has one.
std::string textAt(const Packet &packet, std::size_t offset, std::size_t capacity)
{
    const auto first = packet.begin() + static_cast<std::ptrdiff_t>(kHeader + offset);
    const auto end = first + static_cast<std::ptrdiff_t>(capacity);
    return cleanText(std::string(first, std::find(first, end, 0)));
}

constexpr std::uint32_t kControllerRegister = 0x0a14;
constexpr std::chrono::milliseconds kRegisterWait{200};

std::optional<RegisterReply> exchange(const UdpSocket &socket, std::uint16_t command,
                                      const std::vector<std::uint32_t> &words)
{
    const std::uint16_t id = nextRequestId();
    socket.send(makeRequest(command, id, words));
    const auto end = UdpSocket::Clock::now() + kRegisterWait;
    for (;;) {
        const Packet packet = socket.receive(end).packet;
        const auto reply = registerReplyIn(packet, command, id);
        if (reply || packet.empty())
            return reply;
    }
}

std::optional<RegisterReply> readRegister(const std::string &address, std::uint32_t number)
{
    const UdpSocket socket;
    return socket.connectTo(address) ? exchange(socket, kReadRegister, {number}) : std::nullopt;
}

}  // namespace

std::uint32_t wordAt(const Packet &packet, std::size_t offset)
{
    return static_cast<std::uint32_t>(shortAt(packet, offset)) << 16U | shortAt(packet, offset + 2);
}

std::uint16_t nextRequestId()
{
    static std::atomic<std::uint16_t> last{0};
    const std::uint16_t id = ++last;
    return id == 0 ? ++last : id;
}

Packet makeRequest(std::uint16_t command, std::uint16_t id, const std::vector<std::uint32_t> &words,
                   const Packet &bytes)
{
    Packet request = {kKey, kAcknowledge};
    append(request, command);
    append(request, static_cast<unsigned int>(4 * words.size() + bytes.size()));
    append(request, id);
    for (const std::uint32_t word : words) {
        append(request, word >> 16U);
        append(request, word);
    }
    request.insert(request.end(), bytes.begin(), bytes.end());
    return request;
}

std::optional<GvcpAnswer> answerIn(const Packet &packet, std::uint16_t command, std::uint16_t id)
{
    if (!isAnswerTo(packet, command, id))
        return std::nullopt;
    return GvcpAnswer{shortAt(packet, 0),
                      Packet(packet.begin() + std::ptrdiff_t{kHeader}, packet.end())};
}

std::optional<std::chrono::milliseconds> delayIn(const Packet &packet, std::uint16_t id)
{
    if (!isAnswerTo(packet, kPending - 1, id) || packet.size() < kHeader + 4)
        return std::nullopt;
    return std::chrono::milliseconds(shortAt(packet, kHeader + 2));
}

std::optional<NetIdentity> identityIn(const Packet &packet, std::uint16_t id)
{
    if (!isAnswerTo(packet, kDiscovery, id) || shortAt(packet, 0) != 0 ||
        packet.size() < kHeader + kIdentity)
        return std::nullopt;
    std::array<char, 18> mac = {};
    const auto *byte = packet.data() + kHeader + 0x0a;
    std::snprintf(mac.data(), mac.size(), "%02x:%02x:%02x:%02x:%02x:%02x", byte[0], byte[1],
                  byte[2], byte[3], byte[4], byte[5]);
    NetIdentity camera;
    camera.address = addressText({htonl(wordAt(packet, kHeader + 0x24))});
    camera.mac = mac.data();
    camera.vendor = textAt(packet, 0x48, 32);
    camera.model = textAt(packet, 0x68, 32);
    camera.serial = textAt(packet, 0xd8, 16);
    return camera;
}

std::optional<RegisterReply> registerReplyIn(const Packet &packet, std::uint16_t command,
                                             std::uint16_t id)
{
    const auto answer = answerIn(packet, command, id);
    if (!answer)
        return std::nullopt;
    const bool hasValue = answer->content.size() >= 4;
    return RegisterReply{hasValue && answer->status == 0, hasValue ? wordAt(packet, kHeader) : 0};
}

sockaddr_in cameraAddress(in_addr address)
{
    sockaddr_in to = {};
    to.sin_family = AF_INET;
    to.sin_port = htons(kPort);
    to.sin_addr = address;
    return to;
}

std::optional<sockaddr_in> cameraAddress(const std::string &text)
{
    in_addr address = {};
    if (inet_pton(AF_INET, text.c_str(), &address) != 1)
        return std::nullopt;
    return cameraAddress(address);
}

std::string addressText(in_addr address)
{
    std::array<char, INET_ADDRSTRLEN> text = {};
    return inet_ntop(AF_INET, &address, text.data(), text.size()) == nullptr ? "" : text.data();
}

UdpSocket::UdpSocket() : m_descriptor(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
{
    if (m_descriptor < 0)
        throw std::system_error(errno, std::generic_category(), "socket");
}

UdpSocket::~UdpSocket()
{
    ::close(m_descriptor);
}

bool UdpSocket::connectTo(const std::string &address) const
{
    const auto to = cameraAddress(address);
    return to && ::connect(m_descriptor, plain(*to), sizeof *to) == 0;
}

void UdpSocket::reportRefusals() const
{
    const int on = 1;
    ::setsockopt(m_descriptor, IPPROTO_IP, IP_RECVERR, &on, sizeof on);
}

bool UdpSocket::send(const sockaddr_in &to, const Packet &packet) const
{
    sockaddr_in host = to;
    Packet content = packet;
    iovec part = {content.data(), content.size()};
    msghdr message = {};
    message.msg_name = &host;
    message.msg_namelen = sizeof host;
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    return send(message);
}

bool UdpSocket::send(const msghdr &message) const
{
    // A call that reports the refusal of an earlier packet does not send its own.
    for (int attempt = 0; attempt < 3; ++attempt) {
        if (::sendmsg(m_descriptor, &message, MSG_DONTWAIT) >= 0)
            return true;
    }
    return false;
}

void UdpSocket::send(const Packet &packet) const
{
    ::send(m_descriptor, packet.data(), packet.size(), MSG_DONTWAIT);
}

UdpSocket::Received UdpSocket::receive(Clock::time_point end) const
{
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
        if (left <= 0)
            return {};
        pollfd readable = {m_descriptor, POLLIN, 0};
        if (::poll(&readable, 1, static_cast<int>(left)) <= 0)
            continue;
        if ((readable.revents & POLLERR) != 0) {
            if (const auto refusing = takeRefusal())
                return {{}, *refusing, true};
        }
        Packet packet(1024);
        sockaddr_in from = {};
        socklen_t size = sizeof from;
        // Fails when a machine without a camera has refused a packet, for instance.
        const ssize_t got = ::recvfrom(m_descriptor, packet.data(), packet.size(), MSG_DONTWAIT,
                                       reinterpret_cast<sockaddr *>(&from), &size);
        if (got <= 0)
            continue;
        packet.resize(static_cast<std::size_t>(got));
        return {std::move(packet), from.sin_addr};
    }
}

/// The host that has refused a packet; nothing when none has, or when that is not reported.
std::optional<in_addr> UdpSocket::takeRefusal() const
{
    sockaddr_in to = {};
    union {
        cmsghdr header;
        char space[CMSG_SPACE(sizeof(sock_extended_err) + sizeof(sockaddr_in))];
    } control = {};
    char byte = 0;  // of the refused packet: not every system reports into no space at all
    iovec part = {&byte, sizeof byte};
    msghdr message = {};
    message.msg_name = &to;
    message.msg_namelen = sizeof to;
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = &control;
    message.msg_controllen = sizeof control;
    if (::recvmsg(m_descriptor, &message, MSG_ERRQUEUE | MSG_DONTWAIT) < 0 ||
        control.header.cmsg_level != IPPROTO_IP || control.header.cmsg_type != IP_RECVERR)
        return std::nullopt;
    sock_extended_err error = {};
    std::memcpy(&error, CMSG_DATA(&control.header), sizeof error);
    const bool isByHost = error.ee_origin == SO_EE_ORIGIN_ICMP && error.ee_errno == ECONNREFUSED;
    return isByHost ? std::optional(to.sin_addr) : std::nullopt;
}

std::string addressInUri(const std::string &uri)
{
    const std::string prefix = "net:";
    const bool isOwn =
        uri.compare(0, prefix.size(), prefix) == 0 && cameraAddress(uri.substr(prefix.size()));
    return isOwn ? uri.substr(prefix.size()) : "";
}

std::string localAddressFor(const std::string &address)
{
    const UdpSocket socket;
    sockaddr_in own = {};
    socklen_t size = sizeof own;
    if (!socket.connectTo(address) ||
        ::getsockname(socket.descriptor(), reinterpret_cast<sockaddr *>(&own), &size) != 0)
        return {};
    return addressText(own.sin_addr);
}

ControlState readControlState(const std::string &address)
{
    for (int attempt = 0; attempt < 5; ++attempt) {
        if (const auto control = readRegister(address, kControlRegister)) {
            const bool isFree = control->isGranted && (control->value & kControlBits) == 0;
            return isFree ? ControlState::kFree : ControlState::kHeld;
        }
    }
    return ControlState::kNoAnswer;
}

bool canTakeControl(const std::string &address)
{
    const UdpSocket socket;
    if (!socket.connectTo(address))
        return false;
    const auto taken = exchange(socket, kWriteRegister, {kControlRegister, kControl});
    return taken && taken->isGranted && exchange(socket, kWriteRegister, {kControlRegister, 0});
}

std::string controllerOf(const std::string &address)
{
    const auto controller = readRegister(address, kControllerRegister);
    const bool isReported = controller && controller->isGranted && controller->value != 0;
    return isReported ? addressText({htonl(controller->value)}) : "";
}

}  // namespace nubrix::net
