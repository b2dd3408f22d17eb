#include "doctor/Checks.h"

#include "tests/tools/doctor/FakeMachine.h"

namespace nubrix::tool {
namespace {

using testing::ElementsAre;
using State = Finding::State;

class FirewallChecksTest : public testing::Test {
protected:
    /// A machine with these rules, and the input chain's policy "drop".
    Findings checkRules(const std::string &rules)
    {
        system.add("/sys/module/nf_tables/refcnt", "3\n");
        system.answers["nft list ruleset"] =
            "table inet filter {\n\tchain input {\n"
            "\t\ttype filter hook input priority filter; policy drop;\n" +
            rules +
            "\t}\n\n\tchain forward {\n"
            "\t\ttype filter hook forward priority filter; policy drop;\n"
            "\t\tiifname \"eth7\" accept\n\t}\n}\n";
        return checkFirewall(system.machine);
    }
    /// A machine whose input chain has one rule and the policy "accept".
    Findings checkAccepting(const std::string &rule)
    {
        system.answers["nft list ruleset"] =
            "table inet a {\n\tchain in {\n"
            "\t\ttype filter hook input priority filter; policy accept;\n\t\t" +
            rule + "\n\t}\n}\n";
        return checkFirewall(system.machine);
    }
    Findings checkIptables(const std::string &rules)
    {
        system.add("/proc/net/ip_tables_names", "filter\n");
        system.answers["iptables -S INPUT"] = rules;
        return checkFirewall(system.machine);
    }

    FakeMachine system;
};

TEST_F(FirewallChecksTest, WithoutAFirewallAllIsGood)
{
    EXPECT_THAT(checkFirewall(system.machine), ElementsAre(finds(State::kGood, "none found")));
}

TEST_F(FirewallChecksTest, FirewallProgramsHaveTheirOwnCures)
{
    system.add("/etc/ufw/ufw.conf", "# whether\nENABLED=no\n");
    EXPECT_THAT(checkFirewall(system.machine), ElementsAre(finds(State::kGood, "none found")));
    system.add("/proc/812/comm", "firewalld\n");
    EXPECT_THAT(checkFirewall(system.machine),
                ElementsAre(finds(State::kNote, "firewalld drops", "--zone=trusted")));
    system.add("/etc/ufw/ufw.conf", "# whether\nENABLED=yes\n");
    EXPECT_THAT(checkFirewall(system.machine),
                ElementsAre(finds(State::kNote, "ufw drops", "sudo ufw allow in on")));
}

TEST_F(FirewallChecksTest, UnreadableRulesAreReported)
{
    system.add("/sys/module/nf_tables/refcnt", "3\n");
    EXPECT_THAT(checkFirewall(system.machine),
                ElementsAre(finds(State::kNote, "only root can read", "sudo nft list ruleset")));
}

TEST_F(FirewallChecksTest, AnInputPolicyOfDropIsReported)
{
    const auto dropped =
        finds(State::kNote, "replies and images of cameras", "iifname \"eth1\" accept");
    EXPECT_THAT(checkRules(""), ElementsAre(dropped));
    EXPECT_THAT(checkRules("\t\tct state established,related accept\n\t\tiif \"lo\" accept\n"
                           "\t\ttcp dport 22 accept\n\t\tudp dport 5353 accept\n"),
                ElementsAre(dropped));
}

TEST_F(FirewallChecksTest, RulesThatAcceptAnInterfaceOrANetworkAreGood)
{
    for (const char *rule : {"iifname \"eth1\" accept", "ip saddr 192.168.5.0/24 accept"})
        EXPECT_THAT(checkRules(std::string("\t\t") + rule + "\n"),
                    ElementsAre(finds(State::kGood, std::string("by its rule: ") + rule)));
}

TEST_F(FirewallChecksTest, ALastRuleCountsAsAPolicy)
{
    system.add("/sys/module/nf_tables/refcnt", "3\n");
    const std::string start =
        "table ip a {\n\tchain in {\n\t\ttype filter hook input priority 0; policy accept;\n";
    system.answers["nft list ruleset"] = start + "\t\ttcp dport 25 drop\n\t}\n}\n";
    EXPECT_THAT(checkFirewall(system.machine), ElementsAre(finds(State::kGood, "no rule drops")));
    system.answers["nft list ruleset"] = start + "\t\treject with icmp port-unreachable\n\t}\n}\n";
    EXPECT_THAT(checkFirewall(system.machine), ElementsAre(finds(State::kNote, "replies")));
}

TEST_F(FirewallChecksTest, RulesOfIptablesAreReadToo)
{
    EXPECT_THAT(checkIptables("-P INPUT ACCEPT\n"),
                ElementsAre(finds(State::kGood, "no rule drops")));
    EXPECT_THAT(checkIptables("-P INPUT DROP\n-A INPUT -i lo -j ACCEPT\n"
                              "-A INPUT -m state --state ESTABLISHED -j ACCEPT\n"),
                ElementsAre(finds(State::kNote, "replies and images of cameras",
                                  "iptables -I INPUT -i eth1")));
    EXPECT_THAT(checkIptables("-P INPUT DROP\n-A INPUT -i eth1 -j ACCEPT\n"),
                ElementsAre(finds(State::kGood, "-A INPUT -i eth1 -j ACCEPT")));
}

TEST_F(FirewallChecksTest, ARuleThatMayDropCameraPacketsIsQuoted)
{
    for (const char *rule :
         {"counter packets 5 bytes 300 drop", "log prefix \"no: \" drop", "iifname \"eth1\" drop",
          "ip protocol udp drop", "udp dport 1024-65535 drop", "udp dport { 53, 1024-65535 } drop",
          "udp dport != 53 drop", "ip saddr 10.0.0.0/8 counter packets 0 bytes 0 reject"})
        EXPECT_THAT(
            checkAccepting(rule),
            ElementsAre(finds(State::kNote, std::string("camera packets: ") + rule, "iifname")))
            << rule;
    for (const char *rule :
         {"-A INPUT -p udp -j DROP", "-A INPUT -i eth1 -j DROP",
          "-A INPUT -p udp -m udp --dport 1024:65535 -j DROP", "-A INPUT -s 10.0.0.0/8 -j REJECT"})
        EXPECT_THAT(
            checkIptables(std::string("-P INPUT ACCEPT\n") + rule + "\n"),
            ElementsAre(finds(State::kNote, std::string("camera packets: ") + rule, "iptables")))
            << rule;
}

TEST_F(FirewallChecksTest, RulesThatDropOtherPacketsAreGood)
{
    for (const char *rule :
         {"tcp dport 1024-65535 drop", "ip protocol icmp drop", "ct state invalid drop",
          "udp dport 5353 drop", "udp dport { 53, 123 } drop", "udp dport 53 counter drop"})
        EXPECT_THAT(checkAccepting(rule), ElementsAre(finds(State::kGood, "no rule drops")))
            << rule;
    EXPECT_THAT(checkAccepting("iifname \"eth1\" accept\n\t\tip protocol udp drop"),
                ElementsAre(finds(State::kGood, "no rule drops")));
    EXPECT_THAT(checkIptables("-P INPUT ACCEPT\n-A INPUT -p udp -m udp --dport 53 -j DROP\n"
                              "-A INPUT -p tcp -j DROP\n-A INPUT -j LOG\n"),
                ElementsAre(finds(State::kGood, "no rule drops")));
}

TEST_F(FirewallChecksTest, RulesThatJumpToOtherChainsAreReportedAsUnchecked)
{
    EXPECT_THAT(checkAccepting("jump guests"),
                ElementsAre(finds(State::kNote, "another chain: jump guests", "nft list ruleset")));
    EXPECT_THAT(checkIptables("-P INPUT ACCEPT\n-A INPUT -j guests\n"),
                ElementsAre(finds(State::kNote, "another chain: -A INPUT -j guests")));
}

TEST_F(FirewallChecksTest, TablesForIpv6AreIgnored)
{
    system.answers["nft list ruleset"] =
        "table ip6 a {\n\tchain in {\n\t\ttype filter hook input priority 0; policy drop;\n"
        "\t}\n}\n";
    EXPECT_THAT(checkFirewall(system.machine), ElementsAre(finds(State::kGood, "no rule drops")));
}

TEST_F(FirewallChecksTest, BothKindsOfRulesAreChecked)
{
    system.answers["nft list ruleset"] = "";
    EXPECT_THAT(checkIptables("-P INPUT DROP\n"),
                ElementsAre(finds(State::kNote, "replies and images of cameras", "iptables")));
    system.answers["iptables -S INPUT"] = "-P INPUT ACCEPT\n";
    EXPECT_THAT(checkRules(""), ElementsAre(finds(State::kNote, "replies", "iifname")));
}

}  // namespace
}  // namespace nubrix::tool
