#include <gmock/gmock.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "tests/drivers/net/CameraProcess.h"
#include "tests/drivers/net/DistantCamera.h"
#include "tests/drivers/net/NetFixture.h"
#include "tests/fakes/HangGuard.h"

namespace nubrix::net {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class NetDriverTest : public NetTest {
protected:
    std::vector<std::string> uris()
    {
        std::vector<std::string> all;
        for (const typedefNubrixeviceAttribute &record : list())
            all.emplace_back(record.uri);
        return all;
    }
    /// The list once it has so many cameras, or what there is at the deadline.
    std::vector<std::string> urisOf(std::size_t count)
    {
        awaitListed(count);
        return uris();
    }
};

TEST_F(NetDriverTest, WithoutACameraTheListIsEmpty)
{
    EXPECT_THAT(uris(), IsEmpty());
}

TEST_F(NetDriverTest, AListedCameraIsDescribed)
{
    const auto camera = serve(depthCamera());
    const auto records = awaitListed(1);
    ASSERT_EQ(records.size(), 1U);
    const typedefNubrixeviceAttribute record = records.front();
    EXPECT_EQ(int{record.transport}, 2);
    EXPECT_STREQ(record.uri, "net:127.0.0.1");
    EXPECT_STREQ(record.serialNumber, "N1");
    EXPECT_STREQ(record.productName, "Nubrix SimulatedCamera");
    EXPECT_STREQ(record.location + std::strlen("00:00:00:00:00:00"), " 127.0.0.1");
}

TEST_F(NetDriverTest, AllCamerasOfAllAddressesAreListed)
{
    const auto one = serve(depthCamera("127.0.0.1"));
    const auto two = serve(depthCamera("127.0.0.2"));
    const auto three = serve(depthCamera("127.0.0.3"));
    EXPECT_THAT(urisOf(3), ElementsAre("net:127.0.0.1", "net:127.0.0.2", "net:127.0.0.3"));
}

TEST_F(NetDriverTest, ACameraThatNoBroadcastReachesIsListedByItsAddressInTheSettings)
{
    const DistantCamera camera("127.0.0.50");
    EXPECT_THAT(uris(), IsEmpty());
    m_driver.reset();
    write("[network]\naddresses=127.0.0.50,10.1\n");
    testing::internal::CaptureStderr();
    EXPECT_THAT(urisOf(1), ElementsAre("net:127.0.0.50"));
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("\"10.1\" is not an address"));
}

TEST_F(NetDriverTest, CamerasThatArriveAndLeaveAreReported)
{
    EXPECT_THAT(uris(), IsEmpty());
    auto camera = serve(depthCamera("127.0.0.2"));
    ASSERT_THAT(m_events.await(1), ElementsAre("+net:127.0.0.2 N2"));
    EXPECT_THAT(uris(), ElementsAre("net:127.0.0.2"));
    camera.reset();
    ASSERT_THAT(m_events.await(2), ElementsAre("+net:127.0.0.2 N2", "-net:127.0.0.2 N2"));
    EXPECT_THAT(uris(), IsEmpty());
}

TEST_F(NetDriverTest, ACameraThatChangesItsAddressLeavesAndArrives)
{
    auto camera = serve(depthCamera("127.0.0.1"));
    ASSERT_THAT(urisOf(1), ElementsAre("net:127.0.0.1"));
    camera.reset();
    SimulatedCameraSettings moved = depthCamera("127.0.0.4");
    moved.serial = "N1";
    camera = serve(moved);
    EXPECT_THAT(m_events.await(2), UnorderedElementsAre("+net:127.0.0.4 N1", "-net:127.0.0.1 N1"));
    EXPECT_THAT(uris(), ElementsAre("net:127.0.0.4"));
}

TEST_F(NetDriverTest, ACameraIsOpenedByItsAddressListedOrNot)
{
    const auto camera = serve(depthCamera("127.0.0.3"));
    {
        const OpenCamera device = open("net:127.0.0.3");
        ASSERT_TRUE(device);
        EXPECT_STREQ(device->getDeviceId(), "net:127.0.0.3");
        EXPECT_EQ(device->deviceState(), int{NUBRIX_DEVICE_CONNECTED});
        EXPECT_EQ(device->keepLiveState(), 1);
        EXPECT_TRUE(camera->isControlled());
    }
    EXPECT_FALSE(camera->isControlled());
}

TEST_F(NetDriverTest, TheSettingsReachTheCamera)
{
    write("[network]\npacketSize=1000\nincomplete=true\n");
    const auto camera = serve(depthCamera());
    const OpenCamera device = open();
    ASSERT_TRUE(device);
    unsigned int incomplete = 0;
    unsigned int size = sizeof incomplete;
    EXPECT_EQ(device->getProperty(0x5b00, &incomplete, &size), 0);
    EXPECT_EQ(incomplete, 1U);
    PixelStream stream(*device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(stream.sink().await(1));
    EXPECT_EQ(integerOf(*device, "GevSCPSPacketSize"), 1000);
}

TEST_F(NetDriverTest, OnlyAddressesAreOpened)
{
    NubrixBaseDevice *device = nullptr;
    for (const char *uri : {"", "net:", "net:camera", "net:127.0.0", "usb:1-1", "127.0.0.1"})
        EXPECT_EQ(driver().openDevice(uri, &device), -4) << uri;
    EXPECT_EQ(driver().openDevice(nullptr, &device), -4);
    EXPECT_EQ(driver().openDevice("net:127.0.0.1", nullptr), -4);
    EXPECT_EQ(device, nullptr);
}

TEST_F(NetDriverTest, OpeningAnAddressWithoutACameraFails)
{
    NubrixBaseDevice *device = nullptr;
    testing::internal::CaptureStderr();
    EXPECT_EQ(driver().openDevice("net:127.0.0.4", &device), -9);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("net:127.0.0.4 does not answer: check its cable"));
}

TEST_F(NetDriverTest, ACameraThatAnotherApplicationControlsIsRefusedWithTheReason)
{
    write("[network]\npatienceMs=300\n");
    const auto camera = serve(depthCamera());
    const CameraProcess controller("control", "127.0.0.1");
    NubrixBaseDevice *device = nullptr;
    testing::internal::CaptureStderr();
    EXPECT_EQ(driver().openDevice("net:127.0.0.1", &device), -2);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("net:127.0.0.1 is controlled by "));
    EXPECT_EQ(device, nullptr);
}

TEST_F(NetDriverTest, TheControllerOfACameraIsNamedIfTheCameraReportsIt)
{
    write("[network]\npatienceMs=0\n");
    // The registers of the control and of its owner.
    const DistantCamera camera({"127.0.0.50", {}, {}, {{0x0a00, 2}, {0x0a14, 0xc0a80517}}});
    NubrixBaseDevice *device = nullptr;
    testing::internal::CaptureStderr();
    EXPECT_EQ(driver().openDevice("net:127.0.0.50", &device), -2);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("net:127.0.0.50 is controlled by 192.168.5.23: close it there"));
}

TEST_F(NetDriverTest, ACameraOfADeadApplicationIsOpenedWhenItsHeartbeatHasTimedOut)
{
    write("[network]\npatienceMs=60000\n");
    const auto camera = serve(depthCamera());
    {
        const CameraProcess controller("stream", "127.0.0.1");
        ASSERT_TRUE(camera->isControlled());
    }  // killed: it does not release the camera
    EXPECT_TRUE(open());
}

TEST_F(NetDriverTest, TheWaitForAControlledCameraIsLimitedByTheTimeoutOfOpening)
{
    write("[network]\npatienceMs=60000\n");
    const DistantCamera camera({"127.0.0.50", {}, {}, {{0x0a00, 2}}});
    NubrixBaseDevice *device = nullptr;
    driver();
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(driver().openDevice("net:127.0.0.50", &device), -2);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(3300));
}

TEST_F(NetDriverTest, ASecondOpeningInTheSameApplicationIsRefused)
{
    write("[network]\npatienceMs=0\n");
    const auto camera = serve(depthCamera());
    const OpenCamera device = open();
    NubrixBaseDevice *again = nullptr;
    EXPECT_EQ(driver().openDevice("net:127.0.0.1", &again), -2);
}

TEST_F(NetDriverTest, AFailedListIsEmpty)
{
    unsigned int count = 60;
    EXPECT_EQ(driver().getDeviceList(nullptr, &count), -4);
    EXPECT_EQ(count, 0U);
}

/// While it exists, no file descriptor can be opened.
class NoDescriptors {
public:
    NoDescriptors()
    {
        EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &m_usual), 0);
        const rlimit none = {0, m_usual.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    }
    ~NoDescriptors() { EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &m_usual), 0); }
    NoDescriptors(const NoDescriptors &) = delete;
    NoDescriptors &operator=(const NoDescriptors &) = delete;

private:
    rlimit m_usual = {};
};

// The descriptors by which threads of GLib are woken. GLib ends the process when a thread gets
// none.
std::ptrdiff_t wakeUps()
{
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::count_if(begin(all), end(all), [](const auto &each) {
        std::error_code gone;
        return std::filesystem::read_symlink(each.path(), gone) == "anon_inode:[eventfd]";
    });
}

TEST_F(NetDriverTest, ACameraIsClosedWhenNoDescriptorIsLeft)
{
    const auto camera = serve(depthCamera());
    NubrixBaseDevice *device = nullptr;
    const std::ptrdiff_t before = wakeUps();
    ASSERT_EQ(driver().openDevice("net:127.0.0.1", &device), 0);
    ASSERT_TRUE(eventually([&] { return wakeUps() > before; })) << "Aravis's thread runs";
    int status = -1;
    {
        const NoDescriptors none;
        status = driver().closeDevice(&device);
    }
    EXPECT_EQ(status, 0);
    EXPECT_FALSE(camera->isControlled());
}

// The sanitizer needs descriptors itself to examine the exception that is thrown within.
#ifndef __SANITIZE_ADDRESS__
TEST_F(NetDriverTest, ACameraIsNotOpenedWhenNoDescriptorIsLeft)
{
    const auto camera = serve(depthCamera());
    driver();
    NubrixBaseDevice *device = nullptr;
    int status = 0;
    {
        const NoDescriptors none;
        status = driver().openDevice("net:127.0.0.1", &device);
    }
    EXPECT_EQ(status, -1);
    EXPECT_EQ(device, nullptr);
}
#endif

TEST_F(NetDriverTest, InitialisingTwiceIsRefused)
{
    EXPECT_EQ(driver().initialize(), -2);
}

TEST_F(NetDriverTest, ClosingADeviceThatIsNotOpenIsRefused)
{
    NubrixBaseDevice *device = nullptr;
    EXPECT_EQ(driver().closeDevice(&device), -4);
    EXPECT_EQ(driver().closeDevice(nullptr), -4);
}

}  // namespace
}  // namespace nubrix::net
