// The protocol by which cameras are found and controlled: packets, sockets, and questions to a
// camera that is not open.
#pragma once

#include <netinet/in.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace nubrix::net {

constexpr std::uint16_t kDiscovery = 0x0002;  // commands; an answer has the next number
constexpr std::uint16_t kReadRegister = 0x0080;
constexpr std::uint16_t kWriteRegister = 0x0082;
constexpr std::uint16_t kReadMemory = 0x0084;
constexpr std::uint16_t kWriteMemory = 0x0086;

constexpr std::uint32_t kControlRegister = 0x0a00;
constexpr std::uint32_t kControl = 2;      // value that takes the control
constexpr std::uint32_t kControlBits = 3;  // set while somebody has it, exclusively or not

using Packet = std::vector<std::uint8_t>;

/// What a camera says of itself when it is looked for. Its texts are printable, whatever it sent.
struct NetIdentity {
    std::string address;  ///< IPv4
    std::string mac;      ///< "00:11:22:33:44:55"
    std::string vendor;
    std::string model;
    std::string serial;

    std::string uri() const { return "net:" + address; }
};

struct RegisterReply {
    bool isGranted;
    std::uint32_t value;
};

/// What a camera answers to a command.
struct GvcpAnswer {
    std::uint16_t status;  ///< 0: done
    Packet content;        ///< what follows the header
};

/// The number at a place of a packet, which it must have. Thread-safe.
std::uint32_t wordAt(const Packet &packet, std::size_t place);
/// The next id of a request, of the whole process. Thread-safe.
std::uint16_t nextRequestId();
/// A request that is to be answered; `id` is the answer's, too, and not 0. Thread-safe.
Packet makeRequest(std::uint16_t command, std::uint16_t id,
                   const std::vector<std::uint32_t> &words = {}, const Packet &bytes = {});
/// The answer to a command of this id, or nothing for any other packet. Thread-safe.
std::optional<GvcpAnswer> answerIn(const Packet &packet, std::uint16_t command, std::uint16_t id);
/// How much more time a camera asks for to answer the command of this id, or nothing for any other
/// packet. Thread-safe.
std::optional<std::chrono::milliseconds> delayIn(const Packet &packet, std::uint16_t id);
/// The answer to a discovery of this id, or nothing for any other packet. Thread-safe.
std::optional<NetIdentity> identityIn(const Packet &packet, std::uint16_t id);
/// The answer to a request for a register of this id, or nothing for any other packet. A refusal is
/// an answer. Thread-safe.
std::optional<RegisterReply> registerReplyIn(const Packet &packet, std::uint16_t command,
                                             std::uint16_t id);

/// Where a camera listens; nothing when the text is no IPv4 address. Thread-safe.
std::optional<sockaddr_in> cameraAddress(const std::string &text);
sockaddr_in cameraAddress(in_addr address);
/// Thread-safe.
std::string addressText(in_addr address);

/// Not thread-safe.
class UdpSocket {
public:
    using Clock = std::chrono::steady_clock;

    struct Received {
        Packet packet;  ///< empty: none
        in_addr sender;
    };

    /// Throws std::system_error when there is no descriptor left.
    UdpSocket();
    ~UdpSocket();
    UdpSocket(const UdpSocket &) = delete;
    UdpSocket &operator=(const UdpSocket &) = delete;

    int descriptor() const { return m_descriptor; }
    /// Sends and receives by one camera only from now on. False when there is no way to it.
    bool connectTo(const std::string &address) const;
    /// Does not wait. What cannot be sent is lost, as on the network.
    void send(const sockaddr_in &to, const Packet &packet) const;
    /// To the camera that it is connected to.
    void send(const Packet &packet) const;
    /// Waits for a packet until `end`.
    Received receive(Clock::time_point end) const;

private:
    const int m_descriptor;
};

/// The camera at the other end of a URI; an empty text for none of ours. Thread-safe.
std::string addressOf(const std::string &uri);

/// The address of this machine from which packets to `address` go; an empty text if there is no
/// way. Thread-safe.
std::string localAddressFor(const std::string &address);

/// Asks a camera; at most 400 ms. Thread-safe.
bool isAnswering(const std::string &address);

/// Who holds a camera.
enum class Hold {
    kNobody,
    kSomebody,
    kNoAnswer,
};

/// Asks a camera; at most a second. Thread-safe.
Hold askHold(const std::string &address);

/// Takes the control of a camera and lets it go: whether it can be had now. It is to be asked for,
/// not looked at: a camera may take every look for the heartbeat of a holder who is dead. At most
/// 400 ms. Thread-safe.
bool canTakeControl(const std::string &address);

/// The address of the holder if the camera tells it, else an empty text. Thread-safe.
std::string holderOf(const std::string &address);

}  // namespace nubrix::net
