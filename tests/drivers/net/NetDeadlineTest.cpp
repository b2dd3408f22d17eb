#include <gmock/gmock.h>

#include <chrono>
#include <string>

#include "CameraDescription.h"
#include "net/Description.h"
#include "tests/drivers/net/NetFixture.h"
#include "tests/drivers/net/RelayCamera.h"

namespace nubrix {
namespace {

using testing::HasSubstr;
using Way = RelayCamera::Way;

// What is promised, and what a busy machine adds.
constexpr std::chrono::milliseconds kCall{1000 + 300};
constexpr std::chrono::milliseconds kOpening{3000 + 300};

class NetDeadlineTest : public NetTest {
protected:
    void SetUp() override
    {
        NetTest::SetUp();
        if (IsSkipped())
            return;
        m_camera = serve(depthCamera());
        m_relay = std::make_unique<RelayCamera>("127.0.0.50", "127.0.0.1");
    }
    void TearDown() override
    {
        NetTest::TearDown();
        m_relay.reset();
        m_camera.reset();
    }

    int openRelayed(NubrixBaseDevice **device)
    {
        return driver().openDevice("net:127.0.0.50", device);
    }

    std::unique_ptr<SimulatedCamera> m_camera;
    std::unique_ptr<RelayCamera> m_relay;
};

TEST_F(NetDeadlineTest, ARelayedCameraStreams)
{
    const OpenCamera device = open("net:127.0.0.50");
    ASSERT_TRUE(device);
    PixelStream stream(*device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    EXPECT_TRUE(stream.sink().await(3));
}

class NetDeadlineWayTest : public NetDeadlineTest, public testing::WithParamInterface<Way> {};

TEST_P(NetDeadlineWayTest, OpeningEndsInTime)
{
    m_relay->set(GetParam());
    NubrixBaseDevice *device = nullptr;
    EXPECT_LT(durationOf([&] { EXPECT_NE(openRelayed(&device), 0); }), kOpening);
    EXPECT_EQ(device, nullptr);
    EXPECT_LT(durationOf([&] { m_driver.reset(); }), kCall);
    EXPECT_TRUE(hasNoThreads());
}

TEST_P(NetDeadlineWayTest, EveryCallOfAnOpenedCameraEndsInTime)
{
    NubrixBaseDevice *device = nullptr;
    ASSERT_EQ(openRelayed(&device), 0);
    EXPECT_GT(threadsOf("nubrix-net-cam"), 0);
    {
        TestStream stream(*device, NUBRIX_STREAM_DEPTH);
        m_relay->set(GetParam());
        EXPECT_LT(durationOf([&] { EXPECT_EQ(stream.start(), -9); }), kCall);
        float intrinsics[4] = {};
        double exposure = 0;
        unsigned int size = sizeof intrinsics;
        EXPECT_LT(durationOf([&] { device->getProperty(0x5602, intrinsics, &size); }), kCall);
        EXPECT_LT(durationOf([&] { device->setProperty(0x5c00, &exposure, sizeof exposure); }),
                  kCall);
        size = sizeof exposure;
        EXPECT_LT(durationOf([&] { device->getProperty(0x5c00, &exposure, &size); }), kCall);
        EXPECT_LT(durationOf([&] { EXPECT_EQ(stream.stop(), 0); }), kCall);
    }
    EXPECT_LT(durationOf([&] { EXPECT_EQ(m_driver->closeDevice(&device), 0); }), kCall);
    EXPECT_LT(durationOf([&] { m_driver.reset(); }), kCall);
    EXPECT_TRUE(hasNoThreads());
}

INSTANTIATE_TEST_SUITE_P(Ways, NetDeadlineWayTest, testing::Values(Way::kSlow, Way::kPending));

// Aravis reads the description that has arrived to its end, which takes what the processor takes:
// the emulator of 32-bit ARM and the sanitizers are up to ten times slower.
#if defined(__arm__) || defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::chrono::milliseconds kReading = 5 * kOpening;
#else
constexpr std::chrono::milliseconds kReading{0};
#endif

TEST_F(NetDeadlineTest, OpeningACameraWithALargeDescriptionEndsInTime)
{
    SimulatedCameraSettings settings = depthCamera();
    settings.description = describeCamera(settings);
    const std::size_t place = settings.description.rfind("</RegisterDescription>");
    ASSERT_NE(place, std::string::npos);
    std::string more;
    while (settings.description.size() + more.size() + 100 < kLargestDescription) {
        more += "<IntSwissKnife Name=\"More" + std::to_string(more.size()) +
                "\"><Formula>1</Formula></IntSwissKnife>";
    }
    settings.description.insert(place, more);
    m_camera.reset();
    m_camera = serve(settings);
    for (const Way way : {Way::kPass, Way::kSlow}) {
        m_relay->set(way);
        NubrixBaseDevice *device = nullptr;
        int status = 0;
        EXPECT_LT(durationOf([&] { status = openRelayed(&device); }),
                  kOpening + (way == Way::kPass ? kReading : std::chrono::milliseconds(0)));
        EXPECT_EQ(status == 0, device != nullptr);
        if (way == Way::kSlow) {
            EXPECT_NE(status, 0);
        }
        if (device != nullptr) {
            EXPECT_EQ(m_driver->closeDevice(&device), 0);
        }
    }
}

TEST_F(NetDeadlineTest, ACameraThatOnlyAcknowledgesIsRefusedWithTheReason)
{
    NubrixBaseDevice *device = nullptr;
    ASSERT_EQ(openRelayed(&device), 0);
    {
        TestStream stream(*device, NUBRIX_STREAM_IR);
        m_relay->set(Way::kIdle);
        testing::internal::CaptureStderr();
        EXPECT_LT(durationOf([&] { EXPECT_EQ(stream.start(), -4); }), kCall);
        EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("cannot be had"));
    }
    EXPECT_LT(durationOf([&] { EXPECT_EQ(m_driver->closeDevice(&device), 0); }), kCall);
}

TEST_F(NetDeadlineTest, ACameraThatIsTooSlowIsToldSo)
{
    NubrixBaseDevice *device = nullptr;
    ASSERT_EQ(openRelayed(&device), 0);
    TestStream stream(*device, NUBRIX_STREAM_DEPTH);
    m_relay->set(Way::kSlow);
    testing::internal::CaptureStderr();
    EXPECT_EQ(stream.start(), -9);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("answers, but does not do what it was asked to"));
}

TEST_F(NetDeadlineTest, NoThreadOutlivesADriverWhoseCameraWasSilentWhenItWasClosed)
{
    NubrixBaseDevice *device = nullptr;
    ASSERT_EQ(openRelayed(&device), 0);
    EXPECT_GT(threadsOf("nubrix-net-cam"), 0);
    m_relay.reset();
    EXPECT_LT(durationOf([&] { EXPECT_EQ(m_driver->closeDevice(&device), 0); }), kCall);
    EXPECT_LT(durationOf([&] { m_driver.reset(); }), kCall);
    EXPECT_TRUE(hasNoThreads());
}

}  // namespace
}  // namespace nubrix
