#include "net/CameraMonitor.h"

#include <gmock/gmock.h>

#include <atomic>

#include "tests/drivers/net/DistantCamera.h"
#include "tests/drivers/net/NetFixture.h"

namespace nubrix::net {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char *kAddress = "127.0.0.50";

/// A monitor of a camera that only answers discovery requests: there is no control to keep or to
/// lose.
class CameraMonitorTest : public NetTest {
protected:
    struct Monitored {
        explicit Monitored(const std::string &ini)
            : monitor(NetSettings({ini}), [this](const CameraMonitor::Change &change) {
                  Events::take(
                      change.camera.uri().c_str(), change.camera.serial.c_str(), "",
                      change.connected ? NUBRIX_DEVICE_CONNECTED : NUBRIX_DEVICE_DISCONNECTED,
                      &events);
              })
        {
            monitor.start();
        }

        std::vector<std::string> uris()
        {
            std::vector<std::string> all;
            for (const NetIdentity &camera : monitor.cameras())
                all.push_back(camera.uri());
            return all;
        }

        Events events;
        CameraMonitor monitor;
    };

    /// `entries`: settings in addition to the camera's address.
    std::unique_ptr<Monitored> start(const std::string &entries = "")
    {
        write("[network]\naddresses=" + std::string(kAddress) + "\n" + entries);
        return std::make_unique<Monitored>(m_ini);
    }
    static bool awaitGone(const CameraState &state)
    {
        const auto end = std::chrono::steady_clock::now() + kDeadline;
        while (!state.isGone() && std::chrono::steady_clock::now() < end)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        return state.isGone();
    }
};

TEST_F(CameraMonitorTest, ACameraThatDelaysItsAnswersIsListedAndStays)
{
    DistantCamera camera({kAddress, {}, std::chrono::milliseconds(700), {}});
    const auto monitored = start();
    EXPECT_THAT(monitored->uris(), ElementsAre("net:127.0.0.50"));
    ASSERT_TRUE(camera.awaitRequests(8));
    EXPECT_THAT(monitored->uris(), ElementsAre("net:127.0.0.50"));
    EXPECT_THAT(monitored->events.soFar(), IsEmpty());
}

TEST_F(CameraMonitorTest, OnlyTheFirstListWaitsForCameras)
{
    DistantCamera camera(kAddress);
    camera.setMuted();
    const auto begin = std::chrono::steady_clock::now();
    const auto monitored = start();
    EXPECT_THAT(monitored->uris(), IsEmpty());
    EXPECT_GT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    for (int list = 0; list < 20; ++list)
        EXPECT_THAT(monitored->uris(), IsEmpty());
    // 1.1 s; a wait for each would be 23 s.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(11));
}

/// The time that so many monitors take to start, to list nothing, and to end.
std::chrono::milliseconds timeOfEmptyLists(int count, const std::string &ini)
{
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < count; ++i) {
        CameraMonitor monitor(NetSettings({ini}), [](const auto &) {});
        monitor.start();
        EXPECT_THAT(monitor.cameras(), IsEmpty());
    }
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 begin);
}

// A wait for each would be 22 s.
TEST_F(CameraMonitorTest, WhereNobodyReceivesRequestsTheFirstListDoesNotWait)
{
    EXPECT_LT(timeOfEmptyLists(20, m_ini), std::chrono::seconds(11));
}

TEST_F(CameraMonitorTest, WithoutDiscoveryTheFirstListDoesNotWait)
{
    DistantCamera camera("127.0.0.1");
    camera.setMuted();
    write("[network]\nDiscovery=0\n");
    EXPECT_LT(timeOfEmptyLists(20, m_ini), std::chrono::seconds(11));
}

TEST_F(CameraMonitorTest, WithoutDiscoveryOnlyTheAddressesOfTheSettingsAreQueried)
{
    const DistantCamera local("127.0.0.1");
    DistantCamera named(kAddress);
    const auto monitored = start("Discovery=0\n");
    EXPECT_THAT(monitored->uris(), ElementsAre("net:127.0.0.50"));
    ASSERT_TRUE(named.awaitRequests(4));
    EXPECT_THAT(monitored->uris(), ElementsAre("net:127.0.0.50"));
    EXPECT_THAT(monitored->events.soFar(), IsEmpty());
}

TEST_F(CameraMonitorTest, WithoutDiscoveryAnOpenedCameraIsQueriedUntilItIsClosed)
{
    DistantCamera camera(kAddress);
    write("[network]\nDiscovery=0\nsilenceMs=1000\n");
    Monitored monitored(m_ini);
    EXPECT_THAT(monitored.uris(), IsEmpty());
    auto state = std::make_shared<CameraState>();
    monitored.monitor.track(kAddress, state);
    EXPECT_THAT(monitored.events.await(1), ElementsAre("+net:127.0.0.50 "));
    state.reset();
    EXPECT_THAT(monitored.events.await(2), ElementsAre("+net:127.0.0.50 ", "-net:127.0.0.50 "));
    state = std::make_shared<CameraState>();
    monitored.monitor.track(kAddress, state);
    EXPECT_THAT(monitored.events.await(3), testing::SizeIs(3));
    camera.setMuted();
    EXPECT_TRUE(awaitGone(*state));
}

TEST_F(CameraMonitorTest, CamerasThatAnswerBeforeTheThreadRunsAreInTheFirstList)
{
    // When it has answered, the wait for delayed answers is over.
    DistantCamera camera({kAddress, {}, std::chrono::milliseconds(1500), {}});
    write("[network]\naddresses=" + std::string(kAddress) + "\n");
    CameraMonitor monitor(NetSettings({m_ini}), [](const auto &) {});
    ASSERT_TRUE(camera.awaitFirstRequest());
    EXPECT_EQ(threadsOf("nubrix-net"), 0);
    monitor.start();
    EXPECT_THAT(monitor.cameras(), testing::SizeIs(1));
}

TEST_F(CameraMonitorTest, ASearchThatBeginsAnewSendsTheFirstRequestsOnceMore)
{
    write("[network]\naddresses=" + std::string(kAddress) + "\n");
    CameraMonitor monitor(NetSettings({m_ini}), [](const auto &) {});
    DistantCamera camera(kAddress);  // too late for the first requests
    monitor.beginSearch();
    EXPECT_TRUE(camera.awaitFirstRequest());
    monitor.start();
    EXPECT_THAT(monitor.cameras(), testing::SizeIs(1));
}

TEST_F(CameraMonitorTest, AMonitorThatIsNotStartedEndsAtOnce)
{
    const auto descriptors = [] {
        const std::filesystem::directory_iterator all("/proc/self/fd");
        return std::distance(begin(all), end(all));
    };
    const auto before = descriptors();
    const DistantCamera camera("127.0.0.1");
    {
        const CameraMonitor monitor(NetSettings({m_ini}), [](const auto &) {});
        EXPECT_EQ(descriptors(), before + 2) << "one of the camera, one of the monitor";
    }
    EXPECT_EQ(descriptors(), before + 1);
    EXPECT_EQ(threadsOf("nubrix-net"), 0);
}

TEST_F(CameraMonitorTest, ACameraThatIsFoundAfterTheFirstListIsReported)
{
    const DistantCamera camera({kAddress, {}, std::chrono::milliseconds(3000), {}});
    const auto monitored = start();
    EXPECT_THAT(monitored->uris(), IsEmpty());
    EXPECT_THAT(monitored->events.await(1), ElementsAre(StartsWith("+net:127.0.0.50")));
    EXPECT_THAT(monitored->uris(), ElementsAre("net:127.0.0.50"));
}

TEST_F(CameraMonitorTest, ACameraThatDoesNotAnswerIsGoneForAllThatHaveOpenedIt)
{
    DistantCamera camera(kAddress);
    const auto quick = start("silenceMs=1000\n");
    const auto slow = start("silenceMs=60000\n");
    ASSERT_THAT(quick->uris(), ElementsAre("net:127.0.0.50"));
    ASSERT_THAT(slow->uris(), ElementsAre("net:127.0.0.50"));
    const auto state = std::make_shared<CameraState>();
    const auto other = std::make_shared<CameraState>();
    const auto kept = std::make_shared<CameraState>();
    quick->monitor.track(kAddress, state);
    quick->monitor.track(kAddress, other);
    slow->monitor.track(kAddress, kept);
    ASSERT_TRUE(camera.awaitRequests(8));
    EXPECT_FALSE(state->isGone());
    camera.setMuted();
    EXPECT_THAT(quick->events.await(1), ElementsAre("-net:127.0.0.50 "));
    EXPECT_TRUE(awaitGone(*state));
    EXPECT_TRUE(awaitGone(*other));
    EXPECT_THAT(quick->uris(), IsEmpty());
    EXPECT_FALSE(kept->isGone());
    EXPECT_THAT(slow->uris(), ElementsAre("net:127.0.0.50"));
    EXPECT_THAT(slow->events.soFar(), IsEmpty());
    camera.setMuted(false);
    EXPECT_THAT(quick->events.await(2), ElementsAre("-net:127.0.0.50 ", "+net:127.0.0.50 "));
}

TEST_F(CameraMonitorTest, FramesKeepACameraThatDoesNotAnswer)
{
    DistantCamera camera(kAddress);
    const auto monitored = start("silenceMs=1000\n");
    ASSERT_THAT(monitored->uris(), ElementsAre("net:127.0.0.50"));
    const auto streaming = std::make_shared<CameraState>();
    monitored->monitor.track(kAddress, streaming);
    camera.setMuted();
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    while (std::chrono::steady_clock::now() < end) {
        streaming->noteFrame();
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_FALSE(streaming->isGone());
    EXPECT_TRUE(awaitGone(*streaming));
}

TEST_F(CameraMonitorTest, ACameraThatIsOpenedAgainIsNotGone)
{
    DistantCamera camera(kAddress);
    const auto monitored = start();
    ASSERT_THAT(monitored->uris(), ElementsAre("net:127.0.0.50"));
    const auto old = std::make_shared<CameraState>();
    const auto reopened = std::make_shared<CameraState>();
    monitored->monitor.track(kAddress, old);
    old->setGone();
    monitored->monitor.track(kAddress, reopened);
    ASSERT_TRUE(camera.awaitRequests(4));
    EXPECT_FALSE(reopened->isGone());
    EXPECT_THAT(monitored->uris(), ElementsAre("net:127.0.0.50"));
}

TEST_F(CameraMonitorTest, LostControlIsReportedOnceAndTheCameraReturns)
{
    DistantCamera camera(kAddress);
    const auto monitored = start();
    ASSERT_THAT(monitored->uris(), ElementsAre("net:127.0.0.50"));
    const auto state = std::make_shared<CameraState>();
    monitored->monitor.track(kAddress, state);
    state->setGone();
    const auto both = ElementsAre("-net:127.0.0.50 ", "+net:127.0.0.50 ");
    EXPECT_THAT(monitored->events.await(2), both);
    ASSERT_TRUE(camera.awaitRequests(4));
    EXPECT_THAT(monitored->events.soFar(), both);
}

TEST_F(CameraMonitorTest, AnOpenedCameraThatWasNeverFoundIsReportedAsGone)
{
    const auto monitored = start("silenceMs=1000\n");
    ASSERT_THAT(monitored->uris(), IsEmpty());
    const auto state = std::make_shared<CameraState>();
    monitored->monitor.track(kAddress, state);
    EXPECT_TRUE(awaitGone(*state));
    EXPECT_THAT(monitored->events.await(1), ElementsAre("-net:127.0.0.50 "));
}

TEST_F(CameraMonitorTest, AnOpenedCameraWhoseAddressIsTranslatedIsKeptByItsAnswers)
{
    DistantCamera camera({kAddress, "10.1.7.20", {}, {}});
    const auto monitored = start("silenceMs=1000\n");
    const auto state = std::make_shared<CameraState>();
    monitored->monitor.track(kAddress, state);
    ASSERT_TRUE(camera.awaitRequests(12));
    EXPECT_FALSE(state->isGone());
    camera.setMuted();
    EXPECT_TRUE(awaitGone(*state));
}

}  // namespace
}  // namespace nubrix::net
