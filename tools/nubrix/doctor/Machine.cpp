#include "doctor/Machine.h"

#include <arpa/inet.h>
#include <grp.h>
#include <ifaddrs.h>
#include <netinet/in.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <bitset>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace nubrix::tool {

namespace {

std::string userName()
{
    const passwd *user = getpwuid(geteuid());
    return user != nullptr ? user->pw_name : std::to_string(geteuid());
}

/// Whether the group database lists the user as a member.
bool isListed(const group &members)
{
    const std::string user = userName();
    for (char **member = members.gr_mem; *member != nullptr; ++member) {
        if (user == *member)
            return true;
    }
    return false;
}

Machine::Access accessOf(const std::string &path)
{
    struct stat status = {};
    if (access(path.c_str(), R_OK | W_OK) == 0)
        return Machine::Access::kGranted;
    if (stat(path.c_str(), &status) != 0)
        return Machine::Access::kDenied;
    const group *owner = getgrgid(status.st_gid);
    if (owner == nullptr || (status.st_mode & 060U) != 060U)
        return Machine::Access::kClosed;
    if (isListed(*owner))
        return Machine::Access::kAfterLogin;
    return std::string(owner->gr_name) == "video" ? Machine::Access::kDenied
                                                  : Machine::Access::kClosed;
}

in_addr addressIn(const sockaddr &socketAddress)
{
    sockaddr_in copy = {};
    std::memcpy(&copy, &socketAddress, sizeof copy);
    return copy.sin_addr;
}

std::vector<Machine::Address> networkAddresses()
{
    std::vector<Machine::Address> found;
    ifaddrs *all = nullptr;
    if (getifaddrs(&all) != 0)
        return found;
    for (const ifaddrs *entry = all; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET ||
            entry->ifa_netmask == nullptr)
            continue;
        std::array<char, INET_ADDRSTRLEN> text{};
        const in_addr address = addressIn(*entry->ifa_addr);
        inet_ntop(AF_INET, &address, text.data(), text.size());
        const std::bitset<32> mask(addressIn(*entry->ifa_netmask).s_addr);
        found.push_back({entry->ifa_name, text.data(), static_cast<unsigned int>(mask.count())});
    }
    freeifaddrs(all);
    return found;
}

std::optional<std::string> outputOf(const std::string &command)
{
    // Administration tools are not in the path of every user.
    const std::string line = "PATH=$PATH:/usr/sbin:/sbin; exec 2>/dev/null; " + command;
    FILE *pipe = popen(line.c_str(), "re");
    if (pipe == nullptr)
        return std::nullopt;
    std::string text;
    std::array<char, 4096> part{};
    while (const std::size_t size = std::fread(part.data(), 1, part.size(), pipe))
        text.append(part.data(), size);
    if (pclose(pipe) != 0)
        return std::nullopt;
    return text;
}

}  // namespace

Machine Machine::real()
{
    utsname system = {};
    uname(&system);
    return {{}, system.release, userName(), accessOf, networkAddresses(), outputOf};
}

bool Machine::has(const std::string &absolute) const
{
    std::error_code ignored;
    return std::filesystem::exists(path(absolute), ignored);
}

std::vector<std::string> Machine::list(const std::string &absolute) const
{
    std::vector<std::string> names;
    std::error_code error;
    for (const auto &entry : std::filesystem::directory_iterator(path(absolute), error))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

std::string Machine::read(const std::string &absolute) const
{
    std::ifstream file(path(absolute), std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();  // a kernel file may open and then fail to read; this does not throw
    const std::string text = content.str();
    const auto begin = text.find_first_not_of(" \n");
    if (begin == std::string::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(" \n") - begin + 1);
}

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
        // The kernel prints the memory content, which is in network byte order.
        if ((address & ntohl(mask)) != ntohl(network) || ntohl(mask) < longest)
            continue;
        longest = ntohl(mask);
        found = name.data();
    }
    return found;
}

}  // namespace nubrix::tool
