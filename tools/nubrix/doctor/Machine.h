// The machine that 'nubrix doctor' examines: its files, commands and network addresses.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace nubrix::tool {

/// The sources of information, which a test replaces.
struct Machine {
    enum class Access {
        kGranted,
        kAfterLogin,  ///< the user has become a member of the group since the login
        kDenied,
        kClosed,  ///< group video has no access either: udev has not assigned the file to it
    };

    /// An IPv4 address of an interface.
    struct Address {
        std::string interface;
        std::string text;     // "192.168.5.1"
        unsigned int prefix;  // length of the network prefix: 24
    };

    std::string root;           // prefix of each path; empty for the real machine
    std::string kernelRelease;  // "6.1.0-18-amd64"
    std::string user;
    std::function<Access(const std::string &path)> access;  // to read and write
    std::vector<Address> addresses;
    /// The output of a system command; none when it fails or does not exist.
    std::function<std::optional<std::string>(const std::string &command)> run;

    static Machine real();

    std::string path(const std::string &absolute) const { return root + absolute; }
    bool has(const std::string &absolute) const;
    /// The names in a folder, sorted; empty when it does not exist.
    std::vector<std::string> list(const std::string &absolute) const;
    /// The content of a file without leading and trailing white space; empty when it cannot be
    /// read.
    std::string read(const std::string &absolute) const;
};

/// Parses "192.168.5.1" to a number, most significant byte first; none for any other text.
std::optional<std::uint32_t> parseIpv4(const std::string &text);
std::string ipv4Text(std::uint32_t address);

/// The network of an interface address.
std::uint32_t networkOf(const Machine::Address &address);
/// The interface whose network contains an address; empty when there is none.
std::string interfaceOf(const Machine &machine, std::uint32_t address);
/// The same, otherwise the interface of the best route to the address.
std::string interfaceTo(const Machine &machine, std::uint32_t address);

}  // namespace nubrix::tool
