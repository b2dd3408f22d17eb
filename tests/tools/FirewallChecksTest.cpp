#include "FirewallChecks.h"

#include "FakeMachine.h"

namespace nubrix {
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
    Findings checkOldRules(const std::string &rules)
    {
        system.add("/proc/net/ip_tables_names", "filter\n");
        system.answers["iptables -S INPUT"] = rules;
        return checkFirewall(system.machine);
    }

    FakeMachine system;
};

TEST_F(FirewallChecksTest, WithoutOneAllIsGood)
{
    EXPECT_THAT(checkFirewall(system.machine), ElementsAre(finds(State::kGood, "no sign of one")));
}

TEST_F(FirewallChecksTest, ProgramsThatSetUpRulesHaveTheirOwnCures)
{
    system.add("/etc/ufw/ufw.conf", "# whether\nENABLED=no\n");
    EXPECT_THAT(checkFirewall(system.machine), ElementsAre(finds(State::kGood, "no sign of one")));
    system.add("/proc/812/comm", "firewalld\n");
    EXPECT_THAT(checkFirewall(system.machine),
                ElementsAre(finds(State::kNote, "firewalld drops", "--zone=trusted")));
    system.add("/etc/ufw/ufw.conf", "# whether\nENABLED=yes\n");
    EXPECT_THAT(checkFirewall(system.machine),
                ElementsAre(finds(State::kNote, "ufw drops", "sudo ufw allow in on")));
}

TEST_F(FirewallChecksTest, RulesThatMayNotBeReadAreLeftToRoot)
{
    system.add("/sys/module/nf_tables/refcnt", "3\n");
    EXPECT_THAT(checkFirewall(system.machine),
                ElementsAre(finds(State::kNote, "root's eyes", "sudo nft list ruleset")));
}

TEST_F(FirewallChecksTest, RulesThatDropWhatIsNotAskedForKeepCamerasOut)
{
    const auto dropped = finds(State::kNote, "answers of cameras", "iifname \"eth1\" accept");
    EXPECT_THAT(checkRules(""), ElementsAre(dropped));
    EXPECT_THAT(checkRules("\t\tct state established,related accept\n\t\tiif \"lo\" accept\n"
                           "\t\ttcp dport 22 accept\n\t\tudp dport 5353 accept\n"),
                ElementsAre(dropped));
}

TEST_F(FirewallChecksTest, RulesThatLetInAnInterfaceOrANetworkAreGood)
{
    for (const char *rule : {"iifname \"eth1\" accept", "ip saddr 192.168.5.0/24 accept"})
        EXPECT_THAT(checkRules(std::string("\t\t") + rule + "\n"),
                    ElementsAre(finds(State::kGood, std::string("by its rule: ") + rule)));
}

TEST_F(FirewallChecksTest, ALastRuleDropsAsAPolicyDoes)
{
    system.add("/sys/module/nf_tables/refcnt", "3\n");
    const std::string start =
        "table ip a {\n\tchain in {\n\t\ttype filter hook input priority 0; policy accept;\n";
    system.answers["nft list ruleset"] = start + "\t\ttcp dport 25 drop\n\t}\n}\n";
    EXPECT_THAT(checkFirewall(system.machine), ElementsAre(finds(State::kGood, "no rule keeps")));
    system.answers["nft list ruleset"] = start + "\t\treject with icmp port-unreachable\n\t}\n}\n";
    EXPECT_THAT(checkFirewall(system.machine), ElementsAre(finds(State::kNote, "answers")));
}

TEST_F(FirewallChecksTest, RulesOfTheOlderKindAreReadAsWell)
{
    EXPECT_THAT(checkOldRules("-P INPUT ACCEPT\n"),
                ElementsAre(finds(State::kGood, "no rule keeps")));
    EXPECT_THAT(
        checkOldRules("-P INPUT DROP\n-A INPUT -i lo -j ACCEPT\n"
                      "-A INPUT -m state --state ESTABLISHED -j ACCEPT\n"),
        ElementsAre(finds(State::kNote, "answers of cameras", "iptables -I INPUT -i eth1")));
    EXPECT_THAT(checkOldRules("-P INPUT DROP\n-A INPUT -i eth1 -j ACCEPT\n"),
                ElementsAre(finds(State::kGood, "-A INPUT -i eth1 -j ACCEPT")));
}

TEST_F(FirewallChecksTest, EitherKindOfRulesCanDrop)
{
    system.answers["nft list ruleset"] = "";
    EXPECT_THAT(checkOldRules("-P INPUT DROP\n"),
                ElementsAre(finds(State::kNote, "answers of cameras", "iptables")));
    system.answers["iptables -S INPUT"] = "-P INPUT ACCEPT\n";
    EXPECT_THAT(checkRules(""), ElementsAre(finds(State::kNote, "answers", "iifname")));
}

}  // namespace
}  // namespace nubrix
