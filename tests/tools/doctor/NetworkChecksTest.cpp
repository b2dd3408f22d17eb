#include "doctor/Checks.h"

#include "tests/tools/doctor/FakeMachine.h"

namespace nubrix::tool {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using State = Finding::State;

class NetworkChecksTest : public testing::Test {
protected:
    void addAddress(const std::string &interface, const std::string &text, unsigned int prefix = 24)
    {
        system.machine.addresses.push_back({interface, text, prefix});
    }
    /// A socket as the kernel lists it; of this process unless it is empty.
    void addSocket(const std::string &local, const std::string &inode, const std::string &process)
    {
        m_sockets += "  12: " + local + " 00000000:0000 07 00000000:00000000 00:00000000 00000000" +
                     "  1000        0 " + inode + " 2 0000000000000000 0\n";
        system.add("/proc/net/udp", "   sl  local_address rem_address   st tx_queue\n" + m_sockets);
        if (process.empty())
            return;
        system.add("/proc/" + process + "/comm", "camera-thing\n");
        system.add("/proc/" + process + "/fd/0");
        std::filesystem::create_symlink("socket:[" + inode + "]",
                                        machine.path("/proc/" + process + "/fd/" + inode));
    }

    FakeMachine system;
    const Machine &machine = system.machine;

private:
    std::string m_sockets;
};

TEST_F(NetworkChecksTest, AnInterfaceThatSuitsCamerasIsGood)
{
    system.addInterface("eth1");
    addAddress("eth1", "192.168.5.1");
    addAddress("eth1", "169.254.1.1", 16);
    const Findings found = checkInterfaces(machine);
    EXPECT_THAT(found, ElementsAre(finds(State::kGood,
                                         "192.168.5.1/24, 169.254.1.1/16, 1000 "
                                         "Mbit/s, packets of 9000 bytes")));
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].name, "eth1");
}

TEST_F(NetworkChecksTest, InterfacesThatAreDownUnpluggedOrWithoutAddressAreReported)
{
    for (const char *name : {"eth1", "eth2", "eth3"})
        system.addInterface(name);
    system.add("/sys/class/net/eth1/flags", "0x1002\n");
    system.add("/sys/class/net/eth2/carrier", "0\n");
    EXPECT_THAT(checkInterfaces(machine),
                ElementsAre(finds(State::kNote, "down", "sudo ip link set eth1 up"),
                            finds(State::kNote, "no device is connected", "connect and power"),
                            finds(State::kNote, "no IPv4 address", "16 dev eth3")));
}

TEST_F(NetworkChecksTest, LargePacketsAreRecommendedForFastInterfaces)
{
    system.addInterface("eth1", "1000", "1500");
    system.addInterface("eth2", "10000", "1500");
    system.addInterface("eth3", "-1", "1500");  // unknown speed
    for (const char *name : {"eth1", "eth2", "eth3"})
        addAddress(name, "10.0.0.1");
    EXPECT_THAT(checkInterfaces(machine),
                ElementsAre(finds(State::kNote, "1500 bytes", "ip link set eth1 mtu 9000"),
                            finds(State::kNote, "1500 bytes", "ip link set eth2 mtu 9000"),
                            finds(State::kGood, "10.0.0.1/24, packets of 1500 bytes")));
}

TEST_F(NetworkChecksTest, SlowCablesAndRadioAreReported)
{
    system.addInterface("eth1", "100", "1500");
    system.addInterface("eth2");
    system.add("/sys/class/net/eth2/duplex", "half\n");
    system.addInterface("wlan0", "", "1500");
    system.add("/sys/class/net/wlan0/wireless/x");
    for (const char *name : {"eth1", "eth2", "wlan0"})
        addAddress(name, "10.0.0.1");
    EXPECT_THAT(checkInterfaces(machine),
                ElementsAre(finds(State::kNote, "100 Mbit/s, packets of 1500 bytes: too slow",
                                  "1000 Mbit/s"),
                            finds(State::kNote, "too slow", "1000 Mbit/s"),
                            finds(State::kNote, "a radio link", "use a cable")));
}

TEST_F(NetworkChecksTest, LoopbackAndVirtualInterfacesDoNotCount)
{
    system.add("/sys/class/net/lo/type", "772\n");
    addAddress("lo", "127.0.0.1", 8);
    system.add("/sys/class/net/ifb0/type", "1\n");  // software, without an address
    EXPECT_THAT(checkInterfaces(machine),
                ElementsAre(finds(State::kNote, "no interface", "ip link")));
}

TEST_F(NetworkChecksTest, TwoInterfacesInOneNetworkAreReported)
{
    system.addInterface("eth1");
    system.addInterface("eth2");
    addAddress("eth1", "192.168.5.1");
    addAddress("eth2", "192.168.6.1");
    EXPECT_THAT(checkNetworks(machine), IsEmpty());
    addAddress("eth2", "192.168.5.77");
    addAddress("eth2", "192.168.5.78");
    const Findings found = checkNetworks(machine);
    EXPECT_THAT(found, ElementsAre(finds(State::kNote, "eth1 and eth2", "a separate network")));
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].name, "network 192.168.5.0/24");
}

TEST_F(NetworkChecksTest, SocketsNeedSpaceForAFrame)
{
    system.add("/proc/sys/net/core/rmem_max", "212992\n");
    EXPECT_THAT(checkSocketBuffers(machine),
                ElementsAre(finds(State::kNote, "208 KiB: frames of network cameras are lost",
                                  "sysctl -w net.core.rmem_max=4194304")));
    system.add("/proc/sys/net/core/rmem_max", "1048576\n");
    EXPECT_THAT(checkSocketBuffers(machine),
                ElementsAre(finds(State::kNote, "1024 KiB: larger frames", "rmem_max=4194304")));
    system.add("/proc/sys/net/core/rmem_max", "4194304\n");
    EXPECT_THAT(checkSocketBuffers(machine), ElementsAre(finds(State::kGood, "4096 KiB")));
}

TEST_F(NetworkChecksTest, AStrictReversePathFilterIsReported)
{
    system.addInterface("eth1");
    system.addInterface("eth2");
    const std::string folder = "/proc/sys/net/ipv4/conf/";
    system.add(folder + "all/rp_filter", "0\n");
    system.add(folder + "eth1/rp_filter", "0\n");
    system.add(folder + "eth2/rp_filter", "1\n");
    const auto strict = [](const char *cure) {
        return finds(State::kNote, "strict reverse path filter", cure);
    };
    EXPECT_THAT(checkReversePath(machine), ElementsAre(strict("conf.eth2.rp_filter=2")));
    system.add(folder + "all/rp_filter", "1\n");
    EXPECT_THAT(checkReversePath(machine),
                ElementsAre(strict("conf.eth1.rp_filter=2"), strict("conf.eth2.rp_filter=2")));
    system.add(folder + "all/rp_filter", "2\n");
    EXPECT_THAT(checkReversePath(machine), IsEmpty());
}

TEST_F(NetworkChecksTest, AProgramThatUsesTheCameraPortIsNamed)
{
    addAddress("lo", "127.0.0.1", 8);
    addAddress("eth1", "192.168.5.1");
    addSocket("0100007F:0035", "55", "9");   // another port
    addSocket("FFFFFF7F:0F74", "72", "17");  // a broadcast address
    EXPECT_THAT(checkCameraPort(machine), IsEmpty());
    addSocket("0100007F:0F74", "71", "17");
    addSocket("0105A8C0:0F74", "73", "17");
    EXPECT_THAT(checkCameraPort(machine),
                ElementsAre(finds(State::kNote,
                                  "camera-thing (process 17) is a camera on this machine, at "
                                  "127.0.0.1, 192.168.5.1",
                                  "end it")));
}

TEST_F(NetworkChecksTest, AnInvisibleProgramBelongsToAnotherUser)
{
    addSocket("00000000:0F74", "71", "");
    EXPECT_THAT(checkCameraPort(machine), ElementsAre(finds(State::kNote, "of another user")));
}

TEST(NetworkMachineTest, AFileThatCannotBeReadIsEmpty)
{
    EXPECT_EQ(Machine::real().read("/proc"), "");
    const FakeMachine system;
    system.add("/there/is/one", " one\n");
    EXPECT_EQ(system.machine.read("/there/is"), "");
    EXPECT_EQ(system.machine.read("/there/is/one"), "one");
}

TEST(NetworkMachineTest, TheRealOneHasItsLoopbackAddressAndTheOutputOfCommands)
{
    const Machine machine = Machine::real();
    const auto loopback = testing::AllOf(testing::Field(&Machine::Address::text, "127.0.0.1"),
                                         testing::Field(&Machine::Address::prefix, 8U));
    EXPECT_THAT(machine.addresses, testing::Contains(loopback));
    EXPECT_EQ(machine.run("echo two words"), "two words\n");
    EXPECT_EQ(machine.run("echo something; false"), std::nullopt);
    EXPECT_EQ(machine.run("there-is-no-such-command"), std::nullopt);
}

}  // namespace
}  // namespace nubrix::tool
