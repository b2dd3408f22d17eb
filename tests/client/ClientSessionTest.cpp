#include <algorithm>
#include <atomic>
#include <limits>
#include <optional>
#include <thread>
#include <vector>

#include "tests/client/ClientFixture.h"

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

namespace nubrix {
namespace {

using testing::HasSubstr;

class ClientSessionTest : public ClientTest {};

TEST_F(ClientSessionTest, SeveralShareOneContextAndTheLastDestroysIt)
{
    EXPECT_FALSE(isInUse());
    {
        auto first = std::make_optional<Session>();
        const Session second;
        EXPECT_TRUE(isInUse());
        first.reset();
        EXPECT_TRUE(isInUse());
        EXPECT_EQ(second.cameras().size(), 1U);
    }
    EXPECT_FALSE(isInUse());
    EXPECT_EQ(Session().cameras().size(), 1U) << "it begins anew";
}

TEST_F(ClientSessionTest, ThoseOfSeveralThreadsComeAndGo)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([] {
            for (int n = 0; n < 25; ++n) {
                const Session session;  // while another one ends, or not
                EXPECT_EQ(session.cameras().size(), 1U);
            }
        });
    for (std::thread &each : threads)
        each.join();
    EXPECT_FALSE(isInUse());
}

TEST_F(ClientSessionTest, WhatEndsWithinACallbackIsTakenOverByTheNextOne)
{
    Latch done;
    auto depth = std::make_unique<Stream>(Session().open().start(StreamType::kDepth));
    depth->onFrame([&](const Frame &) {
        depth.reset();  // and with it the camera and the session
        done.open();
    });
    ASSERT_TRUE(done.pass());
    EXPECT_TRUE(isInUse());
    EXPECT_TRUE(eventually([] {
        EXPECT_EQ(Session().cameras().size(), 1U);
        return !isInUse();
    }));
}

TEST_F(ClientSessionTest, ACameraOutlivesItsSession)
{
    std::optional<Camera> camera = Session().open();
    EXPECT_TRUE(isInUse());
    EXPECT_EQ(camera->info().serialNumber, "VIRT0001");
    EXPECT_EQ(camera->info().uri, "usb:virtual-VIRT0001");
    EXPECT_TRUE(camera->isConnected());
    camera.reset();
    EXPECT_FALSE(isInUse());
}

TEST_F(ClientSessionTest, ACameraThatIsNotAttachedIsNamed)
{
    try {
        Session().open("usb:nowhere");
        FAIL() << "it was opened";
    } catch (const Error &error) {
        EXPECT_STREQ(error.operation(), "openDevice");
        EXPECT_EQ(error.status(), -4);
        EXPECT_STREQ(error.what(),
                     "openDevice (usb:nowhere): no such camera (status -4, error 0x80300208); run "
                     "'nubrix list' for those that are attached");
    }
}

TEST_F(ClientSessionTest, ACameraIsOpenedOnceAndShared)
{
    const Session session;
    const Camera camera = session.open();
    EXPECT_THROW(session.open(), Error);
    Camera copy = camera;
    EXPECT_EQ(copy.handle(), camera.handle());
    EXPECT_GT(copy.start(StreamType::kDepth).next(kLong).size(), 0U);
}

TEST_F(ClientSessionTest, ModesAreListedAndSet)
{
    Camera camera = Session().open();
    const auto modes = camera.modes(StreamType::kDepth);
    EXPECT_EQ(modes.size(), 16U);
    const auto before = camera.mode(StreamType::kDepth);
    ASSERT_TRUE(before);
    EXPECT_EQ(before->width, 640);
    client::Mode small = *before;
    small.width = 320;
    small.height = 240;
    const Frame frame = camera.start(StreamType::kDepth, small).next(kLong);
    EXPECT_EQ(frame.width(), 320);
    EXPECT_EQ(camera.mode(StreamType::kDepth), small);
    small.framesPerSecond = 1000;
    EXPECT_THROW(camera.setMode(StreamType::kDepth, small), Error);
}

TEST_F(ClientSessionTest, PropertiesAreTypedOrBytes)
{
    Camera camera = Session().open();
    camera.setProperty(NUBRIX_PROPERTY_STREAM_FLAG_MODE, 2U);
    EXPECT_EQ(camera.property<unsigned int>(NUBRIX_PROPERTY_STREAM_FLAG_MODE), 2U);
    EXPECT_THAT(camera.property(NUBRIX_PROPERTY_STREAM_FLAG_MODE),
                testing::ElementsAre(2, 0, 0, 0));
    EXPECT_THROW(camera.property<unsigned short>(NUBRIX_PROPERTY_STREAM_FLAG_MODE), Error);
    EXPECT_THROW(camera.property(12345), client::Unsupported);
    EXPECT_STREQ(camera.versions().serialNumber, "VIRT0001");
    EXPECT_GT(camera.intrinsics(StreamType::kDepth).fx, 100);
}

TEST_F(ClientSessionTest, APropertyOfAnySizeThatThereIsNoMemoryForIsAnError)
{
    const Camera camera = Session().open();
    try {
        camera.property(NUBRIX_PROPERTY_VERSION, std::numeric_limits<std::size_t>::max());
        FAIL() << "there was enough";
    } catch (const Error &error) {
        EXPECT_EQ(error.status(), -1);
        EXPECT_THAT(error.what(), HasSubstr("too little memory"));
    }
}

TEST_F(ClientSessionTest, ARecordingThatCannotBeginChangesNothing)
{
    Camera camera = Session().open();
    EXPECT_THROW(camera.record("/proc/none/room.bin", {StreamType::kDepth}), Error);
    EXPECT_GT(camera.start(StreamType::kDepth).next(kLong).size(), 0U);
}

TEST_F(ClientSessionTest, APhotoIsABitmapAsTheLibraryWritesThem)
{
    Camera camera = Session().open();
    const std::string path = m_folder.file("ours.bmp");
    camera.photo(path, kLong);
    const std::string ours = readFile(path);
    ASSERT_EQ(ours.size(), 54U + 640 * 480 * 3);

    Stream color = camera.start(StreamType::kColor);
    const Frame frame = color.next(kLong);  // each start begins with the same one
    const auto image = frame.image<RGB888Pixel>();
    for (const int y : {0, 100, 479}) {
        const RGB888Pixel &pixel = image(7, y);
        const std::size_t at = 54 + (static_cast<std::size_t>(479 - y) * 640 + 7) * 3;
        EXPECT_EQ(static_cast<unsigned char>(ours[at]), pixel.b);
        EXPECT_EQ(static_cast<unsigned char>(ours[at + 1]), pixel.g);
        EXPECT_EQ(static_cast<unsigned char>(ours[at + 2]), pixel.r);
    }
    color.stop();

    NubrixStream *raw = nullptr;
    NubrixBaseContext &context = camera.context();
    ASSERT_EQ(context.openStream(camera.handle(), NUBRIX_STREAM_COLOR, &raw, nullptr, nullptr), 0);
    const std::string other = m_folder.file("library.bmp");
    ASSERT_TRUE(eventually([&] { return context.takePhoto(other.c_str()) == 0; }));
    EXPECT_TRUE(readFile(other).substr(0, 54) == ours.substr(0, 54));
}

TEST_F(ClientSessionTest, APhotoThatCannotBeWrittenIsAnError)
{
    Camera camera = Session().open();
    EXPECT_THROW(camera.photo("/proc/none/photo.bmp", kLong), Error);
    try {
        camera.photo("/dev/full", kLong);
        FAIL() << "it was written";
    } catch (const Error &error) {
        EXPECT_STREQ(error.operation(), "photo");
        EXPECT_THAT(error.what(), HasSubstr("No space left on device"));
    }
}

TEST_F(ClientSessionTest, APhotoIsTakenWhileAnotherReadsTheStream)
{
    Camera camera = Session().open();
    Counter frames;
    Stream color = camera.start(StreamType::kColor);
    color.onFrame([&](const Frame &) { frames.add(); });
    ASSERT_TRUE(frames.reaches(1));
    const std::string path = m_folder.file("photo.bmp");
    camera.photo(path, kLong);
    EXPECT_EQ(readFile(path).size(), 54U + 640 * 480 * 3);
}

TEST_F(ClientSessionTest, AnUpgradeReportsItsProgressAndReturnsWhenItIsDone)
{
    Camera camera = Session().open();
    const std::string file = m_folder.file("camera.fw", firmware());
    std::vector<int> percents;
    camera.upgrade(file, [&](int percent) { percents.push_back(percent); });
    ASSERT_FALSE(percents.empty());
    EXPECT_EQ(percents.back(), 100);
    EXPECT_TRUE(std::is_sorted(percents.begin(), percents.end()));
    EXPECT_EQ(camera.versions().firmware[0], 7);
    EXPECT_TRUE(camera.isConnected()) << "the reboot is the upgrader's";
    try {
        camera.upgrade(m_folder.file("bad.fw", "bad"));
        FAIL() << "it was taken";
    } catch (const Error &error) {
        EXPECT_EQ(error.status(), -4);
        EXPECT_THAT(error.what(), HasSubstr("bad.fw"));
    }
    camera.upgrade(file, [](int) { throw 1; });
}

// --- cameras that fail

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
