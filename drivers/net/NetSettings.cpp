#include "net/NetSettings.h"

#include <arpa/inet.h>
#include <dlfcn.h>
#include <strings.h>

#include <charconv>
#include <cstdint>
#include <sstream>

#include "nubrix/ini.h"

namespace nubrix::net {

namespace {

constexpr const char *kSection = "network";

constexpr std::size_t kCapacity = 16384;

std::string textOf(const std::string &path, const std::string &section, const char *key)
{
    std::vector<char> value(kCapacity);
    if (path.empty() ||
        nubrixReadString(path.c_str(), section.c_str(), key, value.data(), kCapacity) != 0)
        return {};
    const std::string text = value.data();
    return text.substr(0, text.find_last_not_of(" \t\r") + 1);
}

/// Logs what is wrong with an entry, and which value is used instead.
void refuse(const std::string &key, const std::string &text, const std::string &why,
            const std::string &used)
{
    kReporter.error("nubrixNet.ini: " + key + "=" + text + " is " + why + ", " + used + " is used");
}

/// Does not change the value when there is no entry, or when it is neither from `least` to `most`
/// nor `special`.
void readNumber(const std::string &path, const char *key, int least, int most, int &value,
                int special)
{
    const std::string text = textOf(path, kSection, key);
    if (text.empty())
        return;
    int read = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), read);
    const bool isNumber = error == std::errc() && end == text.data() + text.size();
    if (isNumber && (read == special || (read >= least && read <= most))) {
        value = read;
        return;
    }
    const std::string range = std::to_string(least) + " to " + std::to_string(most);
    refuse(key, text, "not a number from " + range, std::to_string(value));
}

std::chrono::milliseconds readTime(const std::string &path, const char *key, int least, int most,
                                   std::chrono::milliseconds initial)
{
    auto value = static_cast<int>(initial.count());
    readNumber(path, key, least, most, value, value);
    return std::chrono::milliseconds(value);
}

/// "true" or "1", "false" or "0", in any case.
void readFlag(const std::string &path, const char *key, bool &value)
{
    const std::string text = textOf(path, kSection, key);
    const auto is = [&](const char *word) { return strcasecmp(text.c_str(), word) == 0; };
    if (is("true") || is("1"))
        value = true;
    else if (is("false") || is("0"))
        value = false;
    else if (!text.empty())
        refuse(key, text, "neither true nor false", value ? "true" : "false");
}

/// Whether it can be the address of one host.
bool isAddress(const std::string &text)
{
    in_addr address = {};
    if (inet_pton(AF_INET, text.c_str(), &address) != 1)
        return false;
    const std::uint32_t network = ntohl(address.s_addr) >> 24U;
    return network != 0 && network < 224;  // from 224 on: multicast and broadcast
}

std::vector<std::string> readAddresses(const std::string &path)
{
    std::string text = textOf(path, kSection, "addresses");
    if (text.size() >= kCapacity - 1) {
        kReporter.error("nubrixNet.ini: addresses has more than " + std::to_string(kCapacity - 2) +
                        " characters: the others are ignored");
        text.resize(text.rfind(',') == std::string::npos ? 0 : text.rfind(','));
    }
    std::vector<std::string> found;
    std::istringstream addresses(text);
    for (std::string address; std::getline(addresses, address, ',');) {
        if (isAddress(address)) {
            found.push_back(address);
        } else {
            kReporter.error(
                "nubrixNet.ini: \"" + address +
                "\" is not an address; write addresses=192.168.7.20,192.168.7.21 without blanks");
        }
    }
    return found;
}

}  // namespace

NetSettings::NetSettings(const std::string &path)
    : m_path(path),
      m_addresses(readAddresses(path)),
      m_responseTimeout(readTime(path, "silenceMs", 1000, 60000, std::chrono::seconds(2))),
      m_holderTimeout(readTime(path, "patienceMs", 0, 60000, std::chrono::milliseconds(2000)))
{
    readFlag(m_path, "Discovery", m_searchesInterfaces);
    readNumber(m_path, "packetSize", 576, 16384, m_packetSize, 0);
    readFlag(m_path, "packetSocket", m_packetSocket);
    readFlag(m_path, "incomplete", m_incomplete);
}

std::string NetSettings::besidePlugin()
{
    Dl_info self = {};
    if (dladdr(reinterpret_cast<void *>(&NetSettings::besidePlugin), &self) == 0 ||
        self.dli_fname == nullptr)
        return {};
    const std::string own = self.dli_fname;
    return own.substr(0, own.rfind('/') + 1) + "nubrixNet.ini";
}

std::string NetSettings::formatOf(const std::string &serial, const std::string &stream) const
{
    return serial.empty() ? "" : textOf(m_path, serial, stream.c_str());
}

}  // namespace nubrix::net
