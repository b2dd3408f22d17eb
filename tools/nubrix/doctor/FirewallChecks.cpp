#include "doctor/Checks.h"

#include <sstream>

namespace nubrix::tool {

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
    bool drops = false;                // what no rule lets in
    std::vector<std::string> letsIn;   // rules that may let cameras in
    std::vector<std::string> keepOut;  // rules before them that may drop what cameras send
    std::vector<std::string> leadOn;   // rules that go on in other chains
};

/// A rule that lets in all that comes from some interface or network.
bool mayLetCamerasIn(const std::string &rule, bool accepts, bool fromSomewhere)
{
    return accepts && fromSomewhere && !has(rule, "dport") && !has(rule, "tcp") &&
           !has(rule, "icmp") && !has(rule, "state") && !has(rule, "\"lo\"") && !has(rule, "-i lo");
}

/// A rule for something that cameras do not send: another protocol, known ports, stray packets.
bool isOfOthers(const std::string &rule)
{
    for (const char *word : {"tcp", "icmp", "ip6", "invalid", "INVALID"}) {
        if (has(rule, word))
            return true;
    }
    // Pictures come to any of the higher ports: a range may have theirs, single ports do not.
    const std::size_t port = rule.find("dport");
    if (port == std::string::npos)
        return false;
    const std::size_t end = rule.find_first_of(
        rule.find('{', port) == std::string::npos ? " " : "}", rule.find(' ', port) + 1);
    return rule.substr(port, end - port).find_first_of("-:!", 5) == std::string::npos &&
           !has(rule, "!= ") && !has(rule, "! --dport");
}

void addDrop(Inward &inward, const std::string &rule)
{
    if (inward.letsIn.empty() && !isOfOthers(rule))
        inward.keepOut.push_back(rule);
}

bool startsWith(const std::string &line, const char *words)
{
    return line.rfind(words, 0) == 0;
}

void readNewRule(const std::string &line, Inward &inward)
{
    const bool fromSomewhere = has(line, "iif") || has(line, "saddr") || has(line, "udp");
    if (startsWith(line, "drop") || startsWith(line, "reject"))
        inward.drops = true;
    else if (has(line, " drop") || has(line, " reject"))
        addDrop(inward, line);
    else if ((has(line, "jump ") || has(line, "goto ")) && !isOfOthers(line))
        inward.leadOn.push_back(line);
    else if (mayLetCamerasIn(line, has(line, "accept"), fromSomewhere))
        inward.letsIn.push_back(line);
}

Inward readNftables(const std::string &text)
{
    Inward inward;
    bool inHook = false;
    bool isOurs = true;  // a table for IPv4
    for (const std::string &line : linesOf(text)) {
        if (startsWith(line, "table "))
            isOurs = !startsWith(line, "table ip6 ");
        if (has(line, "hook ")) {
            inHook = isOurs && has(line, "hook input");
            inward.drops |= inHook && has(line, "policy drop");
        } else if (line == "}") {
            inHook = false;
        } else if (inHook) {
            readNewRule(line, inward);
        }
    }
    return inward;
}

/// The chain that a rule goes on in; empty when it does not.
std::string chainOf(const std::string &rule)
{
    const std::size_t jump = rule.find(" -j ");
    if (jump == std::string::npos)
        return {};
    const std::string target = rule.substr(jump + 4, rule.find(' ', jump + 4) - jump - 4);
    for (const char *end : {"ACCEPT", "DROP", "REJECT", "LOG", "NFLOG", "RETURN", "MARK"}) {
        if (target == end)
            return {};
    }
    return target;
}

Inward readIptables(const std::string &text)
{
    Inward inward;
    for (const std::string &line : linesOf(text)) {
        const bool fromSomewhere = has(line, " -i ") || has(line, " -s ") || has(line, "-p udp");
        if (line == "-P INPUT DROP" || line == "-A INPUT -j DROP" ||
            startsWith(line, "-A INPUT -j REJECT"))
            inward.drops = true;
        else if (has(line, "-j DROP") || has(line, "-j REJECT"))
            addDrop(inward, line);
        else if (!chainOf(line).empty() && !isOfOthers(line))
            inward.leadOn.push_back(line);
        else if (mayLetCamerasIn(line, has(line, "-j ACCEPT"), fromSomewhere))
            inward.letsIn.push_back(line);
    }
    return inward;
}

Finding judge(const Inward &inward, const std::string &cure)
{
    if (!inward.keepOut.empty()) {
        return {kName, State::kNote,
                "a rule drops what cameras may send: " + inward.keepOut.front(),
                "if it is of the cameras' interface, before it: " + cure};
    }
    if (inward.drops && inward.letsIn.empty())
        return {kName, State::kNote, kDrops, "for each interface with cameras: " + cure};
    if (!inward.leadOn.empty()) {
        return {kName, State::kNote,
                "not followed was where a rule leads on: " + inward.leadOn.front(),
                "should cameras not be found, look at 'sudo nft list ruleset'"};
    }
    if (!inward.drops)
        return {kName, State::kGood, "no rule keeps cameras out"};
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
    const bool tellsOld = byOld.drops || !byOld.keepOut.empty() || !byOld.leadOn.empty();
    if (tellsOld || (oldRules && !newRules))
        return {judge(byOld, "sudo iptables -I INPUT -i eth1 -j ACCEPT")};
    if (newRules)
        return {judge(readNftables(*newRules), "iifname \"eth1\" accept")};
    if (!mayFilter(machine))
        return {{kName, State::kGood, "no sign of one"}};
    return {{kName, State::kNote, "there may be one; its rules are for root's eyes only",
             "should cameras not be found, look at 'sudo nft list ruleset'"}};
}

}  // namespace nubrix::tool
