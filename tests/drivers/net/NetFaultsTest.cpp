#include <dirent.h>
#include <gmock/gmock.h>
#include <malloc.h>

#include <chrono>
#include <csignal>
#include <future>
#include <thread>

#include "tests/drivers/net/CameraProcess.h"
#include "tests/drivers/net/NetFixture.h"

namespace nubrix {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

class NetFaultsTest : public NetTest {
protected:
    static int entriesOf(const char *folder)
    {
        DIR *open = opendir(folder);
        int count = 0;
        while (readdir(open) != nullptr)
            ++count;
        closedir(open);
        return count;
    }

    /// Until the driver knows that the camera is gone; false after the deadline.
    static bool awaitGone(NubrixBaseDevice &device)
    {
        const auto end = std::chrono::steady_clock::now() + kDeadline;
        while (device.deviceState() != int{NUBRIX_DEVICE_DISCONNECTED}) {
            if (std::chrono::steady_clock::now() > end)
                return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return true;
    }
};

/// The depth of a camera.
struct Streaming {
    explicit Streaming(NetDriver &driver)
        : device(driver, "net:127.0.0.1"), stream(*device, NUBRIX_STREAM_DEPTH)
    {
        EXPECT_EQ(stream.start(), 0);
        EXPECT_TRUE(stream.sink().await(3));
    }

    const OpenCamera device;
    PixelStream stream;
};

TEST_F(NetFaultsTest, ACameraThatVanishesWhileItStreamsIsGoneAndComesBack)
{
    auto camera = serve(depthCamera());
    ASSERT_EQ(list().size(), 1U);
    {
        const OpenCamera device = open();
        ASSERT_TRUE(device);
        PixelStream stream(*device, NUBRIX_STREAM_DEPTH);
        ASSERT_EQ(stream.start(), 0);
        ASSERT_TRUE(stream.sink().await(3));
        camera.reset();
        ASSERT_THAT(m_events.await(1), ElementsAre("-net:127.0.0.1 N1"));
        EXPECT_TRUE(awaitGone(*device));
        EXPECT_EQ(device->keepLiveState(), 0);
        EXPECT_EQ(stream.stop(), 0);
        EXPECT_EQ(stream.pool().inUse(), 0);
        EXPECT_EQ(stream.start(), -9);
        unsigned int value = 0;
        unsigned int size = sizeof value;
        EXPECT_EQ(device->getProperty(75, &value, &size), -9);
    }
    camera = serve(depthCamera());
    ASSERT_THAT(m_events.await(2), ElementsAre("-net:127.0.0.1 N1", "+net:127.0.0.1 N1"));
    const OpenCamera device = open();
    ASSERT_TRUE(device);
    PixelStream stream(*device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    EXPECT_TRUE(stream.sink().await(3));
}

TEST_F(NetFaultsTest, ASilentCameraIsLostBeforeTheProtocolNoticesAndEverythingEnds)
{
    const CameraProcess camera("serve", "127.0.0.1");
    Streaming streaming(driver());
    PixelStream &stream = streaming.stream;
    ASSERT_THAT(list(), SizeIs(1));
    camera.stop();
    ASSERT_THAT(m_events.await(1), ElementsAre("-net:127.0.0.1 PROCESS"));
    EXPECT_EQ(streaming.device->deviceState(), int{NUBRIX_DEVICE_DISCONNECTED});
    EXPECT_EQ(stream.stop(), 0);
    EXPECT_EQ(stream.pool().inUse(), 0);
    camera.resume();
}

TEST_F(NetFaultsTest, OperationsOnACameraThatHasJustFallenSilentEnd)
{
    const CameraProcess camera("serve", "127.0.0.1");
    Streaming streaming(driver());
    PixelStream &stream = streaming.stream;
    camera.stop();
    double exposure = 0;
    unsigned int size = sizeof exposure;
    EXPECT_EQ(streaming.device->getProperty(0x5c00, &exposure, &size), -9);
    EXPECT_EQ(stream.stop(), 0);
    EXPECT_EQ(stream.pool().inUse(), 0);
    EXPECT_EQ(stream.start(), -9);
    EXPECT_EQ(stream.pool().inUse(), 0);
    camera.resume();
}

TEST_F(NetFaultsTest, ACameraThatIsOnlySlowForAMomentIsKept)
{
    const CameraProcess camera("serve", "127.0.0.1");
    Streaming streaming(driver());
    PixelStream &stream = streaming.stream;
    ASSERT_THAT(list(), SizeIs(1));
    camera.stop();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));  // a cable put back at once
    camera.resume();
    const std::size_t before = stream.sink().count();
    EXPECT_TRUE(stream.sink().await(before + 5));
    EXPECT_EQ(streaming.device->deviceState(), int{NUBRIX_DEVICE_CONNECTED});
}

TEST_F(NetFaultsTest, OpeningAndClosingManyTimesLeavesNothingBehind)
{
    SimulatedCameraSettings settings = depthCamera();
    settings.formats = {kCoord3d, kBgr8};  // as it is, and converted
    const auto camera = serve(settings);
    const auto once = [&](int round) {
        const OpenCamera device = open();
        ASSERT_TRUE(device);
        PixelStream stream(*device, round % 2 == 0 ? NUBRIX_STREAM_DEPTH : NUBRIX_STREAM_COLOR);
        ASSERT_EQ(stream.start(), 0);
        ASSERT_TRUE(stream.sink().await(1));
    };
    for (int round = 0; round < 20; ++round)
        once(round);
    const int threads = entriesOf("/proc/self/task");
    const int descriptors = entriesOf("/proc/self/fd");
    const struct mallinfo2 memory = mallinfo2();
    for (int round = 0; round < 200; ++round)
        once(round);
    const struct mallinfo2 after = mallinfo2();
    EXPECT_LE(entriesOf("/proc/self/task"), threads + 1);
    EXPECT_LE(entriesOf("/proc/self/fd"), descriptors + 2);
    // A leak of 5 kB a round would show.
    EXPECT_LE(after.uordblks, memory.uordblks + 1000 * 1000);
    // Large blocks are mapped; one picture a round would be a hundred times as much.
    EXPECT_LE(after.uordblks + after.hblkhd, memory.uordblks + memory.hblkhd + 2000 * 1000);
}

}  // namespace
}  // namespace nubrix
