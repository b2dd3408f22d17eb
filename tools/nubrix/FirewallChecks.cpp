#include "FirewallChecks.h"

#include <sstream>

namespace nubrix {

namespace {

using State = Finding::State;

constexpr const char *kName = "firewall";
constexpr const char *kDrops = "drops what nobody has asked for: answers of cameras, and pictures";

bool has(const std::string &line, const char *words)
{
    return line.find(words) != std::string::npos;
}

bool runs(const Machine &machine, const std::string &program)
{
    for (const std::string &process : machine.list("/proc")) {
        if (process.find_first_not_of("0123456789") == std::string::npos &&
            machine.read("/proc/" + process + "/comm") == program)
            return true;
    }
    return false;
}

std::vector<std::string> linesOf(const std::string &text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        const std::size_t begin = line.find_first_not_of(" \t");
        lines.push_back(begin == std::string::npos ? "" : line.substr(begin));
    }
    return lines;
}

/// What the rules say of what comes in.
struct Inward {
    bool drops = false;               // what no rule lets in
    std::vector<std::string> letsIn;  // rules that may let cameras in
};

/// A rule that lets in all that comes from some interface or network.
bool mayLetCamerasIn(const std::string &rule, bool accepts, bool fromSomewhere)
{
    return accepts && fromSomewhere && !has(rule, "dport") && !has(rule, "tcp") &&
           !has(rule, "icmp") && !has(rule, "state") && !has(rule, "\"lo\"") && !has(rule, "-i lo");
}

Inward readNftables(const std::string &text)
{
    Inward inward;
    bool inHook = false;
    for (const std::string &line : linesOf(text)) {
        if (has(line, "hook ")) {
            inHook = has(line, "hook input");
            inward.drops |= inHook && has(line, "policy drop");
        } else if (line == "}") {
            inHook = false;
        } else if (inHook) {
            const bool last = line.rfind("drop", 0) == 0 || line.rfind("reject", 0) == 0;
            inward.drops |= last;
            const bool fromSomewhere = has(line, "iif") || has(line, "saddr") || has(line, "udp");
            if (mayLetCamerasIn(line, has(line, "accept"), fromSomewhere))
                inward.letsIn.push_back(line);
        }
    }
    return inward;
}

Inward readIptables(const std::string &text)
{
    Inward inward;
    for (const std::string &line : linesOf(text)) {
        inward.drops |= line == "-P INPUT DROP" || line == "-A INPUT -j DROP" ||
                        line.rfind("-A INPUT -j REJECT", 0) == 0;
        const bool fromSomewhere = has(line, " -i ") || has(line, " -s ") || has(line, "-p udp");
        if (mayLetCamerasIn(line, has(line, "-j ACCEPT"), fromSomewhere))
            inward.letsIn.push_back(line);
    }
    return inward;
}

Finding judge(const Inward &inward, const char *cure)
{
    if (!inward.drops)
        return {kName, State::kGood, "no rule keeps cameras out"};
    if (inward.letsIn.empty())
        return {kName, State::kNote, kDrops, cure};
    return {kName, State::kGood, "it lets in by its rule: " + inward.letsIn.front()};
}

/// Whether the kernel filters, as far as everybody may see.
bool mayFilter(const Machine &machine)
{
    return machine.has("/sys/module/nf_tables") || machine.has("/sys/module/iptable_filter") ||
           has(machine.read("/proc/net/ip_tables_names"), "filter");
}

}  // namespace

Findings checkFirewall(const Machine &machine)
{
    for (const std::string &line : linesOf(machine.read("/etc/ufw/ufw.conf"))) {
        if (line == "ENABLED=yes")
            return {{kName, State::kNote, std::string("ufw ") + kDrops,
                     "for each interface with cameras: sudo ufw allow in on eth1"}};
    }
    if (runs(machine, "firewalld")) {
        return {{kName, State::kNote, std::string("firewalld ") + kDrops,
                 "for each interface with cameras: sudo firewall-cmd --permanent --zone=trusted "
                 "--change-interface=eth1; sudo firewall-cmd --reload"}};
    }
    const auto newRules = machine.ask("nft list ruleset");
    const auto oldRules = machine.ask("iptables -S INPUT");
    const Inward byOld = readIptables(oldRules.value_or(""));
    // Tables of the older kind show in the list of the newer one, with another cure.
    if (byOld.drops || (oldRules && !newRules)) {
        return {judge(byOld,
                      "for each interface with cameras: sudo iptables -I INPUT -i eth1 -j "
                      "ACCEPT")};
    }
    if (newRules) {
        return {judge(readNftables(*newRules),
                      "let in what comes by the cameras' interface: iifname \"eth1\" accept")};
    }
    if (!mayFilter(machine))
        return {{kName, State::kGood, "no sign of one"}};
    return {{kName, State::kNote, "there may be one; its rules are for root's eyes only",
             "should cameras not be found, look at 'sudo nft list ruleset'"}};
}

}  // namespace nubrix
