// IPv4 addresses and the networks that they lie in.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Machine.h"

namespace nubrix {

/// "192.168.5.1" as a number, most significant part first; none when the text is anything else.
std::optional<std::uint32_t> parseIpv4(const std::string &text);
std::string ipv4Text(std::uint32_t address);

/// The network that an interface is in by its address.
std::uint32_t networkOf(const Machine::Address &address);
/// The interface in whose network an address lies; empty when there is none.
std::string interfaceOf(const Machine &machine, std::uint32_t address);
/// The same, or else the interface that a route to the address goes by.
std::string interfaceTo(const Machine &machine, std::uint32_t address);

}  // namespace nubrix
