#include "UsbipPort.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <string>
#include <thread>

namespace nubrix::vm {

namespace {

constexpr const char *kAttach = "/sys/devices/platform/vhci_hcd.0/attach";
constexpr unsigned int kHighSpeed = 3;
constexpr std::uint32_t kSubmit = 1;
constexpr std::uint32_t kUnlink = 2;
constexpr std::uint32_t kSubmitDone = 3;
constexpr std::uint32_t kUnlinkDone = 4;
constexpr std::uint32_t kMostBytes = 1 << 20;
constexpr std::uint32_t kMostPackets = 1024;

// Each message starts with twelve words, of which a request has eight bytes of setup at the end.
using Header = std::array<std::uint32_t, 12>;

// The errno of the attempt, or 0.
int attach(unsigned int port, int socket, unsigned int deviceId)
{
    const int file = open(kAttach, O_WRONLY | O_CLOEXEC);
    if (file < 0) {
        return errno;
    }
    const std::string line = std::to_string(port) + ' ' + std::to_string(socket) + ' ' +
                             std::to_string(deviceId) + ' ' + std::to_string(kHighSpeed);
    const ssize_t written = write(file, line.data(), line.size());
    const int failure = written < 0 ? errno : 0;
    close(file);
    return failure;
}

}  // namespace

UsbipPort::UsbipPort(unsigned int port, unsigned int deviceId)
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        throw std::runtime_error(std::string("socketpair: ") + std::strerror(errno));
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    int failure = 0;
    while ((failure = attach(port, ends[1], deviceId)) == EBUSY &&
           std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    close(ends[1]);
    if (failure != 0) {
        close(ends[0]);
        throw std::runtime_error(std::string(kAttach) + ": " + std::strerror(failure));
    }
    m_socket = ends[0];
}

UsbipPort::~UsbipPort()
{
    close(m_socket);
}

std::optional<HostMessage> UsbipPort::receive()
{
    Header header;
    if (!readAll(header.data(), sizeof(header))) {
        return std::nullopt;
    }
    HostMessage message;
    message.sequence = ntohl(header[1]);
    if (ntohl(header[0]) == kUnlink) {
        message.takenBack = ntohl(header[5]);
        return message;
    }
    if (ntohl(header[0]) != kSubmit || !readTransfer(header, message.transfer.emplace())) {
        return std::nullopt;
    }
    return message;
}

bool UsbipPort::readTransfer(const Header &header, Transfer &transfer)
{
    transfer.sequence = ntohl(header[1]);
    transfer.in = ntohl(header[3]) != 0;
    transfer.endpoint = ntohl(header[4]);
    transfer.length = ntohl(header[6]);
    std::memcpy(transfer.setup.data(), &header[10], transfer.setup.size());
    if (transfer.length > kMostBytes) {
        return false;
    }
    if (!transfer.in && transfer.length > 0) {
        transfer.data.resize(transfer.length);
        if (!readAll(transfer.data.data(), transfer.data.size())) {
            return false;
        }
    }
    // All bits set mean that it is not isochronous.
    const std::uint32_t packets = ntohl(header[8]);
    if (packets == 0 || packets > kMostPackets) {
        return true;
    }
    std::vector<std::array<std::uint32_t, 4>> descriptions(packets);
    if (!readAll(descriptions.data(), packets * sizeof(descriptions[0]))) {
        return false;
    }
    for (const auto &description : descriptions) {
        transfer.packets.push_back({ntohl(description[0]), ntohl(description[1]), 0});
    }
    return true;
}

void UsbipPort::complete(const Transfer &transfer, int status, const Bytes &data)
{
    const auto size = static_cast<std::uint32_t>(transfer.in ? data.size() : transfer.length);
    Header header = {};
    header[0] = htonl(kSubmitDone);
    header[1] = htonl(transfer.sequence);
    header[5] = htonl(static_cast<std::uint32_t>(status));
    header[6] = htonl(status == 0 ? size : 0);
    header[8] = htonl(static_cast<std::uint32_t>(transfer.packets.size()));
    Bytes message(sizeof(header));
    std::memcpy(message.data(), header.data(), sizeof(header));
    if (transfer.in && status == 0) {
        message.insert(message.end(), data.begin(), data.end());
    }
    for (const IsochronousPacket &packet : transfer.packets) {
        const std::uint32_t words[4] = {htonl(packet.offset), htonl(packet.length),
                                        htonl(packet.actualLength), 0};
        const auto *bytes = reinterpret_cast<const std::uint8_t *>(words);
        message.insert(message.end(), bytes, bytes + sizeof(words));
    }
    writeAll(message.data(), message.size());
}

void UsbipPort::confirmTakenBack(std::uint32_t sequence, bool wasThere)
{
    Header header = {};
    header[0] = htonl(kUnlinkDone);
    header[1] = htonl(sequence);
    header[5] = htonl(static_cast<std::uint32_t>(wasThere ? -ECONNRESET : 0));
    writeAll(header.data(), sizeof(header));
}

bool UsbipPort::readAll(void *bytes, std::size_t size)
{
    auto *to = static_cast<char *>(bytes);
    while (size > 0) {
        const ssize_t got = recv(m_socket, to, size, 0);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return false;
        }
        to += got;
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

// A host that has released the device is noticed by the next receive().
void UsbipPort::writeAll(const void *bytes, std::size_t size)
{
    const auto *from = static_cast<const char *>(bytes);
    while (size > 0) {
        const ssize_t sent = send(m_socket, from, size, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        if (sent <= 0) {
            return;
        }
        from += sent;
        size -= static_cast<std::size_t>(sent);
    }
}

}  // namespace nubrix::vm
