#include "doctor/Checks.h"

#include <strings.h>
#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <vector>
#include "doctor/Machine.h"
#include "nubrix/ini.h"

namespace nubrix::tool {

namespace {

using State = Finding::State;

constexpr const char *kNetSettings = "nubrixNet.ini";
constexpr const char *kSection = "network";
constexpr unsigned int kMaxValueBytes = 16384;

Finding inspectAddress(const Machine &machine, const std::string &text)
{
    const auto address = parseIpv4(text);
    const std::uint32_t network = address.value_or(0) >> 24U;
    if (network == 0 || network >= 224)  // a multicast or broadcast address
        return {kNetSettings, State::kProblem, "\"" + text + "\" is no address of a camera",
                "write addresses=192.168.7.20,192.168.7.21 without spaces"};
    const std::string interface = interfaceTo(machine, *address);
    if (interface.empty()) {
        return {
            kNetSettings, State::kProblem, "no interface has a route to " + text,
            "correct the address, or assign one in its network to an interface: sudo ip address "
            "add ... dev eth1"};
    }
    return {kNetSettings, State::kGood,
            "a camera at " + text + " can be reached through " + interface};
}

std::string textOf(const std::string &file, const char *key)
{
    std::vector<char> value(kMaxValueBytes);
    if (nubrixReadString(file.c_str(), kSection, key, value.data(), kMaxValueBytes) != 0)
        return {};
    const std::string text = value.data();
    return text.substr(0, text.find_last_not_of(" \t\r") + 1);
}

/// An entry that the driver ignores because its value is invalid.
Finding rejectEntry(const std::string &key, const std::string &text, const std::string &expected)
{
    return {kNetSettings, State::kProblem,
            key + "=" + text + " is not " + expected + ": the driver ignores it",
            "correct it, or remove the line"};
}

Findings inspectNumbers(const std::string &file)
{
    // The limits of the driver. A packet size of 0 is also valid.
    struct Number {
        const char *key;
        int minimum;
        int maximum;
    };
    constexpr Number kNumbers[] = {
        {"packetSize", 576, 16384}, {"silenceMs", 1000, 60000}, {"patienceMs", 0, 60000}};
    Findings findings;
    for (const Number &number : kNumbers) {
        const std::string text = textOf(file, number.key);
        int value = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        const bool isNumber = error == std::errc() && end == text.data() + text.size();
        const bool isNegotiated = value == 0 && number.key == std::string("packetSize");
        if (text.empty() ||
            (isNumber && (isNegotiated || (value >= number.minimum && value <= number.maximum))))
            continue;
        findings.push_back(rejectEntry(number.key, text,
                                       "a number from " + std::to_string(number.minimum) + " to " +
                                           std::to_string(number.maximum)));
    }
    return findings;
}

bool isTrue(const std::string &text)
{
    return strcasecmp(text.c_str(), "true") == 0 || text == "1";
}

bool isFalse(const std::string &text)
{
    return strcasecmp(text.c_str(), "false") == 0 || text == "0";
}

Findings inspectDiscovery(const std::string &file)
{
    const std::string text = textOf(file, "Discovery");
    if (!isFalse(text))
        return {};
    return {{kNetSettings, State::kNote,
             "Discovery=" + text + ": network cameras are found at the entry addresses alone",
             "to search every interface for cameras, remove the line"}};
}

Findings inspectFlags(const std::string &file)
{
    Findings findings;
    for (const char *key : {"Discovery", "packetSocket", "incomplete"}) {
        const std::string text = textOf(file, key);
        if (!text.empty() && !isTrue(text) && !isFalse(text))
            findings.push_back(rejectEntry(key, text, "true or false"));
    }
    return findings;
}

Findings inspectPacketSize(const Machine &machine, const std::string &file)
{
    const int size = std::atoi(textOf(file, "packetSize").c_str());
    int largest = 0;
    for (const std::string &name : cameraInterfaces(machine))
        largest =
            std::max(largest, std::atoi(machine.read("/sys/class/net/" + name + "/mtu").c_str()));
    if (size <= largest || largest == 0)
        return {};
    return {{kNetSettings, State::kProblem,
             "packetSize=" + std::to_string(size) +
                 " is larger than the packets of any interface (" + std::to_string(largest) + ")",
             "remove packetSize: the driver finds the largest size that works"}};
}

}  // namespace

Findings checkNetSettings(const Machine &machine, const std::string &path)
{
    if (!machine.has(path))
        return {{kNetSettings, State::kGood,
                 "there is none: the driver searches every interface for cameras"}};
    const std::string file = machine.path(path);
    std::ifstream stream(file);
    stream.peek();
    if (!stream.is_open() || stream.bad())
        return {{kNetSettings, State::kProblem, "it cannot be read: " + path,
                 "sudo chmod a+r " + path}};
    Findings findings;
    std::istringstream addresses(textOf(file, "addresses"));
    for (std::string address; std::getline(addresses, address, ',');)
        findings.push_back(inspectAddress(machine, address));
    for (const Findings &more : {inspectDiscovery(file), inspectNumbers(file), inspectFlags(file),
                                 inspectPacketSize(machine, file)})
        findings.insert(findings.end(), more.begin(), more.end());
    if (findings.empty())
        findings.push_back(
            {kNetSettings, State::kGood, path + ": it contains no camera addresses"});
    return findings;
}

}  // namespace nubrix::tool
