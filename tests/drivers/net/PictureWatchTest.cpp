#include "net/PictureWatch.h"

#include <gmock/gmock.h>

#include <condition_variable>
#include <thread>

#include "net/Arrivals.h"
#include "tests/drivers/net/NetFixture.h"
#include "tests/drivers/net/OddCamera.h"

namespace nubrix::net {
namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;

/// Counts what is told.
class Told {
public:
    std::function<void()> teller()
    {
        return [this] {
            const std::lock_guard<std::mutex> lock(m_lock);
            ++m_count;
            m_changed.notify_all();
        };
    }
    bool await(int count)
    {
        std::unique_lock<std::mutex> lock(m_lock);
        return m_changed.wait_for(lock, kDeadline, [&] { return m_count >= count; });
    }
    int count()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_count;
    }

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    int m_count = 0;  // under m_lock
};

TEST(PictureWatchTest, EachSilenceIsToldOnce)
{
    Told told;
    PictureWatch watch;
    watch.begin(milliseconds(20), told.teller());
    ASSERT_TRUE(told.await(1));
    EXPECT_TRUE(watch.isSilent());
    EXPECT_EQ(told.count(), 1);
    watch.notePicture();
    ASSERT_TRUE(told.await(2));
    watch.end();
    EXPECT_FALSE(watch.isSilent());
}

TEST(PictureWatchTest, NothingIsToldWhilePicturesComeOrAfterTheEnd)
{
    Told told;
    PictureWatch watch;
    EXPECT_FALSE(watch.isSilent());
    watch.begin(std::chrono::hours(1), told.teller());
    EXPECT_FALSE(watch.isSilent());
    watch.end();
    watch.end();
    EXPECT_EQ(told.count(), 0);
}

TEST(PictureWatchTest, ItDoesNotBeginOnceItHasEnded)
{
    Told told;
    PictureWatch watch;
    watch.end();
    watch.begin(milliseconds(0), told.teller());
    EXPECT_FALSE(watch.isSilent());
}

TEST(ArrivalsTest, AClockThatIsSetDoesNotMoveWhatHasBegun)
{
    constexpr std::int64_t kHour = 3600LL * 1000 * 1000;
    Arrivals arrivals;
    arrivals.note(10 * kHour, 1000);
    arrivals.note(9 * kHour, 1033);  // set back meanwhile
    arrivals.note(9 * kHour + 33, 1066);
    EXPECT_EQ(arrivals.of(10 * kHour - 2), 1000);
    EXPECT_EQ(arrivals.of(9 * kHour - 1), 1033);
    EXPECT_EQ(arrivals.of(9 * kHour + 32), 1066);
}

class SilentStreamTest : public NetTest {
protected:
    /// What is told of a depth stream from its start until it counts as silent, and at its stop.
    std::string linesOf(const SimulatedCameraSettings &settings,
                        const typedefNubrixFrameMode &wanted = {})
    {
        const auto camera = serve(settings);
        const OpenCamera device = open();
        if (wanted.width != 0) {
            EXPECT_EQ(device->setFrameMode(NUBRIX_STREAM_DEPTH, wanted, false), 0);
        }
        PixelStream stream(*device, NUBRIX_STREAM_DEPTH);
        testing::internal::CaptureStderr();
        EXPECT_EQ(stream.start(), 0);
        EXPECT_EQ(device->keepLiveState(), 1);
        const auto end = std::chrono::steady_clock::now() + kDeadline;
        while (device->keepLiveState() == 1 && std::chrono::steady_clock::now() < end)
            std::this_thread::sleep_for(milliseconds(20));
        EXPECT_EQ(device->keepLiveState(), 0);
        EXPECT_EQ(device->deviceState(), int{NUBRIX_DEVICE_CONNECTED});
        EXPECT_EQ(stream.stop(), 0);
        EXPECT_EQ(device->keepLiveState(), 1);
        EXPECT_EQ(stream.sink().count(), 0U);
        return testing::internal::GetCapturedStderr();
    }
};

TEST_F(SilentStreamTest, WithoutAnyPacketTheWayIsSuspected)
{
    SimulatedCameraSettings settings = depthCamera();
    settings.lostPackets = 1;
    EXPECT_THAT(linesOf(settings),
                HasSubstr("net:127.0.0.1 depth has sent no picture of use for some seconds: none "
                          "of its packets arrives; a firewall"));
}

TEST_F(SilentStreamTest, PicturesWithGapsAreToldAsSuch)
{
    SimulatedCameraSettings settings = depthCamera();
    settings.lostPackets = 0.5;
    const std::string lines = linesOf(settings);
    EXPECT_THAT(lines, HasSubstr("for some seconds: its pictures come with gaps; larger buffers"));
    EXPECT_THAT(lines, HasSubstr("incomplete pictures dropped: "));
}

TEST_F(SilentStreamTest, PicturesOfAnotherSizeAreToldApart)
{
    SimulatedCameraSettings settings = depthCamera();
    settings.smallestHeight = 400;
    // Its pictures know nothing of the height that it is set to; it has room for all of them.
    redescribe(settings, {{"<IntReg Name=\"HeightReg\"><Address>0x104<",
                           "<IntReg Name=\"HeightReg\"><Address>0x1104<"},
                          {"W * H *", "W * 480 *"}});
    const std::string lines = linesOf(settings, {NUBRIX_PIXEL_DEPTH_14_2, 640, 400, 30});
    EXPECT_THAT(lines, HasSubstr("for some seconds: its pictures are 640x480 Coord3D_C16 in 614400 "
                                 "bytes, and not 640x400 at 30 frames/s Coord3D_C16"));
    EXPECT_THAT(lines, HasSubstr("pictures dropped because they were 640x480 Coord3D_C16"));
}

}  // namespace
}  // namespace nubrix::net
