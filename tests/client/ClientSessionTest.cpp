#include <algorithm>
#include <limits>
#include <optional>
#include <thread>
#include <vector>

#include "tests/client/ClientFixture.h"

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

TEST_F(ClientSessionTest, TheLastOneOfAThreadMayEndWhileAnotherThreadBeginsOne)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([end] {
            while (std::chrono::steady_clock::now() < end)
                const Session session;
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

TEST_F(ClientSessionTest, WhatAFunctionStoppedEndsWithItsOwner)
{
    for (int i = 0; i < 20; ++i) {
        Latch stopped;
        {
            Stream depth = Session().open().start(StreamType::kDepth);
            depth.onFrame([&](const Frame &) {
                depth.stop();
                stopped.open();
            });
            ASSERT_TRUE(stopped.pass());
        }
        ASSERT_FALSE(isInUse());
    }
}

TEST_F(ClientSessionTest, ASubscriptionOutlivesItsSessionAndEndsWithWhatItHolds)
{
    const auto held = std::make_shared<int>(1);
    {
        const client::Subscription subscription =
            Session().onCamerasChanged([held](const std::string &, bool) {});
        EXPECT_TRUE(isInUse());
        EXPECT_EQ(held.use_count(), 2);
    }
    EXPECT_EQ(held.use_count(), 1);
    EXPECT_FALSE(isInUse());
}

TEST_F(ClientSessionTest, ACameraOutlivesItsSession)
{
    std::optional<Camera> camera = Session().open();
    EXPECT_TRUE(isInUse());
    EXPECT_EQ(camera->info().serialNumber, "VIRT0001");
    EXPECT_EQ(camera->info().state, static_cast<unsigned int>(NUBRIX_DEVICE_CONNECTED));
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
    EXPECT_EQ(camera.photo(path, kLong).width(), 640);
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

}  // namespace
}  // namespace nubrix
