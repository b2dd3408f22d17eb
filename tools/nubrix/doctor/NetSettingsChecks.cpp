#include "doctor/Checks.h"

#include <strings.h>
#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <vector>
#include "common/SettingsFiles.h"
#include "doctor/Machine.h"
#include "nubrix/ini.h"

namespace nubrix::tool {

namespace {

using State = Finding::State;

constexpr const char *kNetSettings = "nubrixNet.ini";
constexpr const char *kSection = "network";
constexpr unsigned int kMaxValueBytes = 16384;

/// One of the files, which exists, and what was found in it.
class SettingsFile {
public:
    SettingsFile(const Machine &machine, const std::string &path);

    /// The value of an entry; none when there is no such entry, or the file cannot be used.
    std::optional<std::string> entry(const char *key) const;
    const Findings &findings() const { return m_findings; }

    void add(State state, const std::string &text, const std::string &cure = {})
    {
        m_findings.push_back({kNetSettings, state, m_path + ": " + text, cure});
    }
    /// An entry that the driver ignores because its value is invalid.
    void reject(const std::string &key, const std::string &text, const std::string &expected)
    {
        add(State::kProblem, key + "=" + text + " is not " + expected + ": the driver ignores it",
            "correct it, or remove the line");
    }

private:
    std::string m_path;  // on that machine
    std::string m_file;  // to open
    bool m_canBeUsed;
    Findings m_findings;
};

SettingsFile::SettingsFile(const Machine &machine, const std::string &path)
    : m_path(path), m_file(machine.path(path)), m_canBeUsed(settingsFault(m_file).empty())
{
    if (!readTextFile(m_file).fault.empty()) {
        m_findings.push_back({kNetSettings, State::kProblem, "it cannot be read: " + path,
                              "sudo chmod a+r " + path});
    } else if (!m_canBeUsed) {
        add(State::kProblem, "it " + settingsFault(m_file) + ": the driver ignores it",
            "write it as docs/network.md describes, or remove it");
    }
}

std::optional<std::string> SettingsFile::entry(const char *key) const
{
    std::vector<char> value(kMaxValueBytes);
    if (!m_canBeUsed ||
        nubrixReadString(m_file.c_str(), kSection, key, value.data(), kMaxValueBytes) != 0)
        return std::nullopt;
    const std::string text = value.data();
    return text.substr(0, text.find_last_not_of(" \t\r") + 1);
}

bool isTrue(const std::string &text)
{
    return strcasecmp(text.c_str(), "true") == 0 || text == "1";
}

bool isFalse(const std::string &text)
{
    return strcasecmp(text.c_str(), "false") == 0 || text == "0";
}

bool isFlag(const std::string &text)
{
    return isTrue(text) || isFalse(text);
}

/// The limits of the driver.
struct Number {
    const char *key;
    int minimum;
    int maximum;
    int special;  // also valid

    bool accepts(const std::string &text) const
    {
        int value = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        return error == std::errc() && end == text.data() + text.size() &&
               (value == special || (value >= minimum && value <= maximum));
    }
};

constexpr Number kPacketSize = {"packetSize", 576, 16384, 0};
constexpr Number kNumbers[] = {
    kPacketSize, {"silenceMs", 1000, 60000, 1000}, {"patienceMs", 0, 60000, 0}};

void inspectNumbers(SettingsFile &file)
{
    for (const Number &number : kNumbers) {
        const std::string text = file.entry(number.key).value_or("");
        if (text.empty() || number.accepts(text))
            continue;
        file.reject(number.key, text,
                    "a number from " + std::to_string(number.minimum) + " to " +
                        std::to_string(number.maximum));
    }
}

void inspectFlags(SettingsFile &file)
{
    for (const char *key : {"Discovery", "packetSocket", "incomplete"}) {
        const std::string text = file.entry(key).value_or("");
        if (!text.empty() && !isFlag(text))
            file.reject(key, text, "true or false");
    }
}

/// The file whose entry the driver uses: the last one with an entry that is empty or valid; null if
/// there is none.
template <class IsValid>
SettingsFile *fileThatSets(std::vector<SettingsFile> &files, const char *key, IsValid isValid)
{
    const auto sets = [&](const SettingsFile &file) {
        const std::optional<std::string> text = file.entry(key);
        return text && (text->empty() || isValid(*text));
    };
    const auto found = std::find_if(files.rbegin(), files.rend(), sets);
    return found == files.rend() ? nullptr : &*found;
}

void inspectAddress(const Machine &machine, const std::string &text, SettingsFile &file)
{
    const auto address = parseIpv4(text);
    const std::uint32_t network = address.value_or(0) >> 24U;
    if (network == 0 || network >= 224) {  // a multicast or broadcast address
        file.add(State::kProblem, "\"" + text + "\" is no address of a camera",
                 "write addresses=192.168.7.20,192.168.7.21 without spaces");
        return;
    }
    const std::string interface = interfaceTo(machine, *address);
    if (interface.empty()) {
        file.add(State::kProblem, "no interface has a route to " + text,
                 "correct the address, or assign one in its network to an interface: sudo ip "
                 "address add ... dev eth1");
    } else {
        file.add(State::kGood, "a camera at " + text + " can be reached through " + interface);
    }
}

void inspectAddresses(const Machine &machine, std::vector<SettingsFile> &files)
{
    const auto any = [](const std::string &) { return true; };
    SettingsFile *const file = fileThatSets(files, "addresses", any);
    if (file == nullptr)
        return;
    std::istringstream addresses(*file->entry("addresses"));
    for (std::string address; std::getline(addresses, address, ',');)
        inspectAddress(machine, address, *file);
}

void inspectDiscovery(std::vector<SettingsFile> &files)
{
    SettingsFile *const file = fileThatSets(files, "Discovery", isFlag);
    if (file == nullptr || !isFalse(*file->entry("Discovery")))
        return;
    file->add(State::kNote,
              "Discovery=" + *file->entry("Discovery") +
                  ": network cameras are found at the entry addresses alone",
              "to search every interface for cameras, remove the line");
}

void inspectPacketSize(const Machine &machine, std::vector<SettingsFile> &files)
{
    const auto isSize = [](const std::string &text) { return kPacketSize.accepts(text); };
    SettingsFile *const file = fileThatSets(files, kPacketSize.key, isSize);
    if (file == nullptr)
        return;
    const int size = std::atoi(file->entry(kPacketSize.key)->c_str());
    int largest = 0;
    for (const std::string &name : cameraInterfaces(machine)) {
        const std::string mtu = machine.read("/sys/class/net/" + name + "/mtu");
        largest = std::max(largest, std::atoi(mtu.c_str()));
    }
    if (size <= largest || largest == 0)
        return;
    file->add(State::kProblem,
              "packetSize=" + std::to_string(size) +
                  " is larger than the packets of any interface (" + std::to_string(largest) + ")",
              "remove packetSize: the driver finds the largest size that works");
}

/// The findings of all files; what a file without any contains.
Findings findingsOf(std::vector<SettingsFile> &files)
{
    Findings findings;
    for (SettingsFile &file : files) {
        if (file.findings().empty()) {
            const bool hasAddresses = !file.entry("addresses").value_or("").empty();
            file.add(State::kGood, hasAddresses ? "its camera addresses are overridden"
                                                : "it contains no camera addresses");
        }
        findings.insert(findings.end(), file.findings().begin(), file.findings().end());
    }
    return findings;
}

}  // namespace

Findings checkNetSettings(const Machine &machine, const std::vector<std::string> &paths)
{
    std::vector<SettingsFile> files;
    std::string places;
    for (const std::string &path : paths) {
        places += (places.empty() ? "" : " or ") + path;
        if (machine.has(path) || !settingsFault(machine.path(path)).empty())
            files.emplace_back(machine, path);
    }
    if (files.empty()) {
        return {
            {kNetSettings, State::kGood,
             "there is none at " + places + ": the driver searches every interface for cameras"}};
    }
    inspectAddresses(machine, files);
    inspectDiscovery(files);
    for (SettingsFile &file : files) {
        inspectNumbers(file);
        inspectFlags(file);
    }
    inspectPacketSize(machine, files);
    return findingsOf(files);
}

}  // namespace nubrix::tool
