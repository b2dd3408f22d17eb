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

/// A watch that is told of a camera which only answers when it is looked for: no protocol keeps the
/// camera or notices that it is gone.
class CameraMonitorTest : public NetTest {
protected:
    struct Watched {
        explicit Watched(const std::string &ini)
            : watch(NetSettings(ini), [this](const CameraMonitor::Change &change) {
                  Events::take(
                      change.camera.uri().c_str(), change.camera.serial.c_str(), "",
                      change.connected ? NUBRIX_DEVICE_CONNECTED : NUBRIX_DEVICE_DISCONNECTED,
                      &events);
              })
        {
            watch.start();
        }

        std::vector<std::string> uris()
        {
            std::vector<std::string> all;
            for (const NetIdentity &camera : watch.cameras())
                all.push_back(camera.uri());
            return all;
        }

        Events events;
        CameraMonitor watch;
    };

    /// `entries` of the settings beside the camera's address.
    std::unique_ptr<Watched> watch(const std::string &entries = "")
    {
        write("[network]\naddresses=" + std::string(kAddress) + "\n" + entries);
        return std::make_unique<Watched>(m_ini);
    }
    static bool awaitGone(const CameraState &state)
    {
        const auto end = std::chrono::steady_clock::now() + kDeadline;
        while (!state.isGone() && std::chrono::steady_clock::now() < end)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        return state.isGone();
    }
};

TEST_F(CameraMonitorTest, ACameraThatPutsOffItsAnswersIsListedAndStays)
{
    DistantCamera camera({kAddress, {}, std::chrono::milliseconds(700), {}});
    const auto watched = watch();
    EXPECT_THAT(watched->uris(), ElementsAre("net:127.0.0.50"));
    ASSERT_TRUE(camera.awaitAsked(8));
    EXPECT_THAT(watched->uris(), ElementsAre("net:127.0.0.50"));
    EXPECT_THAT(watched->events.soFar(), IsEmpty());
}

TEST_F(CameraMonitorTest, OnlyTheFirstListWaitsWhereNoneIs)
{
    const auto begin = std::chrono::steady_clock::now();
    const auto watched = watch();
    for (int list = 0; list < 20; ++list)
        EXPECT_THAT(watched->uris(), IsEmpty());
    // 1.1 s; a wait for each would be 22 s.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(11));
}

TEST_F(CameraMonitorTest, ACameraThatIsFoundAfterTheFirstListIsTold)
{
    const DistantCamera camera({kAddress, {}, std::chrono::milliseconds(3000), {}});
    const auto watched = watch();
    EXPECT_THAT(watched->uris(), IsEmpty());
    EXPECT_THAT(watched->events.await(1), ElementsAre(StartsWith("+net:127.0.0.50")));
    EXPECT_THAT(watched->uris(), ElementsAre("net:127.0.0.50"));
}

TEST_F(CameraMonitorTest, ACameraThatIsSilentForTooLongIsGoneForAllWhoHaveIt)
{
    DistantCamera camera(kAddress);
    const auto hasty = watch("silenceMs=1000\n");
    const auto patient = watch("silenceMs=60000\n");
    ASSERT_THAT(hasty->uris(), ElementsAre("net:127.0.0.50"));
    ASSERT_THAT(patient->uris(), ElementsAre("net:127.0.0.50"));
    const auto state = std::make_shared<CameraState>();
    const auto other = std::make_shared<CameraState>();
    const auto kept = std::make_shared<CameraState>();
    hasty->watch.watch(kAddress, state);
    hasty->watch.watch(kAddress, other);
    patient->watch.watch(kAddress, kept);
    ASSERT_TRUE(camera.awaitAsked(8));
    EXPECT_FALSE(state->isGone());
    camera.mute();
    EXPECT_THAT(hasty->events.await(1), ElementsAre("-net:127.0.0.50 "));
    EXPECT_TRUE(awaitGone(*state));
    EXPECT_TRUE(awaitGone(*other));
    EXPECT_THAT(hasty->uris(), IsEmpty());
    EXPECT_FALSE(kept->isGone());
    EXPECT_THAT(patient->uris(), ElementsAre("net:127.0.0.50"));
    EXPECT_THAT(patient->events.soFar(), IsEmpty());
    camera.mute(false);
    EXPECT_THAT(hasty->events.await(2), ElementsAre("-net:127.0.0.50 ", "+net:127.0.0.50 "));
}

TEST_F(CameraMonitorTest, PicturesKeepACameraThatDoesNotAnswer)
{
    DistantCamera camera(kAddress);
    const auto watched = watch("silenceMs=1000\n");
    ASSERT_THAT(watched->uris(), ElementsAre("net:127.0.0.50"));
    const auto streaming = std::make_shared<CameraState>();
    watched->watch.watch(kAddress, streaming);
    camera.mute();
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    while (std::chrono::steady_clock::now() < end) {
        streaming->noteFrame();
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_FALSE(streaming->isGone());
    EXPECT_TRUE(awaitGone(*streaming));
}

TEST_F(CameraMonitorTest, ACameraThatWasOpenedAgainIsNotGoneBecauseItOnceWas)
{
    DistantCamera camera(kAddress);
    const auto watched = watch();
    ASSERT_THAT(watched->uris(), ElementsAre("net:127.0.0.50"));
    const auto old = std::make_shared<CameraState>();
    const auto fresh = std::make_shared<CameraState>();
    watched->watch.watch(kAddress, old);
    old->setGone();
    watched->watch.watch(kAddress, fresh);
    ASSERT_TRUE(camera.awaitAsked(4));
    EXPECT_FALSE(fresh->isGone());
    EXPECT_THAT(watched->uris(), ElementsAre("net:127.0.0.50"));
}

TEST_F(CameraMonitorTest, ALostControlIsToldOnceAndTheCameraComesBack)
{
    DistantCamera camera(kAddress);
    const auto watched = watch();
    ASSERT_THAT(watched->uris(), ElementsAre("net:127.0.0.50"));
    const auto state = std::make_shared<CameraState>();
    watched->watch.watch(kAddress, state);
    state->setGone();
    const auto both = ElementsAre("-net:127.0.0.50 ", "+net:127.0.0.50 ");
    EXPECT_THAT(watched->events.await(2), both);
    ASSERT_TRUE(camera.awaitAsked(4));
    EXPECT_THAT(watched->events.soFar(), both);
}

TEST_F(CameraMonitorTest, AnOpenedCameraThatWasNeverFoundIsMissedToo)
{
    const auto watched = watch("silenceMs=1000\n");
    ASSERT_THAT(watched->uris(), IsEmpty());
    const auto state = std::make_shared<CameraState>();
    watched->watch.watch(kAddress, state);
    EXPECT_TRUE(awaitGone(*state));
    EXPECT_THAT(watched->events.await(1), ElementsAre("-net:127.0.0.50 "));
}

TEST_F(CameraMonitorTest, AnOpenedCameraWhoseAddressIsTranslatedIsKeptByItsAnswers)
{
    DistantCamera camera({kAddress, "10.1.7.20", {}, {}});
    const auto watched = watch("silenceMs=1000\n");
    const auto state = std::make_shared<CameraState>();
    watched->watch.watch(kAddress, state);
    ASSERT_TRUE(camera.awaitAsked(12));
    EXPECT_FALSE(state->isGone());
    camera.mute();
    EXPECT_TRUE(awaitGone(*state));
}

}  // namespace
}  // namespace nubrix::net
