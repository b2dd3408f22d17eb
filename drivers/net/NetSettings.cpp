#include "net/NetSettings.h"

#include <arpa/inet.h>
#include <strings.h>

#include <charconv>
#include <cstdint>
#include <optional>
#include <sstream>

#include "common/SettingsFiles.h"
#include "nubrix/ini.h"

namespace nubrix::net {

namespace {

constexpr const char *kSection = "network";

constexpr std::size_t kCapacity = 16384;

/// An entry of one of the files.
struct Entry {
    std::string file;
    std::string text;
};

/// The entry in each file that has it, in the order of the files.
std::vector<Entry> entriesOf(const std::vector<std::string> &files, const std::string &section,
                             const char *key)
{
    std::vector<Entry> entries;
    std::vector<char> value(kCapacity);
    for (const std::string &file : files) {
        if (nubrixReadString(file.c_str(), section.c_str(), key, value.data(), kCapacity) != 0)
            continue;
        const std::string text = value.data();
        entries.push_back({file, text.substr(0, text.find_last_not_of(" \t\r") + 1)});
    }
    return entries;
}

void report(const std::string &file, const std::string &text)
{
    kReporter.error(file + ": " + text);
}

std::string shown(int number)
{
    return std::to_string(number);
}

std::string shown(bool flag)
{
    return flag ? "true" : "false";
}

/// The value of the last entry that is valid, otherwise `initial`; an entry without text stands for
/// `initial` too. An entry for which `parse` returns nothing is reported: it is `fault`.
template <class Value, class Parse>
Value readEntry(const std::vector<std::string> &files, const char *key, Value initial, Parse parse,
                const std::string &fault)
{
    Value value = initial;
    std::vector<Entry> invalid;
    for (const Entry &entry : entriesOf(files, kSection, key)) {
        const std::optional<Value> read = entry.text.empty() ? initial : parse(entry.text);
        if (read)
            value = *read;
        else
            invalid.push_back(entry);
    }
    for (const Entry &entry : invalid) {
        report(entry.file, std::string(key) + "=" + entry.text + " is " + fault + ", " +
                               shown(value) + " is used");
    }
    return value;
}

/// A number from `least` to `most`, or `initial`.
int readNumber(const std::vector<std::string> &files, const char *key, int least, int most,
               int initial)
{
    const auto parse = [&](const std::string &text) -> std::optional<int> {
        int read = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), read);
        const bool isNumber = error == std::errc() && end == text.data() + text.size();
        if (isNumber && (read == initial || (read >= least && read <= most)))
            return read;
        return std::nullopt;
    };
    const std::string range = std::to_string(least) + " to " + std::to_string(most);
    return readEntry(files, key, initial, parse, "not a number from " + range);
}

std::chrono::milliseconds readTime(const std::vector<std::string> &files, const char *key,
                                   int least, int most, std::chrono::milliseconds initial)
{
    return std::chrono::milliseconds(
        readNumber(files, key, least, most, static_cast<int>(initial.count())));
}

/// "true" or "1", "false" or "0", in any case.
bool readFlag(const std::vector<std::string> &files, const char *key, bool initial)
{
    const auto parse = [](const std::string &text) -> std::optional<bool> {
        const auto is = [&](const char *word) { return strcasecmp(text.c_str(), word) == 0; };
        if (is("true") || is("1"))
            return true;
        if (is("false") || is("0"))
            return false;
        return std::nullopt;
    };
    return readEntry(files, key, initial, parse, "neither true nor false");
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

/// Those of the last file that has the entry.
std::vector<std::string> readAddresses(const std::vector<std::string> &files)
{
    const std::vector<Entry> entries = entriesOf(files, kSection, "addresses");
    if (entries.empty())
        return {};
    auto [file, text] = entries.back();
    if (text.size() >= kCapacity - 1) {
        report(file, "addresses has more than " + std::to_string(kCapacity - 2) +
                         " characters: the others are ignored");
        text.resize(text.rfind(',') == std::string::npos ? 0 : text.rfind(','));
    }
    std::vector<std::string> found;
    std::istringstream addresses(text);
    for (std::string address; std::getline(addresses, address, ',');) {
        if (isAddress(address)) {
            found.push_back(address);
        } else {
            report(file, "\"" + address +
                             "\" is not an address; write addresses=192.168.7.20,192.168.7.21 "
                             "without blanks");
        }
    }
    return found;
}

/// The files that can be used; the others are reported.
std::vector<std::string> usable(const std::vector<std::string> &files)
{
    std::vector<std::string> found;
    for (const std::string &file : files) {
        const std::string fault = settingsFault(file);
        if (fault.empty())
            found.push_back(file);
        else
            report(file, "ignored, because it " + fault);
    }
    return found;
}

}  // namespace

NetSettings::NetSettings(const std::vector<std::string> &files)
    : m_files(usable(files)),
      m_searchesInterfaces(readFlag(m_files, "Discovery", true)),
      m_addresses(readAddresses(m_files)),
      m_responseTimeout(readTime(m_files, "silenceMs", 1000, 60000, std::chrono::seconds(2))),
      m_holderTimeout(readTime(m_files, "patienceMs", 0, 60000, std::chrono::seconds(2))),
      m_packetSize(readNumber(m_files, "packetSize", 576, 16384, 0)),
      m_packetSocket(readFlag(m_files, "packetSocket", false)),
      m_incomplete(readFlag(m_files, "incomplete", false))
{
}

std::string NetSettings::formatOf(const std::string &serial, const std::string &stream) const
{
    const std::vector<Entry> entries =
        serial.empty() ? std::vector<Entry>() : entriesOf(m_files, serial, stream.c_str());
    return entries.empty() ? "" : entries.back().text;
}

}  // namespace nubrix::net
