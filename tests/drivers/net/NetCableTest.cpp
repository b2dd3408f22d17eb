#include <gmock/gmock.h>

#include <cstdlib>

#include "net/CameraFinder.h"
#include "tests/Paths.h"
#include "tests/drivers/net/CameraProcess.h"
#include "tests/drivers/net/NetFixture.h"

namespace nubrix::net {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

constexpr const char *kUri = "net:10.9.0.2";

/// A camera at the other end of a cable, which a broadcast finds and no settings name.
class NetCableTest : public NetTest {
protected:
    void SetUp() override
    {
        NetTest::SetUp();
        if (!IsSkipped() && !run("ip link add tried type veth peer name other"))
            GTEST_SKIP() << "this system has no virtual cables";
        if (!IsSkipped())
            run("ip link delete tried");
    }

    static bool run(const std::string &command) { return std::system(command.c_str()) == 0; }
    static void pull() { EXPECT_TRUE(run("ip link set cable down")); }
    static void plugIn() { EXPECT_TRUE(run("ip link set cable up")); }
};

TEST_F(NetCableTest, ACameraIsFoundByABroadcast)
{
    const CameraProcess camera("serve", "10.9.0.2", paths::kBehindCable);
    const auto records = awaitListed(1);
    ASSERT_THAT(records, SizeIs(1));
    EXPECT_STREQ(records.front().uri, kUri);
    EXPECT_STREQ(records.front().serialNumber, "PROCESS");
}

TEST_F(NetCableTest, AnInterfaceWithoutACarrierIsNotAwaited)
{
    ASSERT_TRUE(run("ip link add cable type veth peer name plug"));
    ASSERT_TRUE(run("ip address add 10.9.0.1/24 dev cable"));
    ASSERT_TRUE(run("ip link set cable up"));
    const auto isAwaited = [] {
        CameraFinder finder(true);
        finder.sendRequests({});
        const auto end = UdpSocket::Clock::now() + std::chrono::milliseconds(50);
        while (finder.isAnswerPossible() && UdpSocket::Clock::now() < end)
            finder.awaitAnswer(end);
        return finder.isAnswerPossible();
    };
    EXPECT_TRUE(eventually([&] { return !isAwaited(); }));
    ASSERT_TRUE(run("ip link set plug up"));
    EXPECT_TRUE(eventually(isAwaited));
    EXPECT_TRUE(run("ip link delete cable"));
}

TEST_F(NetCableTest, APulledCableRemovesTheCameraUntilItIsPluggedInAgain)
{
    write("[network]\npatienceMs=60000\n");
    const CameraProcess camera("serve", "10.9.0.2", paths::kBehindCable);
    ASSERT_THAT(awaitListed(1), SizeIs(1));
    {
        const OpenCamera device = open(kUri);
        ASSERT_TRUE(device);
        PixelStream stream(*device, NUBRIX_STREAM_DEPTH);
        ASSERT_EQ(stream.start(), 0);
        ASSERT_TRUE(stream.sink().await(3));
        pull();
        ASSERT_THAT(m_events.await(1), ElementsAre("-net:10.9.0.2 PROCESS"));
        EXPECT_EQ(device->deviceState(), int{NUBRIX_DEVICE_DISCONNECTED});
        EXPECT_EQ(stream.stop(), 0);
        EXPECT_EQ(stream.start(), -9);
    }
    plugIn();
    ASSERT_THAT(m_events.await(2), ElementsAre("-net:10.9.0.2 PROCESS", "+net:10.9.0.2 PROCESS"));
    // The remaining requests of the lost device do not disturb this one.
    const OpenCamera device = open(kUri);
    ASSERT_TRUE(device);
    PixelStream stream(*device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    EXPECT_TRUE(stream.sink().await(3));
}

TEST_F(NetCableTest, ACablePluggedInAgainAtOnceKeepsTheCamera)
{
    const CameraProcess camera("serve", "10.9.0.2", paths::kBehindCable);
    ASSERT_THAT(awaitListed(1), SizeIs(1));
    const OpenCamera device = open(kUri);
    ASSERT_TRUE(device);
    PixelStream stream(*device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(stream.sink().await(3));
    pull();
    plugIn();
    const std::size_t before = stream.sink().count();
    EXPECT_TRUE(stream.sink().await(before + 5));
    EXPECT_EQ(device->deviceState(), int{NUBRIX_DEVICE_CONNECTED});
}

}  // namespace
}  // namespace nubrix::net
