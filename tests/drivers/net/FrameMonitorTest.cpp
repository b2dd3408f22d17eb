#include "net/FrameMonitor.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "tests/drivers/net/NetFixture.h"

namespace nubrix::net {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using testing::HasSubstr;

/// The indices of frames with these numbers.
std::vector<unsigned int> indices(const std::vector<std::uint64_t> &ids)
{
    FrameNumbers numbers;
    std::vector<unsigned int> found;
    for (const std::uint64_t id : ids) {
        numbers.take(id);
        found.push_back(numbers.index());
    }
    return found;
}

TEST(FrameNumbersTest, AnIndexFollowsTheNumbersAlsoAfterTheyWrapAround)
{
    EXPECT_THAT(indices({7, 8, 10}), ElementsAre(0, 1, 3));
    EXPECT_THAT(indices({65534, 65535, 1, 3}), ElementsAre(0, 1, 2, 4));
    EXPECT_THAT(indices({100000, 100002}), ElementsAre(0, 2));
}

TEST(FrameNumbersTest, ACameraThatRestartsItsNumbersHasLostNoFrame)
{
    EXPECT_THAT(indices({500, 501, 1, 2}), ElementsAre(0, 1, 2, 3));
    EXPECT_THAT(indices({5, 5}), ElementsAre(0, 1));
}

TEST(FrameNumbersTest, AFrameOfUnknownNumberIsTheNextOne)
{
    EXPECT_THAT(indices({65408, 0, 65410, 65411}), ElementsAre(0, 1, 2, 3));
    EXPECT_THAT(indices({65535, 0, 2}), ElementsAre(0, 1, 2));
    EXPECT_THAT(indices({0, 0, 4, 5}), ElementsAre(0, 1, 2, 3));
}

TEST(FrameNumbersTest, MissingFramesAreCounted)
{
    FrameNumbers numbers;
    EXPECT_EQ(numbers.take(3), 0U);
    EXPECT_EQ(numbers.take(7), 3U);
    EXPECT_EQ(numbers.take(0), 0U);
    EXPECT_EQ(numbers.take(10), 1U);
}

/// Counts the calls of a watchdog.
class Timeouts {
public:
    std::function<void()> counter()
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

TEST(FrameWatchdogTest, EachTimeoutIsReportedOnce)
{
    Timeouts timeouts;
    FrameWatchdog watchdog;
    watchdog.start(milliseconds(20), timeouts.counter());
    ASSERT_TRUE(timeouts.await(1));
    EXPECT_TRUE(watchdog.isExpired());
    EXPECT_EQ(timeouts.count(), 1);
    watchdog.noteFrame();
    ASSERT_TRUE(timeouts.await(2));
    watchdog.stop();
    EXPECT_FALSE(watchdog.isExpired());
}

TEST(FrameWatchdogTest, NothingIsReportedBeforeTheTimeoutOrAfterTheStop)
{
    Timeouts timeouts;
    FrameWatchdog watchdog;
    EXPECT_FALSE(watchdog.isExpired());
    watchdog.start(std::chrono::hours(1), timeouts.counter());
    EXPECT_FALSE(watchdog.isExpired());
    watchdog.stop();
    watchdog.stop();
    EXPECT_EQ(timeouts.count(), 0);
}

TEST(FrameWatchdogTest, ItDoesNotStartOnceItHasStopped)
{
    Timeouts timeouts;
    FrameWatchdog watchdog;
    watchdog.stop();
    watchdog.start(milliseconds(0), timeouts.counter());
    EXPECT_FALSE(watchdog.isExpired());
}

TEST(ArrivalTimesTest, SettingTheClockDoesNotMoveTheBeginningOfAFrame)
{
    constexpr std::int64_t kHour = 3600LL * 1000 * 1000;
    ArrivalTimes arrivals;
    arrivals.note(10 * kHour, 1000);
    arrivals.note(9 * kHour, 1033);  // set back meanwhile
    arrivals.note(9 * kHour + 33, 1066);
    EXPECT_EQ(arrivals.monotonicAt(10 * kHour - 2), 1000);
    EXPECT_EQ(arrivals.monotonicAt(9 * kHour - 1), 1033);
    EXPECT_EQ(arrivals.monotonicAt(9 * kHour + 32), 1066);
}

/// What the process writes to its standard error, for reading while it writes.
class ErrorOutput {
public:
    ErrorOutput() : m_file(std::tmpfile()), m_original(::dup(STDERR_FILENO))
    {
        std::fflush(stderr);
        ::dup2(::fileno(m_file), STDERR_FILENO);
    }
    ~ErrorOutput()
    {
        std::fflush(stderr);
        ::dup2(m_original, STDERR_FILENO);
        ::close(m_original);
        std::fclose(m_file);
    }
    ErrorOutput(const ErrorOutput &) = delete;
    ErrorOutput &operator=(const ErrorOutput &) = delete;

    std::string text() const
    {
        std::string text(1 << 16, '\0');
        const ssize_t bytes = ::pread(::fileno(m_file), text.data(), text.size(), 0);
        text.resize(bytes < 0 ? 0 : static_cast<std::size_t>(bytes));
        return text;
    }

private:
    std::FILE *const m_file;
    const int m_original;
};

class StreamTimeoutTest : public NetTest {
protected:
    /// The lines that a depth stream logs from its start until its timeout, and at its stop.
    std::string linesOf(const SimulatedCameraSettings &settings,
                        const typedefNubrixFrameMode &wanted = {})
    {
        const auto camera = serve(settings);
        const auto end = std::chrono::steady_clock::now() + kDeadline;
        std::string lines;
        // On a loaded machine the camera may answer too late, and counts as gone.
        while (lines.empty() && std::chrono::steady_clock::now() < end) {
            NubrixBaseDevice *device = nullptr;
            if (driver().openDevice("net:127.0.0.1", &device) != 0)
                continue;
            lines = linesOf(device, wanted, end);
            EXPECT_EQ(driver().closeDevice(&device), 0);
        }
        return lines;
    }

private:
    /// Empty when the stream does not start, or the camera is gone.
    static std::string linesOf(NubrixBaseDevice *device, const typedefNubrixFrameMode &wanted,
                               std::chrono::steady_clock::time_point end)
    {
        if (wanted.width != 0) {
            EXPECT_EQ(device->setFrameMode(NUBRIX_STREAM_DEPTH, wanted, false), 0);
        }
        PixelStream stream(*device, NUBRIX_STREAM_DEPTH);
        const ErrorOutput output;
        if (stream.start() != 0)
            return "";
        EXPECT_EQ(device->keepLiveState(), 1);
        // The state changes at the timeout, a moment before the line; a stop between them drops it.
        while (output.text().find("for some seconds") == std::string::npos &&
               std::chrono::steady_clock::now() < end) {
            if (device->deviceState() != NUBRIX_DEVICE_CONNECTED)
                return "";
            std::this_thread::sleep_for(milliseconds(20));
        }
        EXPECT_EQ(device->keepLiveState(), 0);
        EXPECT_EQ(device->deviceState(), int{NUBRIX_DEVICE_CONNECTED});
        EXPECT_EQ(stream.stop(), 0);
        EXPECT_EQ(device->keepLiveState(), 1);
        EXPECT_EQ(stream.sink().count(), 0U);
        return output.text();
    }
};

TEST_F(StreamTimeoutTest, WithoutAnyPacketTheNetworkIsSuspected)
{
    SimulatedCameraSettings settings = depthCamera();
    settings.lostPackets = 1;
    EXPECT_THAT(linesOf(settings),
                HasSubstr("net:127.0.0.1 depth has sent no valid frame for some seconds: none "
                          "of its packets arrives; a firewall"));
}

TEST_F(StreamTimeoutTest, IncompleteFramesAreReportedAsTheCause)
{
    SimulatedCameraSettings settings = depthCamera();
    settings.lostPackets = 0.5;
    const std::string lines = linesOf(settings);
    EXPECT_THAT(lines, HasSubstr("for some seconds: its frames are incomplete; larger buffers"));
    EXPECT_THAT(lines, HasSubstr("incomplete frames dropped: "));
}

TEST_F(StreamTimeoutTest, FramesOfAnotherSizeAreReportedAsTheCause)
{
    SimulatedCameraSettings settings = depthCamera();
    settings.smallestHeight = 400;
    // Its frames keep their height whatever it is set to, and its payload size is that of all rows.
    redescribe(settings, {{"<IntReg Name=\"HeightReg\"><Address>0x104<",
                           "<IntReg Name=\"HeightReg\"><Address>0x1104<"},
                          {"W * H *", "W * 480 *"}});
    const std::string lines = linesOf(settings, {NUBRIX_PIXEL_DEPTH_14_2, 640, 400, 30});
    EXPECT_THAT(lines, HasSubstr("for some seconds: its frames are 640x480 Coord3D_C16 in 614400 "
                                 "bytes, and not 640x400 at 30 frames/s Coord3D_C16"));
    EXPECT_THAT(lines, HasSubstr("frames dropped because they were 640x480 Coord3D_C16"));
}

}  // namespace
}  // namespace nubrix::net
