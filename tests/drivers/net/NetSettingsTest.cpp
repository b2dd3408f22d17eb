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
    /// The settings of a file with these entries, and what is said of them.
    NetSettings read(const std::string &entries)
    {
        const std::string file = m_folder.file("nubrixNet.ini");
        std::ofstream(file) << "[network]\n" << entries;
        testing::internal::CaptureStderr();
        NetSettings settings(file);
        m_said = testing::internal::GetCapturedStderr();
        return settings;
    }

    TemporaryFolder m_folder;
    std::string m_said;
};

TEST_F(NetSettingsTest, WithoutAnEntryTheUsualCounts)
{
    for (const NetSettings &settings : {read(""), NetSettings("")}) {
        EXPECT_THAT(settings.addresses(), IsEmpty());
        EXPECT_EQ(settings.silence(), milliseconds(2000));
        EXPECT_EQ(settings.patience(), milliseconds(2000));
        EXPECT_EQ(settings.packetSize(), 0);
        EXPECT_FALSE(settings.usesPacketSocket());
        EXPECT_FALSE(settings.deliversIncomplete());
    }
    EXPECT_EQ(m_said, "");
}

TEST_F(NetSettingsTest, EachEntryIsRead)
{
    const NetSettings settings = read(
        "addresses=10.1.7.20,192.168.7.21\nsilenceMs=1500\npatienceMs=700\r\n"
        "packetSize=4000\npacketSocket=TRUE\nincomplete=1\r\n");
    EXPECT_THAT(settings.addresses(), ElementsAre("10.1.7.20", "192.168.7.21"));
    EXPECT_EQ(settings.silence(), milliseconds(1500));
    EXPECT_EQ(settings.patience(), milliseconds(700));
    EXPECT_EQ(settings.packetSize(), 4000);
    EXPECT_TRUE(settings.usesPacketSocket());
    EXPECT_TRUE(settings.deliversIncomplete());
    EXPECT_EQ(m_said, "");
}

TEST_F(NetSettingsTest, NumbersThatAreNoneOrOutOfRangeAreToldAndLeftOut)
{
    EXPECT_EQ(read("patienceMs=abc\n").patience(), milliseconds(2000));
    EXPECT_THAT(m_said, HasSubstr("patienceMs=abc is no number from 0 to 60000, 2000 is used"));
    EXPECT_EQ(read("patienceMs=5s\n").patience(), milliseconds(2000));
    EXPECT_THAT(m_said, HasSubstr("patienceMs=5s is no number"));
    EXPECT_EQ(read("silenceMs=999\n").silence(), milliseconds(2000));
    EXPECT_THAT(m_said, HasSubstr("silenceMs=999 is no number from 1000 to 60000, 2000 is used"));
    for (const char *size : {"1", "100", "575", "16385", "-1", "99999999999"}) {
        EXPECT_EQ(read("packetSize=" + std::string(size) + "\n").packetSize(), 0) << size;
        EXPECT_THAT(m_said, HasSubstr("is no number from 576 to 16384, 0 is used")) << size;
    }
    for (const int size : {0, 576, 16384})
        EXPECT_EQ(read("packetSize=" + std::to_string(size) + "\n").packetSize(), size);
    EXPECT_EQ(m_said, "");
}

TEST_F(NetSettingsTest, FlagsThatAreNoneAreToldAndLeftOut)
{
    EXPECT_FALSE(read("packetSocket=yes\n").usesPacketSocket());
    EXPECT_THAT(m_said, HasSubstr("packetSocket=yes is neither true nor false, false is used"));
    EXPECT_FALSE(read("incomplete=on\n").deliversIncomplete());
    EXPECT_THAT(m_said, HasSubstr("incomplete=on is neither true nor false, false is used"));
}

TEST_F(NetSettingsTest, WhatIsNoAddressOfOneCameraIsToldAndLeftOut)
{
    EXPECT_THAT(
        read("addresses=0.0.0.0,10.1.7.20,255.255.255.255,camera-7,239.1.1.1\n").addresses(),
        ElementsAre("10.1.7.20"));
    EXPECT_THAT(m_said, AllOf(HasSubstr("\"0.0.0.0\" is no address"),
                              HasSubstr("\"255.255.255.255\" is no address"),
                              HasSubstr("\"camera-7\" is no address"),
                              HasSubstr("\"239.1.1.1\" is no address")));
}

TEST_F(NetSettingsTest, AListOfAddressesIsNotCutWithinOne)
{
    std::string list;
    for (int i = 0; i < 100; ++i)
        list += (i == 0 ? "10.1.100." : ",10.1.100.") + std::to_string(100 + i);
    EXPECT_THAT(read("addresses=" + list + "\n").addresses(), testing::SizeIs(100));
    EXPECT_EQ(m_said, "");
    // Too long even so: each that is left is whole.
    const std::string address = "10.123.123.123";
    std::string longer = address;
    while (longer.size() < 20000)
        longer += "," + address;
    EXPECT_THAT(read("addresses=" + longer + "\n").addresses(), testing::Each(address));
    EXPECT_THAT(m_said, HasSubstr("what comes after them is left out"));
}

}  // namespace
}  // namespace nubrix::net
