#include "doctor/Checks.h"

#include "tests/tools/doctor/FakeMachine.h"

namespace nubrix::tool {
namespace {

using testing::ElementsAre;
using State = Finding::State;

class NetSettingsChecksTest : public testing::Test {
protected:
    NetSettingsChecksTest()
    {
        system.addInterface("eth1", "1000", "1500");
        system.machine.addresses = {{"eth1", "10.1.0.1", 16}};
    }

    Findings check(const std::string &entries) const
    {
        system.add(kFile, "[network]\n" + entries + "\n");
        return check();
    }
    Findings check() const { return checkNetSettings(system.machine, {kFile, kSystemFile}); }
    /// One route as the kernel lists it, with hexadecimal addresses in reversed byte order.
    static std::string route(const std::string &interface, const std::string &network,
                             const std::string &mask)
    {
        return interface + "\t" + network + "\t010200C0\t0003\t0\t0\t0\t" + mask + "\t0\t0\t0\n";
    }

    static constexpr const char *kFile = "/usr/lib/nubrixNet.ini";
    static constexpr const char *kSystemFile = "/etc/nubrix/nubrixNet.ini";
    FakeMachine system;
};

TEST_F(NetSettingsChecksTest, TheFileMayBeLeftOut)
{
    EXPECT_THAT(check(), ElementsAre(finds(State::kGood,
                                           "there is none at /usr/lib/nubrixNet.ini or "
                                           "/etc/nubrix/nubrixNet.ini")));
    EXPECT_THAT(check("silenceMs=3000"),
                ElementsAre(finds(State::kGood, "contains no camera addresses")));
}

TEST_F(NetSettingsChecksTest, AFileThatCannotBeReadIsAProblem)
{
    // Not even root reads a folder as a file.
    std::filesystem::create_directories(system.machine.path(kFile));
    EXPECT_THAT(check(),
                ElementsAre(finds(State::kProblem, "cannot be read: /usr/lib/nubrixNet.ini",
                                  "chmod a+r /usr/lib/nubrixNet.ini")));
}

TEST_F(NetSettingsChecksTest, AddressesInTheNetworkOfAnInterfaceAreGood)
{
    EXPECT_THAT(check("addresses=10.1.7.20,10.1.7.21"),
                ElementsAre(finds(State::kGood, "10.1.7.20 can be reached through eth1"),
                            finds(State::kGood, "10.1.7.21 can be reached through eth1")));
}

TEST_F(NetSettingsChecksTest, CamerasBehindARouterAreReachedByARoute)
{
    const std::string entry = "addresses=192.168.7.20";
    EXPECT_THAT(check(entry),
                ElementsAre(finds(State::kProblem, "no interface has a route to 192.168.7.20",
                                  "ip address add")));
    const std::string title = "Iface\tDestination\tGateway\tFlags\n";
    system.add("/proc/net/route", title + route("eth1", "0009A8C0", "00FFFFFF"));
    EXPECT_THAT(check(entry), ElementsAre(finds(State::kProblem, "no interface has a route")));
    system.add("/proc/net/route", title + route("eth2", "0007A8C0", "00FFFFFF") +
                                      route("eth1", "00000000", "00000000"));
    EXPECT_THAT(check(entry),
                ElementsAre(finds(State::kGood, "192.168.7.20 can be reached through eth2")));
    EXPECT_THAT(check("addresses=192.168.8.20"),
                ElementsAre(finds(State::kGood, "192.168.8.20 can be reached through eth1")));
}

TEST_F(NetSettingsChecksTest, AnInvalidAddressIsReported)
{
    EXPECT_THAT(
        check("addresses=10.1.7.20,camera-7"),
        ElementsAre(finds(State::kGood, "10.1.7.20"),
                    finds(State::kProblem, "\"camera-7\" is no address", "without spaces")));
}

TEST_F(NetSettingsChecksTest, EntriesThatTheDriverIgnoresAreProblems)
{
    for (const auto &[entry, text] : std::map<std::string, std::string>{
             {"patienceMs=5s", "patienceMs=5s is not a number from 0 to 60000"},
             {"silenceMs=abc", "silenceMs=abc is not a number from 1000 to 60000"},
             {"silenceMs=999", "silenceMs=999 is not a number"},
             {"packetSize=100", "packetSize=100 is not a number from 576 to 16384"},
             {"packetSocket=yes", "packetSocket=yes is not true or false"},
             {"incomplete=2", "incomplete=2 is not true or false"},
             {"Discovery=off", "Discovery=off is not true or false"},
             {"addresses=0.0.0.0", "\"0.0.0.0\" is no address of a camera"},
             {"addresses=255.255.255.255", "\"255.255.255.255\" is no address"}})
        EXPECT_THAT(check(entry), ElementsAre(finds(State::kProblem, text))) << entry;
    for (const char *entry : {"patienceMs=0", "silenceMs=60000", "packetSize=0", "packetSize=576",
                              "incomplete=TRUE", "Discovery=1", "Discovery=true"})
        EXPECT_THAT(check(entry), ElementsAre(finds(State::kGood, "contains no camera addresses")))
            << entry;
}

TEST_F(NetSettingsChecksTest, DiscoveryThatIsSwitchedOffIsMentioned)
{
    for (const char *entry : {"Discovery=0", "Discovery=False"}) {
        EXPECT_THAT(check(entry),
                    ElementsAre(finds(State::kNote, "found at the entry addresses alone",
                                      "remove the line")))
            << entry;
    }
    EXPECT_THAT(check("Discovery=0\naddresses=10.1.7.20"),
                ElementsAre(finds(State::kGood, "10.1.7.20 can be reached"),
                            finds(State::kNote, "Discovery=0")));
}

TEST_F(NetSettingsChecksTest, APacketSizeAboveThatOfAllInterfacesIsAProblem)
{
    system.addLoopback();  // whose packets may be larger
    EXPECT_THAT(check("packetSize=1500"), ElementsAre(finds(State::kGood, "no camera addresses")));
    EXPECT_THAT(
        check("packetSize=9000"),
        ElementsAre(finds(State::kProblem,
                          "packetSize=9000 is larger than the packets of any interface (1500)",
                          "remove packetSize")));
}

TEST_F(NetSettingsChecksTest, BothFilesAreNamed)
{
    system.add(kSystemFile, "[network]\nsilenceMs=3000\n");
    EXPECT_THAT(check(), ElementsAre(finds(State::kGood, std::string(kSystemFile) +
                                                             ": it contains no camera addresses")));
    EXPECT_THAT(
        check("silenceMs=abc"),
        ElementsAre(finds(State::kProblem, std::string(kFile) + ": silenceMs=abc is not a number"),
                    finds(State::kGood, std::string(kSystemFile) + ": it contains")));
    system.add(kSystemFile, "[network]\nsilenceMs=5s\n");
    EXPECT_THAT(check("silenceMs=3000"),
                ElementsAre(finds(State::kGood, std::string(kFile) + ": it contains"),
                            finds(State::kProblem, std::string(kSystemFile) + ": silenceMs=5s")));
}

TEST_F(NetSettingsChecksTest, TheSecondFileOverridesTheFirst)
{
    system.add(kSystemFile, "[network]\naddresses=10.1.7.20\nDiscovery=1\npacketSize=1500\n");
    EXPECT_THAT(check("addresses=192.168.7.20\nDiscovery=0\npacketSize=9000"),
                ElementsAre(finds(State::kGood,
                                  std::string(kFile) + ": its camera addresses are overridden"),
                            finds(State::kGood, std::string(kSystemFile) +
                                                    ": a camera at 10.1.7.20 can be reached")));
    // An invalid entry overrides nothing.
    system.add(kSystemFile, "[network]\nDiscovery=off\n");
    EXPECT_THAT(check("Discovery=0"),
                ElementsAre(finds(State::kNote, std::string(kFile) + ": Discovery=0"),
                            finds(State::kProblem, std::string(kSystemFile) + ": Discovery=off")));
    // An empty one stands for the default.
    system.add(kSystemFile, "[network]\nDiscovery=\n");
    EXPECT_THAT(check("Discovery=0"),
                ElementsAre(finds(State::kGood, kFile), finds(State::kGood, kSystemFile)));
}

TEST_F(NetSettingsChecksTest, AFileThatTheDriverIgnoresIsAProblem)
{
    system.add(kSystemFile, "Discovery=0\n");
    EXPECT_THAT(check("silenceMs=3000"),
                ElementsAre(finds(State::kGood, kFile),
                            finds(State::kProblem,
                                  std::string(kSystemFile) +
                                      ": it has entries, but no section: the driver ignores it",
                                  "docs/network.md")));
    std::filesystem::remove(system.machine.path(kSystemFile));
    std::filesystem::create_directory(system.machine.path(kSystemFile));
    EXPECT_THAT(check("silenceMs=3000"),
                ElementsAre(finds(State::kGood, kFile),
                            finds(State::kProblem, "cannot be read: /etc/nubrix/nubrixNet.ini",
                                  "chmod a+r /etc/nubrix/nubrixNet.ini")));
}

}  // namespace
}  // namespace nubrix::tool
