#include "virtual/VirtualStream.h"

#include <gmock/gmock.h>

#include <cstring>

#include "tests/drivers/virtual/VirtualCameraFixture.h"
#include "virtual/SceneSource.h"

namespace nubrix::virtual_camera {
namespace {

using VirtualStreamTest = VirtualCameraTest;

TEST_F(VirtualStreamTest, EveryStreamDeliversTheFramesOfTheScene)
{
    NubrixBaseDevice &device = openFreePacing();
    for (const unsigned int streamType :
         {NUBRIX_STREAM_COLOR, NUBRIX_STREAM_DEPTH, NUBRIX_STREAM_IR, NUBRIX_STREAM_LIGHT_IR}) {
        PixelStream stream(device, streamType);
        ASSERT_EQ(stream.start(), 0);
        ASSERT_TRUE(stream.sink().await(3));
        ASSERT_EQ(stream.stop(), 0);
        const SceneRenderer renderer(streamType, 320, 240);
        std::vector<std::uint8_t> expected(renderer.size());
        for (const Received &frame : stream.sink().frames()) {
            renderer.renderInFull(frame.record.frameIndex, expected.data());
            ASSERT_EQ(frame.pixels, expected) << "stream " << streamType;
        }
    }
}

TEST_F(VirtualStreamTest, FillsTheRecordOfEachFrame)
{
    NubrixBaseDevice &device = openFreePacing();
    TestStream stream(device, NUBRIX_STREAM_COLOR);
    EXPECT_EQ(stream->getFrameBufferSize(), 320U * 240U * 3U);
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(stream.sink().await(1));
    ASSERT_EQ(stream.stop(), 0);
    const typedefNubrixFrame record = stream.sink().frames().front().record;
    EXPECT_EQ(record.pixelFormat, NUBRIX_PIXEL_RGB888);
    EXPECT_EQ(record.streamType, NUBRIX_STREAM_COLOR);
    EXPECT_EQ(record.frameIndex, 0U);
    EXPECT_EQ(record.flags, 0U);
    EXPECT_EQ(record.width, 320);
    EXPECT_EQ(record.height, 240);
    EXPECT_EQ(record.dataSize, 320U * 240U * 3U);
    EXPECT_EQ(record.reserved, 0U);
}

TEST_F(VirtualStreamTest, ABufferThatIsTooSmallIsNotWrittenTo)
{
    useDefault();
    NubrixBaseDevice &device = openSmall(60);
    NubrixBaseStream *stream = nullptr;
    ASSERT_EQ(device.createStream(NUBRIX_STREAM_IR, &stream), 0);
    FakePool pool(320 * 240 - 1);
    FrameSink sink;
    stream->setFrameAllocator(&pool);
    stream->setFrameCallback(&FrameSink::receive, &sink);
    ASSERT_EQ(stream->start(), 0);
    ASSERT_TRUE(pool.awaitHandedOut(3));
    EXPECT_EQ(stream->stop(), 0);
    EXPECT_EQ(sink.count(), 0U);
    EXPECT_EQ(pool.inUse(), 0);
    EXPECT_EQ(device.destroyStream(&stream), 0);
}

TEST_F(VirtualStreamTest, StartsAndStopsOnlyWhenItCan)
{
    NubrixBaseDevice &device = openFreePacing();
    NubrixBaseStream *stream = nullptr;
    FakePool pool(320 * 240);
    FrameSink sink;
    ASSERT_EQ(device.createStream(NUBRIX_STREAM_IR, &stream), 0);
    EXPECT_EQ(stream->stop(), 0) << "it does not run";
    EXPECT_EQ(stream->start(), -2) << "there is no pool";
    EXPECT_EQ(stream->setFrameAllocator(&pool), 0);
    EXPECT_EQ(stream->start(), -2) << "there is no callback";
    EXPECT_EQ(stream->setFrameCallback(&FrameSink::receive, &sink), 0);
    EXPECT_EQ(stream->start(), 0);
    EXPECT_EQ(stream->start(), -2) << "it runs";
    EXPECT_EQ(stream->setFrameAllocator(&pool), -2);
    EXPECT_EQ(stream->setFrameCallback(&FrameSink::receive, &sink), -2);
    EXPECT_EQ(stream->stop(), 0);
    EXPECT_EQ(stream->stop(), 0);
    EXPECT_EQ(device.destroyStream(&stream), 0);
}

TEST_F(VirtualStreamTest, AllFourStreamsRunAtOnceInModesOfTheirOwn)
{
    NubrixBaseDevice &device = openFreePacing();
    setMode(device, NUBRIX_STREAM_COLOR, 640, 400, 30);
    TestStream color(device, NUBRIX_STREAM_COLOR);
    TestStream depth(device, NUBRIX_STREAM_DEPTH);
    TestStream ir(device, NUBRIX_STREAM_IR);
    TestStream lightIr(device, NUBRIX_STREAM_LIGHT_IR);
    for (TestStream *stream : {&color, &depth, &ir, &lightIr})
        ASSERT_EQ(stream->start(), 0);
    for (TestStream *stream : {&color, &depth, &ir, &lightIr})
        ASSERT_TRUE(stream->sink().await(5));
    for (TestStream *stream : {&color, &depth, &ir, &lightIr})
        ASSERT_EQ(stream->stop(), 0);
    EXPECT_EQ(color.sink().frames().front().record.width, 640);
    EXPECT_EQ(depth.sink().frames().front().record.width, 320);
}

}  // namespace
}  // namespace nubrix::virtual_camera
