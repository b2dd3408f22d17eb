#include "net/GvcpProbe.h"

#include <sys/socket.h>

#include <optional>

#include "net/Gvcp.h"

namespace nubrix::net {

namespace {

constexpr std::uint32_t kControlRegister = 0x0a00;
constexpr std::uint32_t kHolderRegister = 0x0a14;
constexpr std::uint32_t kControl = 2;
constexpr std::uint32_t kControlBits = 3;  // with exclusive access

constexpr std::chrono::milliseconds kRegisterWait{200};

std::optional<RegisterReply> ask(const UdpSocket &socket, std::uint16_t command,
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

std::optional<RegisterReply> readRegister(const std::string &address, std::uint32_t place)
{
    const UdpSocket socket;
    return socket.connectTo(address) ? ask(socket, kReadRegister, {place}) : std::nullopt;
}

}  // namespace

std::string addressOf(const std::string &uri)
{
    const std::string prefix = "net:";
    const bool ours =
        uri.compare(0, prefix.size(), prefix) == 0 && cameraAddress(uri.substr(prefix.size()));
    return ours ? uri.substr(prefix.size()) : "";
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

bool isAnswering(const std::string &address)
{
    return readRegister(address, kControlRegister) || readRegister(address, kControlRegister);
}

Hold askHold(const std::string &address)
{
    for (int attempt = 0; attempt < 5; ++attempt) {
        if (const auto control = readRegister(address, kControlRegister)) {
            const bool isFree = control->isGranted && (control->value & kControlBits) == 0;
            return isFree ? Hold::kNobody : Hold::kSomebody;
        }
    }
    return Hold::kNoAnswer;
}

bool canTakeControl(const std::string &address)
{
    const UdpSocket socket;
    if (!socket.connectTo(address))
        return false;
    const auto taken = ask(socket, kWriteRegister, {kControlRegister, kControl});
    return taken && taken->isGranted && ask(socket, kWriteRegister, {kControlRegister, 0});
}

std::string holderOf(const std::string &address)
{
    const auto holder = readRegister(address, kHolderRegister);
    const bool isTold = holder && holder->isGranted && holder->value != 0;
    return isTold ? addressText({htonl(holder->value)}) : "";
}

}  // namespace nubrix::net
