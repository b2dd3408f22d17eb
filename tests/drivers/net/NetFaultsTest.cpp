#include <dirent.h>
#include <gmock/gmock.h>
#include <malloc.h>

#include <chrono>
#include <csignal>
#include <future>
#include <thread>

#include "tests/drivers/net/CameraProcess.h"
#include "tests/drivers/net/NetFixture.h"

namespace nubrix::net {
namespace {

using testing::ElementsAre;
using testing::SizeIs;
using testing::UnorderedElementsAre;

/// Calls may take a second with an unresponsive camera. The timeout of Aravis is three seconds for
/// each request.
constexpr std::chrono::milliseconds kLongestCall{2500};

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

    /// Waits until the driver knows that the camera is gone; false after the deadline.
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

TEST_F(NetFaultsTest, ACameraThatDisappearsWhileItStreamsIsGoneUntilItReturns)
{
    auto camera = serve(depthCamera());
    ASSERT_THAT(awaitListed(1), SizeIs(1));
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

TEST_F(NetFaultsTest, AnUnresponsiveCameraIsReportedAndItsStreamStops)
{
    const CameraProcess camera("serve", "127.0.0.1");
    Streaming streaming(driver());
    PixelStream &stream = streaming.stream;
    ASSERT_THAT(awaitListed(1), SizeIs(1));
    camera.stop();
    ASSERT_THAT(m_events.await(1), ElementsAre("-net:127.0.0.1 PROCESS"));
    EXPECT_EQ(streaming.device->deviceState(), int{NUBRIX_DEVICE_DISCONNECTED});
    EXPECT_EQ(stream.stop(), 0);
    EXPECT_EQ(stream.pool().inUse(), 0);
    camera.resume();
}

TEST_F(NetFaultsTest, ACameraWhoseProgramIsKilledWhileItStreamsIsGone)
{
    CameraProcess camera("serve", "127.0.0.1");
    Streaming streaming(driver());
    ASSERT_THAT(awaitListed(1), SizeIs(1));
    camera.killNow();
    ASSERT_THAT(m_events.await(1), ElementsAre("-net:127.0.0.1 PROCESS"));
    EXPECT_TRUE(awaitGone(*streaming.device));
    EXPECT_EQ(streaming.stream.stop(), 0);
    EXPECT_EQ(streaming.stream.pool().inUse(), 0);
    EXPECT_EQ(streaming.stream.start(), -9);
}

TEST_F(NetFaultsTest, CamerasThatHangAtTheSameTimeAreEachReportedAndTheOthersStay)
{
    const CameraProcess one("serve", "127.0.0.1");
    const CameraProcess two("serve", "127.0.0.2");
    const CameraProcess three("serve", "127.0.0.3");
    Streaming first(driver(), "127.0.0.1");
    Streaming second(driver(), "127.0.0.2");
    Streaming third(driver(), "127.0.0.3");
    ASSERT_THAT(awaitListed(3), SizeIs(3));
    const auto begin = std::chrono::steady_clock::now();
    one.stop();
    two.stop();
    ASSERT_THAT(m_events.await(2),
                UnorderedElementsAre("-net:127.0.0.1 PROCESS", "-net:127.0.0.2 PROCESS"));
    // 3 s on a machine that is not busy.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(6));
    const std::size_t before = third.stream.sink().count();
    EXPECT_TRUE(third.stream.sink().await(before + 3));
    EXPECT_EQ(third.device->deviceState(), int{NUBRIX_DEVICE_CONNECTED});
    EXPECT_EQ(first.device->deviceState(), int{NUBRIX_DEVICE_DISCONNECTED});
    EXPECT_EQ(second.device->deviceState(), int{NUBRIX_DEVICE_DISCONNECTED});
}

TEST_F(NetFaultsTest, OperationsOnACameraThatHasJustHungEnd)
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

TEST_F(NetFaultsTest, NoCallWaitsLongForAnUnresponsiveCamera)
{
    const CameraProcess camera("serve", "127.0.0.1");
    auto streaming = std::make_unique<Streaming>(driver());
    PixelStream &stream = streaming->stream;
    NubrixBaseDevice &device = *streaming->device;
    camera.stop();
    double exposure = 0;
    unsigned int size = sizeof exposure;
    const auto read = [&] { device.getProperty(0x5c00, &exposure, &size); };
    EXPECT_LT(durationOf(read), kLongestCall);
    EXPECT_LT(durationOf(read), kLongestCall);
    EXPECT_LT(durationOf([&] { EXPECT_EQ(stream.stop(), 0); }), kLongestCall);
    EXPECT_LT(durationOf([&] { EXPECT_NE(stream.start(), 0); }), kLongestCall);
    EXPECT_LT(durationOf([&] { streaming.reset(); }), kLongestCall);
    EXPECT_LT(durationOf([&] { m_driver.reset(); }), kLongestCall);
}

TEST_F(NetFaultsTest, TimeoutsOfUnresponsiveCamerasDoNotAddUpWhenADriverCloses)
{
    const CameraProcess one("serve", "127.0.0.1");
    const CameraProcess two("serve", "127.0.0.2");
    const CameraProcess three("serve", "127.0.0.3");
    std::vector<std::unique_ptr<PixelStream>> streams;
    for (const char *uri : {"net:127.0.0.1", "net:127.0.0.2", "net:127.0.0.3"}) {
        NubrixBaseDevice *device = nullptr;
        ASSERT_EQ(driver().openDevice(uri, &device), 0);
        streams.push_back(std::make_unique<PixelStream>(*device, NUBRIX_STREAM_DEPTH));
        ASSERT_EQ(streams.back()->start(), 0);
        ASSERT_TRUE(streams.back()->sink().await(3));
    }
    for (const CameraProcess *camera : {&one, &two, &three})
        camera->stop();
    EXPECT_LT(durationOf([&] {
                  for (const auto &stream : streams)
                      EXPECT_EQ(stream->stop(), 0);
                  streams.clear();
                  m_driver.reset();
              }),
              kLongestCall);
}

TEST_F(NetFaultsTest, AProgramEndsSoonAlthoughItsCameraIsUnresponsive)
{
    const CameraProcess camera("serve", "127.0.0.1");
    CameraProcess program("stream", "127.0.0.1");
    camera.stop();
    EXPECT_LT(durationOf([&] { EXPECT_EQ(program.end(), 0); }), 2 * kLongestCall);
}

TEST_F(NetFaultsTest, ACameraThatPausesBrieflyIsKept)
{
    const CameraProcess camera("serve", "127.0.0.1");
    Streaming streaming(driver());
    PixelStream &stream = streaming.stream;
    ASSERT_THAT(awaitListed(1), SizeIs(1));
    camera.stop();
    std::this_thread::sleep_for(
        std::chrono::milliseconds(300));  // like a cable that is plugged in again at once
    camera.resume();
    const std::size_t before = stream.sink().count();
    EXPECT_TRUE(stream.sink().await(before + 5));
    EXPECT_EQ(streaming.device->deviceState(), int{NUBRIX_DEVICE_CONNECTED});
}

TEST_F(NetFaultsTest, OpeningAndClosingManyTimesLeavesNothingBehind)
{
    SimulatedCameraSettings settings = depthCamera();
    settings.formats = {kCoord3d, kBgr8};  // passed through, and converted
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
    // Large blocks are mapped; one frame a round would be a hundred times as much.
    EXPECT_LE(after.uordblks + after.hblkhd, memory.uordblks + memory.hblkhd + 2000 * 1000);
}

}  // namespace
}  // namespace nubrix::net
