#include "Ipv4.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <sstream>

namespace nubrix {

namespace {

std::uint32_t maskOf(unsigned int prefix)
{
    return static_cast<std::uint32_t>(~std::uint64_t{0} << (32 - std::min(prefix, 32U)));
}

}  // namespace

std::optional<std::uint32_t> parseIpv4(const std::string &text)
{
    in_addr parsed = {};
    if (inet_pton(AF_INET, text.c_str(), &parsed) != 1)
        return std::nullopt;
    return ntohl(parsed.s_addr);
}

std::string ipv4Text(std::uint32_t address)
{
    std::array<char, INET_ADDRSTRLEN> text{};
    const in_addr inNetworkOrder = {htonl(address)};
    inet_ntop(AF_INET, &inNetworkOrder, text.data(), text.size());
    return text.data();
}

std::uint32_t networkOf(const Machine::Address &address)
{
    return parseIpv4(address.text).value_or(0) & maskOf(address.prefix);
}

std::string interfaceOf(const Machine &machine, std::uint32_t address)
{
    for (const Machine::Address &own : machine.addresses) {
        if ((address & maskOf(own.prefix)) == networkOf(own))
            return own.interface;
    }
    return {};
}

std::string interfaceTo(const Machine &machine, std::uint32_t address)
{
    std::string found = interfaceOf(machine, address);
    if (!found.empty())
        return found;
    std::uint32_t longest = 0;
    std::istringstream lines(machine.read("/proc/net/route"));
    for (std::string line; std::getline(lines, line);) {
        std::array<char, 32> name{};
        unsigned int network = 0;
        unsigned int mask = 0;
        if (std::sscanf(line.c_str(), "%31s %8X %*s %*s %*s %*s %*s %8X", name.data(), &network,
                        &mask) != 3)
            continue;
        // The kernel prints them as they lie in memory: in network order.
        if ((address & ntohl(mask)) != ntohl(network) || ntohl(mask) < longest)
            continue;
        longest = ntohl(mask);
        found = name.data();
    }
    return found;
}

}  // namespace nubrix
