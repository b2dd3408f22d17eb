#include "doctor/Checks.h"

#include <arpa/inet.h>
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <sstream>
#include "doctor/Machine.h"

namespace nubrix::tool {

namespace {

using State = Finding::State;
using Address = Machine::Address;

constexpr const char *kInterfaces = "/sys/class/net/";
constexpr const char *kEthernet = "1";      // ARPHRD_ETHER
constexpr unsigned long kUp = 1;            // IFF_UP
constexpr long kFastMegabits = 1000;        // from this speed on, small packets cost much CPU time
constexpr long kLargePacket = 8000;         // bytes
constexpr long kFewBytes = 1 << 20;         // less than two depth frames of 640x480
constexpr long kEnoughBytes = 4 << 20;      // more than a depth frame of 1280x960
constexpr unsigned int kCameraPort = 3956;  // of the control protocol
constexpr long kStrict = 1;                 // value of rp_filter; 2 is loose

std::string quantity(long number, const char *unit)
{
    return std::to_string(number) + " " + unit;
}

long numberIn(const Machine &machine, const std::string &path)
{
    return std::atol(machine.read(path).c_str());
}

std::string addressesOf(const Machine &machine, const std::string &name)
{
    std::string text;
    for (const Address &address : machine.addresses) {
        if (address.interface == name)
            text +=
                (text.empty() ? "" : ", ") + address.text + "/" + std::to_string(address.prefix);
    }
    return text;
}

Finding inspectInterface(const Machine &machine, const std::string &name)
{
    const std::string folder = kInterfaces + name;
    if ((std::strtoul(machine.read(folder + "/flags").c_str(), nullptr, 16) & kUp) == 0)
        return {name, State::kNote, "it is down", "sudo ip link set " + name + " up"};
    if (machine.read(folder + "/carrier") == "0")
        return {name, State::kNote, "no device is connected to its cable",
                "connect and power the camera or the switch"};
    const std::string addresses = addressesOf(machine, name);
    if (addresses.empty()) {
        return {
            name, State::kNote, "it has no IPv4 address: cameras on it are not found",
            "assign one in the cameras' network; for cameras with a self-assigned address: sudo "
            "ip address add 169.254.1.1/16 dev " +
                name};
    }
    if (machine.has(folder + "/wireless") || machine.has(folder + "/phy80211"))
        return {name, State::kNote, addresses + "; a radio link loses packets of images",
                "use a cable"};
    // The speed is -1 or empty when it is unknown.
    const long speed = numberIn(machine, folder + "/speed");
    const long packet = numberIn(machine, folder + "/mtu");
    std::string text = addresses;
    if (speed > 0)
        text += ", " + quantity(speed, "Mbit/s");
    text += ", packets of " + quantity(packet, "bytes");
    if (speed > 0 && (speed < kFastMegabits || machine.read(folder + "/duplex") == "half"))
        return {name, State::kNote, text + ": too slow for depth of 640x480 at 30 frames/s",
                "use a cable, switch and port for 1000 Mbit/s"};
    if (speed >= kFastMegabits && packet < kLargePacket) {
        return {name, State::kNote, text + ": large streams lose frames when the machine is busy",
                "if its cameras and the switch support it: sudo ip link set " + name + " mtu 9000"};
    }
    return {name, State::kGood, text};
}

/// A UDP socket, as the kernel lists it.
struct Socket {
    std::uint32_t address;
    unsigned int port;
    std::string inode;
};

std::vector<Socket> udpSockets(const Machine &machine)
{
    std::vector<Socket> sockets;
    std::istringstream lines(machine.read("/proc/net/udp"));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string slot;
        std::string local;
        std::string ignored;
        std::string inode;
        words >> slot >> local;
        for (int i = 0; i < 7; ++i)
            words >> ignored;
        unsigned int address = 0;
        unsigned int port = 0;
        if (words >> inode && std::sscanf(local.c_str(), "%8X:%4X", &address, &port) == 2)
            sockets.push_back({ntohl(address), port, inode});
    }
    return sockets;
}

bool isOwn(const Machine &machine, std::uint32_t address)
{
    return address == 0 ||
           std::any_of(machine.addresses.begin(), machine.addresses.end(),
                       [&](const Address &own) { return own.text == ipv4Text(address); });
}

/// The program that owns a socket: "nubrix-simulate (process 17)"; empty when it is not visible.
std::string holderOf(const Machine &machine, const std::string &inode)
{
    const std::string wanted = "socket:[" + inode + "]";
    for (const std::string &process : machine.list("/proc")) {
        if (process.find_first_not_of("0123456789") != std::string::npos)
            continue;
        const std::string folder = "/proc/" + process;
        for (const std::string &descriptor : machine.list(folder + "/fd")) {
            std::error_code none;
            const std::string link = machine.path(folder + "/fd/" + descriptor);
            if (std::filesystem::read_symlink(link, none) == wanted)
                return machine.read(folder + "/comm") + " (process " + process + ")";
        }
    }
    return {};
}

}  // namespace

std::vector<std::string> cameraInterfaces(const Machine &machine)
{
    std::vector<std::string> found;
    for (const std::string &name : machine.list(kInterfaces)) {
        const bool hasAddress =
            std::any_of(machine.addresses.begin(), machine.addresses.end(),
                        [&](const Address &address) { return address.interface == name; });
        if (machine.read(kInterfaces + name + "/type") == kEthernet &&
            (hasAddress || machine.has(kInterfaces + name + "/device")))
            found.push_back(name);
    }
    return found;
}

Findings checkInterfaces(const Machine &machine)
{
    Findings findings;
    for (const std::string &name : cameraInterfaces(machine))
        findings.push_back(inspectInterface(machine, name));
    if (findings.empty())
        findings.push_back({"network", State::kNote, "there is no interface for network cameras",
                            "'ip link' lists the interfaces of the kernel"});
    return findings;
}

Findings checkNetworks(const Machine &machine)
{
    using Network = std::pair<std::uint32_t, unsigned int>;
    std::map<Network, std::vector<std::string>> members;
    for (const std::string &name : cameraInterfaces(machine)) {
        for (const Address &address : machine.addresses) {
            std::vector<std::string> &names = members[{networkOf(address), address.prefix}];
            if (address.interface == name &&
                std::find(names.begin(), names.end(), name) == names.end())
                names.push_back(name);
        }
    }
    Findings findings;
    for (const auto &[network, names] : members) {
        if (names.size() < 2)
            continue;
        const std::string text = ipv4Text(network.first) + "/" + std::to_string(network.second);
        findings.push_back(
            {"network " + text, State::kNote,
             names[0] + " and " + names[1] +
                 " are both in it: packets to cameras leave through only one of them",
             "assign a separate network to each interface"});
    }
    return findings;
}

Findings checkSocketBuffers(const Machine &machine)
{
    const long bytes = numberIn(machine, "/proc/sys/net/core/rmem_max");
    const std::string text = "a socket may buffer " + quantity(bytes / 1024, "KiB");
    const std::string cure =
        "sudo sysctl -w net.core.rmem_max=" + std::to_string(kEnoughBytes) +
        "; permanently: the line net.core.rmem_max=" + std::to_string(kEnoughBytes) +
        " in /etc/sysctl.d/90-nubrix.conf";
    if (bytes >= kEnoughBytes)
        return {{"socket buffers", State::kGood, text}};
    if (bytes >= kFewBytes)
        return {{"socket buffers", State::kNote,
                 text + ": larger frames are lost when the machine is busy", cure}};
    return {{"socket buffers", State::kNote,
             text + ": frames of network cameras are lost as soon as the machine is busy", cure}};
}

Findings checkReversePath(const Machine &machine)
{
    const std::string folder = "/proc/sys/net/ipv4/conf/";
    const long all = numberIn(machine, folder + "all/rp_filter");
    Findings findings;
    for (const std::string &name : cameraInterfaces(machine)) {
        // The kernel applies the larger of the two.
        if (std::max(all, numberIn(machine, folder + name + "/rp_filter")) != kStrict)
            continue;
        findings.push_back({name, State::kNote,
                            "it drops packets from other networks (strict reverse path filter): a "
                            "camera with such an address is not found",
                            "sudo sysctl -w net.ipv4.conf." + name + ".rp_filter=2"});
    }
    return findings;
}

Findings checkCameraPort(const Machine &machine)
{
    std::map<std::string, std::string> addresses;  // by holder
    for (const Socket &socket : udpSockets(machine)) {
        // A camera also has sockets at broadcast addresses.
        if (socket.port != kCameraPort || !isOwn(machine, socket.address))
            continue;
        std::string holder = holderOf(machine, socket.inode);
        if (holder.empty())
            holder = "a program of another user";
        std::string &text = addresses[holder];
        text += (text.empty() ? "" : ", ") + ipv4Text(socket.address);
    }
    Findings findings;
    for (const auto &[holder, text] : addresses) {
        findings.push_back({"port " + std::to_string(kCameraPort), State::kNote,
                            holder + " is a camera on this machine, at " + text,
                            "end it before you simulate cameras there"});
    }
    return findings;
}

}  // namespace nubrix::tool
