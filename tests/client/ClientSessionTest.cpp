#include <atomic>
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

TEST_F(ClientSessionTest, ACameraThatIsNotThereIsNamed)
{
    try {
        Session().open("usb:nowhere");
        FAIL() << "it was opened";
    } catch (const Error &error) {
        EXPECT_STREQ(error.operation(), "openDevice");
        EXPECT_EQ(error.status(), -4);
        EXPECT_STREQ(error.what(),
                     "openDevice (usb:nowhere): no such camera (status -4, error 0x80300208); run "
                     "'nubrix list'");
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

TEST_F(ClientSessionTest, WhatIsRecordedIsCompleteWhateverOthersDo)
{
    Camera camera = Session().open();
    const std::string path = m_folder.file("room.bin");
    unsigned int last = 0;
    {
        client::Recorder recorder = camera.record(path, {StreamType::kDepth, StreamType::kColor});
        Stream depth = camera.start(StreamType::kDepth);
        for (int i = 0; i < 5; ++i)
            last = depth.next(kLong).index();
        recorder.finish();
    }
    RecordReader reader;
    ASSERT_EQ(reader.open(path.c_str()), 0);
    EXPECT_EQ(reader.condition(), NUBRIX_RECORD_COMPLETE);
    EXPECT_GE(reader.count(NUBRIX_STREAM_DEPTH), last);
    EXPECT_GT(reader.count(NUBRIX_STREAM_COLOR), 0U);
}

TEST_F(ClientSessionTest, ARecordingInAFolderThatCannotBeMadeIsAnError)
{
    Camera camera = Session().open();
    EXPECT_THROW(camera.record("/proc/none/room.bin", {StreamType::kDepth}), Error);
    EXPECT_GT(camera.start(StreamType::kDepth).next(kLong).size(), 0U) << "and changes nothing";
}

// --- cameras that come and go

class ClientPlugTest : public ClientTest {
protected:
    ClientPlugTest()
        : ClientTest(R"({"pacing": "free", "cameras": ["STAYS", "LEAVES"],
                         "faults": [{"type": "unplug", "at_frame": 3, "stream": "depth"}]})")
    {
    }
};

TEST_F(ClientPlugTest, AStreamWhoseCameraLeavesEndsWithUnpluggedAndTheSubscriptionHears)
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

TEST_F(ClientPlugTest, AfterItsEndASubscriptionHearsNothing)
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

}  // namespace
}  // namespace nubrix
