// The machine that 'nubrix doctor' looks at.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace nubrix::tool {

/// Tests describe one of their own.
struct Machine {
    enum class Access {
        kGranted,
        kAfterLogin,  ///< the user is in the group, but was not yet when he logged in
        kDenied,
        kClosed,  ///< group video may not either: udev has not given it the file
    };

    /// An IPv4 address that an interface has.
    struct Address {
        std::string interface;
        std::string text;     // "192.168.5.1"
        unsigned int prefix;  // bits of the network: 24
    };

    std::string root;           // stands before each path; empty for the real one
    std::string kernelRelease;  // "6.1.0-18-amd64"
    std::string user;
    std::function<Access(const std::string &path)> access;  // to read and write
    std::vector<Address> addresses;
    /// What a command of the system prints; none when it fails or is not there.
    std::function<std::optional<std::string>(const std::string &command)> ask;

    static Machine real();

    std::string path(const std::string &absolute) const { return root + absolute; }
    bool has(const std::string &absolute) const;
    /// The names in a folder, sorted; none when there is no such folder.
    std::vector<std::string> list(const std::string &absolute) const;
    /// The whole file without blanks and line ends around it; empty when it cannot be read.
    std::string read(const std::string &absolute) const;
};

/// "192.168.5.1" as a number, most significant part first; none when the text is anything else.
std::optional<std::uint32_t> parseIpv4(const std::string &text);
std::string ipv4Text(std::uint32_t address);

/// The network that an interface is in by its address.
std::uint32_t networkOf(const Machine::Address &address);
/// The interface in whose network an address lies; empty when there is none.
std::string interfaceOf(const Machine &machine, std::uint32_t address);
/// The same, or else the interface that a route to the address goes by.
std::string interfaceTo(const Machine &machine, std::uint32_t address);

}  // namespace nubrix::tool
