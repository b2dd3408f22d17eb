#include "net/NetSettings.h"

#include <gmock/gmock.h>

#include <fstream>

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
    /// The settings of a file with these entries; their log is in m_log.
    NetSettings read(const std::string &entries)
    {
        const std::string file = m_folder.file("nubrixNet.ini");
        std::ofstream(file) << "[network]\n" << entries;
        testing::internal::CaptureStderr();
        NetSettings settings(file);
        m_log = testing::internal::GetCapturedStderr();
        return settings;
    }

    TemporaryFolder m_folder;
    std::string m_log;
};

TEST_F(NetSettingsTest, WithoutAnEntryTheDefaultIsUsed)
{
    for (const NetSettings &settings : {read(""), NetSettings("")}) {
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

}  // namespace
}  // namespace nubrix::net
