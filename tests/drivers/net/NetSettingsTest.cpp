#include "net/NetSettings.h"

#include <gmock/gmock.h>

#include "tests/TemporaryFolder.h"

namespace nubrix::net {
namespace {

using std::chrono::milliseconds;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class NetSettingsTest : public testing::Test {
protected:
    /// The settings of a file with these entries, and of the second one if a test has written it;
    /// their log is in m_log.
    NetSettings read(const std::string &entries)
    {
        writeFile(m_own, "[network]\n" + entries);
        testing::internal::CaptureStderr();
        NetSettings settings({m_own, m_system});
        m_log = testing::internal::GetCapturedStderr();
        return settings;
    }

    TemporaryFolder m_folder;
    const std::string m_own = m_folder.file("nubrixNet.ini");
    const std::string m_system = m_folder.file("system.ini");
    std::string m_log;
};

TEST_F(NetSettingsTest, WithoutAnEntryTheDefaultIsUsed)
{
    for (const NetSettings &settings : {read(""), NetSettings({})}) {
        EXPECT_TRUE(settings.searchesInterfaces());
        EXPECT_THAT(settings.addresses(), IsEmpty());
        EXPECT_EQ(settings.responseTimeout(), milliseconds(2000));
        EXPECT_EQ(settings.holderTimeout(), milliseconds(2000));
        EXPECT_EQ(settings.packetSize(), 0);
        EXPECT_FALSE(settings.usesPacketSocket());
        EXPECT_FALSE(settings.deliversIncomplete());
    }
    EXPECT_EQ(m_log, "");
}

TEST_F(NetSettingsTest, EachEntryIsRead)
{
    const NetSettings settings = read(
        "addresses=10.1.7.20,192.168.7.21\nsilenceMs=1500\npatienceMs=700\r\n"
        "Discovery=0\npacketSize=4000\npacketSocket=TRUE\nincomplete=1\r\n");
    EXPECT_FALSE(settings.searchesInterfaces());
    EXPECT_THAT(settings.addresses(), ElementsAre("10.1.7.20", "192.168.7.21"));
    EXPECT_EQ(settings.responseTimeout(), milliseconds(1500));
    EXPECT_EQ(settings.holderTimeout(), milliseconds(700));
    EXPECT_EQ(settings.packetSize(), 4000);
    EXPECT_TRUE(settings.usesPacketSocket());
    EXPECT_TRUE(settings.deliversIncomplete());
    EXPECT_EQ(m_log, "");
}

TEST_F(NetSettingsTest, InvalidNumbersAreReportedAndIgnored)
{
    EXPECT_EQ(read("patienceMs=abc\n").holderTimeout(), milliseconds(2000));
    EXPECT_THAT(m_log, HasSubstr("patienceMs=abc is not a number from 0 to 60000, 2000 is used"));
    EXPECT_EQ(read("patienceMs=5s\n").holderTimeout(), milliseconds(2000));
    EXPECT_THAT(m_log, HasSubstr("patienceMs=5s is not a number"));
    EXPECT_EQ(read("silenceMs=999\n").responseTimeout(), milliseconds(2000));
    EXPECT_THAT(m_log, HasSubstr("silenceMs=999 is not a number from 1000 to 60000, 2000 is used"));
    for (const char *size : {"1", "100", "575", "16385", "-1", "99999999999"}) {
        EXPECT_EQ(read("packetSize=" + std::string(size) + "\n").packetSize(), 0) << size;
        EXPECT_THAT(m_log, HasSubstr("is not a number from 576 to 16384, 0 is used")) << size;
    }
    for (const int size : {0, 576, 16384})
        EXPECT_EQ(read("packetSize=" + std::to_string(size) + "\n").packetSize(), size);
    EXPECT_EQ(m_log, "");
}

TEST_F(NetSettingsTest, InvalidFlagsAreReportedAndIgnored)
{
    EXPECT_FALSE(read("packetSocket=yes\n").usesPacketSocket());
    EXPECT_THAT(m_log, HasSubstr("packetSocket=yes is neither true nor false, false is used"));
    EXPECT_TRUE(read("Discovery=off\n").searchesInterfaces());
    EXPECT_THAT(m_log, HasSubstr("Discovery=off is neither true nor false, true is used"));
    EXPECT_FALSE(read("incomplete=on\n").deliversIncomplete());
    EXPECT_THAT(m_log, HasSubstr("incomplete=on is neither true nor false, false is used"));
}

TEST_F(NetSettingsTest, InvalidAddressesAreReportedAndIgnored)
{
    EXPECT_THAT(
        read("addresses=0.0.0.0,10.1.7.20,255.255.255.255,camera-7,239.1.1.1\n").addresses(),
        ElementsAre("10.1.7.20"));
    EXPECT_THAT(m_log, AllOf(HasSubstr("\"0.0.0.0\" is not an address"),
                             HasSubstr("\"255.255.255.255\" is not an address"),
                             HasSubstr("\"camera-7\" is not an address"),
                             HasSubstr("\"239.1.1.1\" is not an address")));
}

TEST_F(NetSettingsTest, ALongListOfAddressesIsCutBetweenTwoOfThem)
{
    std::string list;
    for (int i = 0; i < 100; ++i)
        list += (i == 0 ? "10.1.100." : ",10.1.100.") + std::to_string(100 + i);
    EXPECT_THAT(read("addresses=" + list + "\n").addresses(), testing::SizeIs(100));
    EXPECT_EQ(m_log, "");
    // The list is cut even so: each address that is left is complete.
    const std::string address = "10.123.123.123";
    std::string longer = address;
    while (longer.size() < 20000)
        longer += "," + address;
    EXPECT_THAT(read("addresses=" + longer + "\n").addresses(), testing::Each(address));
    EXPECT_THAT(m_log, HasSubstr("the others are ignored"));
}

TEST_F(NetSettingsTest, TheSecondFileOverridesTheFirstEntryByEntry)
{
    writeFile(m_system, "[network]\naddresses=10.1.7.20\nDiscovery=1\npacketSize=4000\n");
    const NetSettings settings =
        read("addresses=10.1.7.21,10.1.7.22\nDiscovery=0\nsilenceMs=1500\n");
    EXPECT_THAT(settings.addresses(), ElementsAre("10.1.7.20"));
    EXPECT_TRUE(settings.searchesInterfaces());
    EXPECT_EQ(settings.packetSize(), 4000);
    EXPECT_EQ(settings.responseTimeout(), milliseconds(1500));
    EXPECT_EQ(settings.holderTimeout(), milliseconds(2000));
    EXPECT_EQ(m_log, "");
}

TEST_F(NetSettingsTest, TheSecondFileAloneIsEnough)
{
    writeFile(m_system, "[network]\nsilenceMs=1500\n[SN1]\ndepth=\"Mono16\"\n");
    const NetSettings settings({m_folder.file("none.ini"), m_system});
    EXPECT_EQ(settings.responseTimeout(), milliseconds(1500));
    EXPECT_EQ(settings.formatOf("SN1", "depth"), "Mono16");
}

TEST_F(NetSettingsTest, TheSectionOfACameraIsOverriddenEntryByEntry)
{
    writeFile(m_system, "[SN1]\nir=\"Mono10\"\ncolor=\"RGB8\"\n[SN2]\ndepth=\"Mono16\"\n");
    const NetSettings settings = read("[SN1]\ndepth=\"Coord3D_C16\"\nir=\"Mono8\"\n");
    EXPECT_EQ(settings.formatOf("SN1", "depth"), "Coord3D_C16");
    EXPECT_EQ(settings.formatOf("SN1", "ir"), "Mono10");
    EXPECT_EQ(settings.formatOf("SN1", "color"), "RGB8");
    EXPECT_EQ(settings.formatOf("SN2", "depth"), "Mono16");
    EXPECT_EQ(settings.formatOf("SN2", "ir"), "");
}

TEST_F(NetSettingsTest, AnEntryWithoutTextRestoresTheDefault)
{
    writeFile(m_system, "[network]\naddresses=\nDiscovery=\nsilenceMs=\n[SN1]\nir=\"\"\n");
    const NetSettings settings =
        read("addresses=10.1.7.21\nDiscovery=0\nsilenceMs=1500\n[SN1]\nir=\"Mono8\"\n");
    EXPECT_THAT(settings.addresses(), IsEmpty());
    EXPECT_TRUE(settings.searchesInterfaces());
    EXPECT_EQ(settings.responseTimeout(), milliseconds(2000));
    EXPECT_EQ(settings.formatOf("SN1", "ir"), "");
    EXPECT_EQ(m_log, "");
}

TEST_F(NetSettingsTest, AnInvalidEntryOverridesNothingAndIsReportedWithThePathOfItsFile)
{
    writeFile(m_system, "[network]\nsilenceMs=abc\nDiscovery=off\naddresses=camera-7\n");
    const NetSettings settings = read("silenceMs=1500\nDiscovery=0\n");
    EXPECT_EQ(settings.responseTimeout(), milliseconds(1500));
    EXPECT_FALSE(settings.searchesInterfaces());
    EXPECT_THAT(m_log,
                AllOf(HasSubstr(m_system + ": silenceMs=abc is not a number from 1000 to 60000, "
                                           "1500 is used"),
                      HasSubstr(m_system + ": Discovery=off is neither true nor false, false is "
                                           "used"),
                      HasSubstr(m_system + ": \"camera-7\" is not an address")));
    read("silenceMs=5s\n");
    EXPECT_THAT(m_log, HasSubstr(m_own + ": silenceMs=5s is not a number"));
}

TEST_F(NetSettingsTest, AFileThatCannotBeUsedIsReportedByItsPathAndIgnored)
{
    std::filesystem::create_directory(m_system);
    EXPECT_EQ(read("silenceMs=1500\n").responseTimeout(), milliseconds(1500));
    EXPECT_THAT(m_log,
                HasSubstr(m_system + ": ignored, because it cannot be read: Is a directory"));
    std::filesystem::remove(m_system);
    writeFile(m_system, "silenceMs=3000\n");
    EXPECT_EQ(read("silenceMs=1500\n").responseTimeout(), milliseconds(1500));
    EXPECT_THAT(m_log, HasSubstr(m_system + ": ignored, because it has entries, but no section"));
}

}  // namespace
}  // namespace nubrix::net
