#include "net/NetSettings.h"

#include <arpa/inet.h>
#include <dlfcn.h>

#include <array>
#include <sstream>

#include "net/Report.h"
#include "nubrix/ini.h"

namespace nubrix {

namespace {

constexpr const char *kSection = "network";

std::string textOf(const std::string &path, const std::string &section, const char *key)
{
    std::array<char, 1024> value = {};
    if (path.empty() ||
        nubrixReadString(path.c_str(), section.c_str(), key, value.data(), value.size()) != 0)
        return {};
    return value.data();
}

/// Leaves the value alone when there is none, or one out of range.
void readNumber(const std::string &path, const char *key, int least, int most, int &value)
{
    int read = 0;
    if (path.empty() || nubrixReadInt(path.c_str(), kSection, key, &read) != 0)
        return;
    if (read < least || read > most) {
        report("nubrixNet.ini: " + std::string(key) + "=" + std::to_string(read) + " is not from " +
               std::to_string(least) + " to " + std::to_string(most) + ", " +
               std::to_string(value) + " is used");
        return;
    }
    value = read;
}

bool isAddress(const std::string &text)
{
    in_addr address = {};
    return inet_pton(AF_INET, text.c_str(), &address) == 1;
}

}  // namespace

NetSettings::NetSettings(const std::string &path) : m_path(path)
{
    std::istringstream addresses(textOf(m_path, kSection, "addresses"));
    for (std::string address; std::getline(addresses, address, ',');) {
        if (isAddress(address))
            m_addresses.push_back(address);
        else
            report("nubrixNet.ini: \"" + address +
                   "\" is no address; write addresses=192.168.7.20,192.168.7.21 without blanks");
    }
    auto silence = static_cast<int>(m_silence.count());
    readNumber(m_path, "silenceMs", 1000, 60000, silence);
    m_silence = std::chrono::milliseconds(silence);
    auto patience = static_cast<int>(m_patience.count());
    readNumber(m_path, "patienceMs", 0, 60000, patience);
    m_patience = std::chrono::milliseconds(patience);
    readNumber(m_path, "packetSize", 0, 16384, m_packetSize);
    if (!m_path.empty()) {
        nubrixReadBool(m_path.c_str(), kSection, "packetSocket", &m_packetSocket);
        nubrixReadBool(m_path.c_str(), kSection, "incomplete", &m_incomplete);
    }
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

}  // namespace nubrix
