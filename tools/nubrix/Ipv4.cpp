#include "Ipv4.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>

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

}  // namespace nubrix
