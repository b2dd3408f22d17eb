#include "doctor/Checks.h"

#include <sstream>

namespace nubrix::tool {

namespace {

using State = Finding::State;

constexpr const char *kFirewall = "firewall";
constexpr const char *kDrops = "drops packets that no rule accepts: replies and images of cameras";

bool has(const std::string &line, const char *words)
{
    return line.find(words) != std::string::npos;
}

bool isRunning(const Machine &machine, const std::string &program)
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

/// The rules for incoming packets, as far as they matter to cameras.
struct InputRules {
    bool dropsByDefault = false;         // packets that no rule accepts
    std::vector<std::string> accepting;  // rules that may accept camera packets
    std::vector<std::string> dropping;   // rules before them that may drop camera packets
    std::vector<std::string> jumping;    // rules that jump to other chains
};

/// A rule that accepts all packets of some interface or network.
bool mayAcceptCameras(const std::string &rule, bool accepts, bool limitsSource)
{
    return accepts && limitsSource && !has(rule, "dport") && !has(rule, "tcp") &&
           !has(rule, "icmp") && !has(rule, "state") && !has(rule, "\"lo\"") && !has(rule, "-i lo");
}

/// A rule for packets that cameras do not send: another protocol, known ports, invalid packets.
bool excludesCameras(const std::string &rule)
{
    for (const char *word : {"tcp", "icmp", "ip6", "invalid", "INVALID"}) {
        if (has(rule, word))
            return true;
    }
    // Images arrive at any of the higher ports: a range may include them, single ports do not.
    const std::size_t port = rule.find("dport");
    if (port == std::string::npos)
        return false;
    const std::size_t end = rule.find_first_of(
        rule.find('{', port) == std::string::npos ? " " : "}", rule.find(' ', port) + 1);
    return rule.substr(port, end - port).find_first_of("-:!", 5) == std::string::npos &&
           !has(rule, "!= ") && !has(rule, "! --dport");
}

void addDrop(InputRules &rules, const std::string &rule)
{
    if (rules.accepting.empty() && !excludesCameras(rule))
        rules.dropping.push_back(rule);
}

bool startsWith(const std::string &line, const char *words)
{
    return line.rfind(words, 0) == 0;
}

void readNftablesRule(const std::string &line, InputRules &rules)
{
    const bool limitsSource = has(line, "iif") || has(line, "saddr") || has(line, "udp");
    if (startsWith(line, "drop") || startsWith(line, "reject"))
        rules.dropsByDefault = true;
    else if (has(line, " drop") || has(line, " reject"))
        addDrop(rules, line);
    else if ((has(line, "jump ") || has(line, "goto ")) && !excludesCameras(line))
        rules.jumping.push_back(line);
    else if (mayAcceptCameras(line, has(line, "accept"), limitsSource))
        rules.accepting.push_back(line);
}

InputRules readNftables(const std::string &text)
{
    InputRules rules;
    bool inInputChain = false;
    bool isIpv4 = true;  // a table for IPv4
    for (const std::string &line : linesOf(text)) {
        if (startsWith(line, "table "))
            isIpv4 = !startsWith(line, "table ip6 ");
        if (has(line, "hook ")) {
            inInputChain = isIpv4 && has(line, "hook input");
            rules.dropsByDefault |= inInputChain && has(line, "policy drop");
        } else if (line == "}") {
            inInputChain = false;
        } else if (inInputChain) {
            readNftablesRule(line, rules);
        }
    }
    return rules;
}

/// The chain that a rule jumps to; empty when it does not jump.
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

InputRules readIptables(const std::string &text)
{
    InputRules rules;
    for (const std::string &line : linesOf(text)) {
        const bool limitsSource = has(line, " -i ") || has(line, " -s ") || has(line, "-p udp");
        if (line == "-P INPUT DROP" || line == "-A INPUT -j DROP" ||
            startsWith(line, "-A INPUT -j REJECT"))
            rules.dropsByDefault = true;
        else if (has(line, "-j DROP") || has(line, "-j REJECT"))
            addDrop(rules, line);
        else if (!chainOf(line).empty() && !excludesCameras(line))
            rules.jumping.push_back(line);
        else if (mayAcceptCameras(line, has(line, "-j ACCEPT"), limitsSource))
            rules.accepting.push_back(line);
    }
    return rules;
}

Finding judge(const InputRules &rules, const std::string &cure)
{
    if (!rules.dropping.empty()) {
        return {kFirewall, State::kNote,
                "a rule may drop camera packets: " + rules.dropping.front(),
                "if it applies to the cameras' interface, add before it: " + cure};
    }
    if (rules.dropsByDefault && rules.accepting.empty())
        return {kFirewall, State::kNote, kDrops, "for each interface with cameras: " + cure};
    if (!rules.jumping.empty()) {
        return {kFirewall, State::kNote,
                "unchecked: a rule jumps to another chain: " + rules.jumping.front(),
                "if cameras are not found, check 'sudo nft list ruleset'"};
    }
    if (!rules.dropsByDefault)
        return {kFirewall, State::kGood, "no rule drops camera packets"};
    return {kFirewall, State::kGood,
            "it accepts camera packets by its rule: " + rules.accepting.front()};
}

/// Whether the kernel may filter packets, as far as an ordinary user can see.
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
            return {{kFirewall, State::kNote, std::string("ufw ") + kDrops,
                     "for each interface with cameras: sudo ufw allow in on eth1"}};
    }
    if (isRunning(machine, "firewalld")) {
        return {{kFirewall, State::kNote, std::string("firewalld ") + kDrops,
                 "for each interface with cameras: sudo firewall-cmd --permanent --zone=trusted "
                 "--change-interface=eth1; sudo firewall-cmd --reload"}};
    }
    const auto nftables = machine.run("nft list ruleset");
    const auto iptables = machine.run("iptables -S INPUT");
    const InputRules iptablesRules = readIptables(iptables.value_or(""));
    // nft also lists the rules of iptables, but only iptables should change them.
    const bool usesIptables = iptablesRules.dropsByDefault || !iptablesRules.dropping.empty() ||
                              !iptablesRules.jumping.empty();
    if (usesIptables || (iptables && !nftables))
        return {judge(iptablesRules, "sudo iptables -I INPUT -i eth1 -j ACCEPT")};
    if (nftables)
        return {judge(readNftables(*nftables), "iifname \"eth1\" accept")};
    if (!mayFilter(machine))
        return {{kFirewall, State::kGood, "none found"}};
    return {{kFirewall, State::kNote, "there may be one; only root can read its rules",
             "if cameras are not found, check 'sudo nft list ruleset'"}};
}

}  // namespace nubrix::tool
