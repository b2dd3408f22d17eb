#include "NetSettingsChecks.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "Ipv4.h"
#include "nubrix/ini.h"

namespace nubrix {

namespace {

using State = Finding::State;

constexpr const char *kName = "nubrixNet.ini";
constexpr const char *kSection = "network";

Finding inspectAddress(const Machine &machine, const std::string &text)
{
    const auto address = parseIpv4(text);
    if (!address)
        return {kName, State::kProblem, "\"" + text + "\" is no address",
                "write addresses=192.168.7.20,192.168.7.21 without blanks"};
    const std::string interface = interfaceTo(machine, *address);
    if (interface.empty()) {
        return {kName, State::kProblem, "no interface leads to " + text,
                "correct the address, or give an interface one in its network: sudo ip address "
                "add ... dev eth1"};
    }
    return {kName, State::kGood, "a camera may be at " + text + ", by " + interface};
}

Findings inspectPacketSize(const Machine &machine, const std::string &file)
{
    int size = 0;
    if (nubrixReadInt(file.c_str(), kSection, "packetSize", &size) != 0 || size <= 0)
        return {};
    int largest = 0;
    for (const std::string &name : machine.list("/sys/class/net"))
        largest =
            std::max(largest, std::atoi(machine.read("/sys/class/net/" + name + "/mtu").c_str()));
    if (size <= largest)
        return {};
    return {{kName, State::kProblem,
             "packetSize=" + std::to_string(size) + " is more than any interface takes (" +
                 std::to_string(largest) + ")",
             "leave packetSize out: the driver finds the largest that works"}};
}

}  // namespace

Findings checkNetSettings(const Machine &machine, const std::string &path)
{
    if (!machine.has(path))
        return {{kName, State::kGood, "there is none: cameras are looked for on every interface"}};
    const std::string file = machine.path(path);
    std::ifstream stream(file);
    stream.peek();
    if (!stream.is_open() || stream.bad())
        return {{kName, State::kProblem, "it cannot be read: " + path, "sudo chmod a+r " + path}};
    Findings findings;
    std::array<char, 1024> value = {};
    nubrixReadString(file.c_str(), kSection, "addresses", value.data(), value.size());
    std::istringstream addresses(value.data());
    for (std::string address; std::getline(addresses, address, ',');)
        findings.push_back(inspectAddress(machine, address));
    const Findings packets = inspectPacketSize(machine, file);
    findings.insert(findings.end(), packets.begin(), packets.end());
    if (findings.empty())
        findings.push_back({kName, State::kGood, path + ": it names no addresses of cameras"});
    return findings;
}

}  // namespace nubrix
