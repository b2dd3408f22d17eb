// The protocol by which cameras are found and controlled: packets, sockets, and requests to a
// camera that is not open.
#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace nubrix::net {

constexpr std::uint16_t kDiscovery = 0x0002;  // commands; an answer has the command plus 1
constexpr std::uint16_t kReadRegister = 0x0080;
constexpr std::uint16_t kWriteRegister = 0x0082;
constexpr std::uint16_t kReadMemory = 0x0084;
constexpr std::uint16_t kWriteMemory = 0x0086;

constexpr std::uint32_t kControlRegister = 0x0a00;
constexpr std::uint32_t kControl = 2;      // value that takes the control
constexpr std::uint32_t kControlBits = 3;  // set while an application has it, exclusively or not

using Packet = std::vector<std::uint8_t>;

/// A camera's answer to a discovery request. Its texts are printable, whatever the camera sent.
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

/// The answer of a camera to a command.
struct GvcpAnswer {
    std::uint16_t status;  ///< 0: done
    Packet content;        ///< what follows the header
};

/// The 32-bit number at an offset, which must lie within the packet. Thread-safe.
std::uint32_t wordAt(const Packet &packet, std::size_t offset);
/// The next id of a request, unique within the process. Thread-safe.
std::uint16_t nextRequestId();
/// A request that the camera answers with the same id, which is not 0. Thread-safe.
Packet makeRequest(std::uint16_t command, std::uint16_t id,
                   const std::vector<std::uint32_t> &words = {}, const Packet &bytes = {});
/// The answer to a command of this id, or nothing for any other packet. Thread-safe.
std::optional<GvcpAnswer> answerIn(const Packet &packet, std::uint16_t command, std::uint16_t id);
/// The additional time that a camera requests to answer the command of this id, or nothing for any
/// other packet. Thread-safe.
std::optional<std::chrono::milliseconds> delayIn(const Packet &packet, std::uint16_t id);
/// The answer to a discovery of this id, or nothing for any other packet. Thread-safe.
std::optional<NetIdentity> identityIn(const Packet &packet, std::uint16_t id);
/// The answer to a register request of this id, or nothing for any other packet. A refusal is an
/// answer, too. Thread-safe.
std::optional<RegisterReply> registerReplyIn(const Packet &packet, std::uint16_t command,
                                             std::uint16_t id);

/// The socket address at which a camera listens; nothing when the text is no IPv4 address.
/// Thread-safe.
std::optional<sockaddr_in> cameraAddress(const std::string &text);
sockaddr_in cameraAddress(in_addr address);
/// The text of an IPv4 address. Thread-safe.
std::string addressText(in_addr address);

/// A UDP socket of IPv4. Not thread-safe.
class UdpSocket {
public:
    using Clock = std::chrono::steady_clock;

    struct Received {
        Packet packet;  ///< empty: none
        in_addr sender;
        bool isRefusal = false;  ///< no packet: the host `sender` cannot receive any
    };

    /// Throws std::system_error when there is no descriptor left.
    UdpSocket();
    ~UdpSocket();
    UdpSocket(const UdpSocket &) = delete;
    UdpSocket &operator=(const UdpSocket &) = delete;

    int descriptor() const { return m_descriptor; }
    /// From now on, sends to and receives from one camera only. False when there is no route to it.
    bool connectTo(const std::string &address) const;
    /// From now on, receive() also returns when a host refuses a packet.
    void reportRefusals() const;
    /// Does not wait. A packet that cannot be sent (false) is lost, as on the network.
    bool send(const sockaddr_in &to, const Packet &packet) const;
    bool send(const msghdr &message) const;
    /// Sends to the connected camera.
    void send(const Packet &packet) const;
    /// Waits for a packet until `end`.
    Received receive(Clock::time_point end) const;

private:
    std::optional<in_addr> takeRefusal() const;

    const int m_descriptor;
};

/// The camera's address in a URI "net:address"; an empty text for any other URI. Thread-safe.
std::string addressInUri(const std::string &uri);

/// The address of this machine from which it sends packets to `address`; an empty text if there is
/// no route. Thread-safe.
std::string localAddressFor(const std::string &address);

/// Whether some application has the control of a camera.
enum class ControlState {
    kFree,
    kHeld,
    kNoAnswer,
};

/// Reads the state from a camera; takes at most a second. Thread-safe.
ControlState readControlState(const std::string &address);

/// Takes the control of a camera and releases it, to find out whether it is available. Reading the
/// state repeatedly would not do: a camera may take each access for the heartbeat of a controller
/// that has died. Takes at most 400 ms. Thread-safe.
bool canTakeControl(const std::string &address);

/// The address of the application that has the control, or an empty text if the camera does not
/// report it. Thread-safe.
std::string controllerOf(const std::string &address);

}  // namespace nubrix::net
