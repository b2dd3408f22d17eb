// Cameras that fail, that arrive and that leave.
#include <atomic>
#include <cstdlib>
#include <optional>
#include <thread>

#include "tests/client/ClientFixture.h"

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace nubrix {
namespace {

using testing::HasSubstr;

struct ClientFaultTest : ClientTest {
    ClientFaultTest()
        : ClientTest(R"({"pacing": "free", "cameras": [
            {"serial": "BUSY", "faults": [{"type": "open_fail", "status": -2}]},
            {"serial": "DEAD", "faults": [{"type": "keep_alive_fail", "at_frame": 1},
                                          {"type": "stall", "at_frame": 2}]},
            {"serial": "LAME", "faults": [{"type": "start_fail", "stream": "ir", "status": -5},
                                          {"type": "upgrade_cut", "at_block": 1}]}]})")
    {
    }
    const Session m_session;
};

TEST_F(ClientFaultTest, OneThatAnotherApplicationHasSaysSoOnceAndCanBeOpenedThen)
{
    try {
        m_session.open();
        FAIL() << "it was opened";
    } catch (const Error &error) {
        EXPECT_EQ(error.status(), -2);
        EXPECT_THAT(error.what(), HasSubstr("another application has the camera"));
    }
    EXPECT_TRUE(m_session.open().isConnected());
}

TEST_F(ClientFaultTest, OneThatDoesNotAnswerAnyMoreIsDistinguishedFromATimeout)
{
    Camera camera = m_session.open("usb:virtual-DEAD");
    Stream depth = camera.start(StreamType::kDepth);
    depth.next(kLong);
    depth.next(kLong);
    try {
        depth.next(kShort);
        FAIL() << "a frame";
    } catch (const client::Unplugged &error) {
        EXPECT_EQ(error.status(), -10);
        EXPECT_THAT(error.what(), HasSubstr("does not answer any more"));
    }
    EXPECT_THROW(depth.check(), client::Unplugged);
    try {
        client::waitAny({&depth}, kShort);
        FAIL() << "a frame";
    } catch (const client::Unplugged &error) {
        EXPECT_EQ(error.status(), -10);
        EXPECT_STREQ(error.operation(), "waitAny");
    }
    EXPECT_THROW(depth.begin(), client::Unplugged) << "a loop does not wait for ever";
    EXPECT_TRUE(camera.isConnected());
}

TEST_F(ClientFaultTest, AStreamThatDoesNotStartLeavesTheOthersAlone)
{
    Camera camera = m_session.open("usb:virtual-LAME");
    try {
        camera.start(StreamType::kInfrared);
        FAIL() << "it started";
    } catch (const Error &error) {
        EXPECT_STREQ(error.operation(), "openStream");
        EXPECT_EQ(error.status(), -5);
        EXPECT_THAT(error.what(), HasSubstr("ir of usb:virtual-LAME"));
    }
    EXPECT_TRUE(camera.start(StreamType::kDepth).next(kLong));
    EXPECT_TRUE(camera.start(StreamType::kInfrared).next(kLong)) << "once";
}

TEST_F(ClientFaultTest, AnUpgradeThatIsCutThrows)
{
    Camera camera = m_session.open("usb:virtual-LAME");
    const std::string file = m_folder.file("camera.fw", firmware());
    EXPECT_THROW(camera.upgrade(file), client::Unplugged);
}

TEST_F(ClientTest, ASessionThatCannotBeginThrowsAndTheNextOneCan)
{
    const std::string file = m_folder.file("wrong.json", R"({"pacing": "never"})");
    ::setenv("NUBRIX_VIRTUAL_SCENARIO", file.c_str(), 1);
    {
#ifdef __SANITIZE_ADDRESS__
        const __lsan::ScopedDisabler itsDriverStays;  // see docs/oddities.md
#endif
        EXPECT_THROW(Session(), Error);
    }
    EXPECT_FALSE(isInUse());
    ::unsetenv("NUBRIX_VIRTUAL_SCENARIO");
    EXPECT_EQ(Session().cameras().size(), 1U);
}

TEST_F(ClientTest, WithoutACameraNoneIsOpened)
{
    const std::string file = m_folder.file("none.json", R"({"cameras": 0})");
    ::setenv("NUBRIX_VIRTUAL_SCENARIO", file.c_str(), 1);
    try {
        Session().open();
        FAIL() << "it was opened";
    } catch (const Error &error) {
        EXPECT_EQ(error.code(), NUBRIX_ERR_DEVICE_NOT_FOUND);
        EXPECT_THAT(error.what(), HasSubstr("no camera is attached"));
    }
}

// --- cameras that arrive and leave

class ClientReturnTest : public ClientTest {
protected:
    ClientReturnTest()
        : ClientTest(R"({"pacing": "free", "cameras": [{"serial": "RETURNS", "faults": [
            {"type": "unplug", "at_frame": 3, "stream": "depth"},
            {"type": "plug", "after_ms": 10}]}]})")
    {
    }
};

TEST_F(ClientReturnTest, ACameraThatReturnedOpensAnewOnceItsOldObjectsAreDestroyed)
{
    const Session session;
    Counter returned;
    const client::Subscription subscription =
        session.onCamerasChanged([&](const std::string & /*uri*/, bool attached) {
            if (attached)
                returned.add();
        });
    {
        Camera before = session.open();
        Stream depth = before.start(StreamType::kDepth);
        while (const Frame frame = depth.next(kLong)) {
            if (frame.index() == 2)
                break;
        }
        ASSERT_TRUE(returned.reaches(1));
        EXPECT_FALSE(before.isConnected());
        try {
            session.open();
            FAIL() << "it was opened";
        } catch (const Error &error) {
            EXPECT_THAT(error.what(), HasSubstr("if the camera left and returned, destroy"));
        }
    }
    Camera camera = session.open();
    EXPECT_TRUE(camera.isConnected());
    EXPECT_TRUE(camera.start(StreamType::kColor).next(kLong));
}

class ClientPlugTest : public ClientTest {
protected:
    ClientPlugTest()
        : ClientTest(R"({"pacing": "free", "cameras": ["STAYS", "LEAVES"],
                         "faults": [{"type": "unplug", "at_frame": 3, "stream": "depth"}]})")
    {
    }
};

TEST_F(ClientPlugTest, AStreamWhoseCameraLeavesEndsAndTheSubscriptionIsCalled)
{
    const Session session;
    Counter left;
    const client::Subscription subscription =
        session.onCamerasChanged([&](const std::string &uri, bool attached) {
            if (uri == "usb:virtual-LEAVES" && !attached)
                left.add();
        });
    Camera camera = session.open("usb:virtual-LEAVES");
    Stream depth = camera.start(StreamType::kDepth);
    unsigned int frames = 0;
    for (const Frame &frame : depth)
        frames += frame ? 1 : 0;
    EXPECT_EQ(frames, 3U);
    EXPECT_FALSE(camera.isConnected());
    EXPECT_TRUE(left.reaches(1));
    EXPECT_THROW(depth.next(kLong), client::Unplugged);
    EXPECT_THROW(client::waitAny({&depth}, kLong), client::Unplugged);
}

TEST_F(ClientPlugTest, AFunctionMayWaitForTheReadersOfTheCameraThatLeft)
{
    const Session session;
    std::thread reader;
    Latch isReading;
    Latch joined;
    std::optional<Camera> camera;
    bool isConnected = true;
    const auto subscription = session.onCamerasChanged([&](const std::string &, bool) {
        isReading.pass();
        isConnected = camera->isConnected();
        reader.join();
        joined.open();
    });
    camera = session.open("usb:virtual-LEAVES");  // after the subscription
    Stream depth = camera->start(StreamType::kDepth);
    reader = std::thread([&] {
        for (const Frame &frame : depth)
            EXPECT_TRUE(frame);
    });
    isReading.open();
    ASSERT_TRUE(joined.pass());
    EXPECT_FALSE(isConnected);
}

TEST_F(ClientPlugTest, ASubscriptionThatWasDestroyedIsNotCalled)
{
    const Session session;
    Counter all;
    Counter ended;
    const auto keep = session.onCamerasChanged([&](const std::string &, bool) { all.add(); });
    {
        const auto end = session.onCamerasChanged([&](const std::string &, bool) { ended.add(); });
    }
    Camera camera = session.open("usb:virtual-LEAVES");
    for (const Frame &frame : camera.start(StreamType::kDepth))
        EXPECT_TRUE(frame);
    EXPECT_TRUE(all.reaches(1));
    EXPECT_EQ(ended.value(), 0);
}

TEST_F(ClientPlugTest, AFunctionMayEndItsOwnSubscription)
{
    const Session session;
    Latch done;
    client::Subscription subscription;
    subscription = session.onCamerasChanged([&](const std::string &, bool) {
        subscription = {};
        done.open();
    });
    Camera camera = session.open("usb:virtual-LEAVES");
    Stream depth = camera.start(StreamType::kDepth);
    depth.onFrame([](const Frame &) {});
    EXPECT_TRUE(done.pass());
}

TEST_F(ClientPlugTest, ASubscriptionMayBeDestroyedWhileItIsCalled)
{
    const Session session;
    Latch entered;
    Latch leave;
    std::atomic<bool> left{false};
    std::optional<client::Subscription> subscription =
        session.onCamerasChanged([&](const std::string &, bool) {
            entered.open();
            leave.pass();
            left = true;
        });
    Camera camera = session.open("usb:virtual-LEAVES");
    Stream depth = camera.start(StreamType::kDepth);
    depth.onFrame([](const Frame &) {});
    ASSERT_TRUE(entered.pass());
    std::thread opener([&] { leave.open(); });
    subscription.reset();
    EXPECT_TRUE(left) << "it waits for the call";
    opener.join();
}

TEST_F(ClientPlugTest, AFunctionThatThrowsIsNotCalledAgain)
{
    const Session session;
    Counter thrown;
    Counter quiet;
    const auto throwing = session.onCamerasChanged([&](const std::string &, bool) {
        thrown.add();
        throw 1;
    });
    const auto other = session.onCamerasChanged([&](const std::string &, bool) { quiet.add(); });
    for (const char *uri : {"usb:virtual-LEAVES", "usb:virtual-STAYS"}) {
        Camera camera = session.open(uri);
        Stream depth = camera.start(StreamType::kDepth);
        for (const Frame &frame : depth)
            EXPECT_TRUE(frame);
    }
    EXPECT_TRUE(quiet.reaches(2));
    EXPECT_EQ(thrown.value(), 1);
}

}  // namespace
}  // namespace nubrix
