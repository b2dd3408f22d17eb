#include "uvc/UvcStream.h"

#include <linux/videodev2.h>

#include <cstring>
#include <future>

#include "common/DriverStream.h"
#include "tests/drivers/common/JpegImages.h"
#include "tests/drivers/uvc/UvcDeviceFixture.h"

namespace nubrix::uvc {
namespace {

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr std::size_t kPixels = 64 * 48;

class UvcStreamTest : public UvcDeviceTest {};

TEST_F(UvcStreamTest, DepthArrivesInQuartersOfMillimetres)
{
    FakeCamera &camera = addNode({V4L2_PIX_FMT_Z16});
    PixelStream stream(open(), NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    FakeCamera::Shot shot;
    shot.bytes.assign(2 * kPixels, 0);
    const std::vector<std::uint16_t> depths = {0, 1, 1000, 16383, 16384, 65535};
    std::memcpy(shot.bytes.data(), depths.data(), 2 * depths.size());
    camera.capture(shot);
    ASSERT_TRUE(stream.sink().await(1));
    EXPECT_EQ(stream->stop(), 0);
    const Received frame = stream.sink().frames().front();
    ASSERT_EQ(frame.pixels.size(), 2 * kPixels);
    std::vector<std::uint16_t> values(depths.size());
    std::memcpy(values.data(), frame.pixels.data(), 2 * values.size());
    EXPECT_THAT(values, ElementsAre(0, 4, 4000, 65532, 0, 0));
    EXPECT_EQ(frame.record.pixelFormat, NUBRIX_PIXEL_DEPTH_14_2);
}

TEST_F(UvcStreamTest, FillsTheRecordOfEachFrame)
{
    FakeCamera &camera = addNode({V4L2_PIX_FMT_Z16});
    PixelStream stream(open(), NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    FakeCamera::Shot shot;
    shot.bytes.assign(2 * kPixels, 1);
    shot.timestampUs = (std::uint64_t{3} << 32U) + 12345;
    camera.capture(shot);
    camera.capture(shot);
    ASSERT_TRUE(stream.sink().await(2));
    EXPECT_EQ(stream->stop(), 0);
    const typedefNubrixFrame record = stream.sink().frames().back().record;
    EXPECT_EQ(record.streamType, NUBRIX_STREAM_DEPTH);
    EXPECT_EQ(record.frameIndex, 1U);
    EXPECT_EQ(record.timestampHigh, 3U);
    EXPECT_EQ(record.timestampLow, 12345U);
    EXPECT_EQ(record.flags, 0U);
    EXPECT_EQ(record.width, 64);
    EXPECT_EQ(record.height, 48);
    EXPECT_EQ(record.dataSize, 2 * kPixels);
}

TEST_F(UvcStreamTest, AFormatThatPassesThroughIsWrittenIntoTheFrames)
{
    FakeCamera &camera = addNode({V4L2_PIX_FMT_GREY});
    PixelStream stream(open(), NUBRIX_STREAM_IR);
    ASSERT_EQ(stream.start(), 0);
    EXPECT_EQ(camera.memory(), V4L2_MEMORY_USERPTR);
    EXPECT_EQ(camera.mappings(), 0U);
    for (std::uint8_t i = 1; i <= 20; ++i) {
        camera.captureAll(i);
        ASSERT_TRUE(stream.sink().await(i));
    }
    EXPECT_EQ(stream->stop(), 0);
    const auto frames = stream.sink().frames();
    for (std::uint8_t i = 1; i <= 20; ++i)
        EXPECT_THAT(frames[i - 1U].pixels, Each(i));
    EXPECT_EQ(stream.pool().inUse(), 0);
    EXPECT_EQ(camera.buffers(), 0U);
}

TEST_F(UvcStreamTest, FramesOfANodeThatCannotWriteIntoThemAreCopied)
{
    FakeCamera &camera = addNode({V4L2_PIX_FMT_GREY});
    camera.takesUserMemory = false;
    PixelStream stream(open(), NUBRIX_STREAM_IR);
    ASSERT_EQ(stream.start(), 0);
    EXPECT_EQ(camera.memory(), V4L2_MEMORY_MMAP);
    camera.captureAll(9);
    ASSERT_TRUE(stream.sink().await(1));
    EXPECT_EQ(stream->stop(), 0);
    EXPECT_THAT(stream.sink().frames().front().pixels, Each(9));
    EXPECT_EQ(camera.mappings(), 0U);
    EXPECT_EQ(stream.pool().inUse(), 0);
}

TEST_F(UvcStreamTest, FramesOfANodeThatTakesManyBuffersAreCopied)
{
    FakeCamera &camera = addNode({V4L2_PIX_FMT_GREY});
    camera.leastBuffers = 8;  // too few frames of the pool would be left
    PixelStream stream(open(), NUBRIX_STREAM_IR);
    ASSERT_EQ(stream.start(), 0);
    EXPECT_EQ(camera.memory(), V4L2_MEMORY_MMAP);
    EXPECT_EQ(stream.pool().inUse(), 0);
    camera.captureAll(9);
    EXPECT_TRUE(stream.sink().await(1));
}

TEST_F(UvcStreamTest, ANodeThatRequiresLargerBuffersGetsThem)
{
    FakeCamera &camera = addNode({V4L2_PIX_FMT_GREY});
    camera.paddingBytes = 16;
    PixelStream stream(open(), NUBRIX_STREAM_IR);
    EXPECT_EQ(stream->getFrameBufferSize(), (64U + 16) * 48);
    ASSERT_EQ(stream.start(), 0);
    EXPECT_EQ(camera.memory(), V4L2_MEMORY_MMAP);  // the padding must be removed
    camera.captureAll(7);
    ASSERT_TRUE(stream.sink().await(1));
    EXPECT_EQ(stream->stop(), 0);
    const Received frame = stream.sink().frames().front();
    EXPECT_EQ(frame.pixels.size(), kPixels);
    EXPECT_THAT(frame.pixels, Each(7));
}

class UvcStreamFormatTest : public UvcStreamTest,
                            public testing::WithParamInterface<std::uint32_t> {};

TEST_P(UvcStreamFormatTest, AShortFrameIsFlaggedAndItsMissingPixelsAreZero)
{
    FakeCamera &camera = addNode({GetParam()});
    UvcDevice &device = open();
    PixelStream stream(device, findSourceFormat(GetParam())->streamType);
    ASSERT_EQ(stream.start(), 0);
    camera.captureAll(255);
    ASSERT_TRUE(stream.sink().await(1));
    FakeCamera::Shot shot;
    shot.bytes.assign(camera.format().sizeimage / 2, 8);
    for (int i = 0; i < 10; ++i) {  // until every frame has old pixels
        camera.capture(shot);
        ASSERT_TRUE(stream.sink().await(static_cast<std::size_t>(i) + 2));
    }
    EXPECT_EQ(stream->stop(), 0);
    const Received frame = stream.sink().frames().back();
    EXPECT_EQ(frame.record.flags, kFrameFlagShort);
    ASSERT_EQ(frame.pixels.size(), frame.record.dataSize);
    const auto half = frame.pixels.begin() + static_cast<std::ptrdiff_t>(frame.pixels.size() / 2);
    EXPECT_THAT(std::vector<unsigned char>(half, frame.pixels.end()), Each(0));
    EXPECT_EQ(countersOf(device, findSourceFormat(GetParam())->streamType).flagged, 10U);
}

INSTANTIATE_TEST_SUITE_P(Formats, UvcStreamFormatTest,
                         testing::Values(V4L2_PIX_FMT_Z16, V4L2_PIX_FMT_GREY, V4L2_PIX_FMT_RGB24,
                                         V4L2_PIX_FMT_Y16, V4L2_PIX_FMT_YUYV));

TEST_F(UvcStreamTest, ADamagedFrameIsFlagged)
{
    FakeCamera &camera = addNode({V4L2_PIX_FMT_Z16});
    UvcDevice &device = open();
    PixelStream stream(device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    FakeCamera::Shot shot;
    shot.bytes.assign(2 * kPixels, 1);
    shot.flags |= V4L2_BUF_FLAG_ERROR;
    camera.capture(shot);
    ASSERT_TRUE(stream.sink().await(1));
    EXPECT_EQ(stream->stop(), 0);
    EXPECT_EQ(stream.sink().frames().front().record.flags, kFrameFlagDamaged);
    EXPECT_EQ(countersOf(device, NUBRIX_STREAM_DEPTH).flagged, 1U);
}

TEST_F(UvcStreamTest, AnEmptyFrameIsDroppedAndCounted)
{
    for (const std::uint32_t code : {V4L2_PIX_FMT_Z16, V4L2_PIX_FMT_GREY}) {
        FakeCamera &camera = addNode({code});
        UvcDevice &device = open();
        const unsigned int type = findSourceFormat(code)->streamType;
        PixelStream stream(device, type);
        ASSERT_EQ(stream.start(), 0);
        camera.capture({});
        camera.captureAll(1);
        ASSERT_TRUE(stream.sink().await(1));
        testing::internal::CaptureStderr();
        EXPECT_EQ(stream->stop(), 0);
        EXPECT_THAT(testing::internal::GetCapturedStderr(),
                    HasSubstr("dropped because their contents could not be used: 1\n"));
        EXPECT_THAT(stream.sink().indices(), ElementsAre(1));
        EXPECT_EQ(countersOf(device, type).unusable, 1U);
    }
}

TEST_F(UvcStreamTest, AJpegThatTakesTooLongIsDroppedAndItsFaultReported)
{
    FakeCamera &camera = addNode({V4L2_PIX_FMT_MJPEG});
    camera.spareBytes = 1 << 20;
    UvcDevice &device = open();
    PixelStream stream(device, NUBRIX_STREAM_COLOR);
    ASSERT_EQ(stream.start(), 0);
    testing::internal::CaptureStderr();
    FakeCamera::Shot shot;
    shot.bytes = withScansRepeated(progressiveJpeg(64, 48, 64), 1000);
    camera.capture(shot);
    ASSERT_TRUE(awaitCount(device, NUBRIX_STREAM_COLOR, 1));
    EXPECT_EQ(stream->stop(), 0);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("a frame cannot be used (it has more than 100 scans), frames like it"));
    EXPECT_EQ(countersOf(device, NUBRIX_STREAM_COLOR).unusable, 1U);
}

TEST_F(UvcStreamTest, StoppingDoesNotWaitForAJpegToBeDecoded)
{
    constexpr unsigned int kSide = 4096;
    FakeCamera &camera = addNode({});
    camera.formats.push_back({V4L2_PIX_FMT_MJPEG, {{kSide, kSide, {30}}}});
    UvcDevice &device = open();
    TestStream stream(device, NUBRIX_STREAM_COLOR);
    ASSERT_EQ(stream.start(), 0);
    FakeCamera::Shot shot;  // its decoding takes seconds
    shot.bytes = withScansRepeated(withSize(progressiveJpeg(8, 8, 10), kSide, kSide), 90);
    camera.capture(shot);
    ASSERT_TRUE(stream.pool().awaitHandedOut(1));
    EXPECT_EQ(stream->stop(), 0);
    const StreamCounters counters = countersOf(device, NUBRIX_STREAM_COLOR);
    EXPECT_EQ(counters.delivered, 0U);
    EXPECT_EQ(counters.unusable, 0U);
}

TEST_F(UvcStreamTest, FramesThatTheKernelDropsAreCounted)
{
    FakeCamera &camera = addNode({V4L2_PIX_FMT_Z16});
    UvcDevice &device = open();
    PixelStream stream(device, NUBRIX_STREAM_DEPTH);
    camera.lose(5);  // before the first frame, so they do not belong to this stream
    ASSERT_EQ(stream.start(), 0);
    camera.captureAll(1);
    ASSERT_TRUE(stream.sink().await(1));
    camera.lose(2);
    camera.captureAll(2);
    ASSERT_TRUE(stream.sink().await(2));
    testing::internal::CaptureStderr();
    EXPECT_EQ(stream->stop(), 0);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("the kernel dropped, incomplete or for lack of a buffer: 2\n"));
    EXPECT_THAT(stream.sink().indices(), ElementsAre(5, 8));
    EXPECT_EQ(countersOf(device, NUBRIX_STREAM_DEPTH).missed, 2U);
}

TEST_F(UvcStreamTest, ABrokenJpegIsDroppedAndCounted)
{
    FakeCamera &camera = addNode({V4L2_PIX_FMT_MJPEG});
    UvcDevice &device = open();
    PixelStream stream(device, NUBRIX_STREAM_COLOR);
    ASSERT_EQ(stream.start(), 0);
    camera.captureAll(0x55);
    ASSERT_TRUE(awaitCount(device, NUBRIX_STREAM_COLOR, 1));
    EXPECT_EQ(stream->stop(), 0);
    EXPECT_EQ(stream.sink().count(), 0U);
    EXPECT_EQ(countersOf(device, NUBRIX_STREAM_COLOR).unusable, 1U);
    EXPECT_EQ(stream.pool().inUse(), 0);
}

TEST_F(UvcStreamTest, ANodeWithAWrongSizeDeliversFlaggedFrames)
{
    FakeCamera &camera = addNode({V4L2_PIX_FMT_Z16});
    camera.missingBytes = 128;  // the last row
    PixelStream stream(open(), NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    camera.captureAll(1);  // reports more bytes than the buffer holds
    ASSERT_TRUE(stream.sink().await(1));
    EXPECT_EQ(stream->stop(), 0);
    const Received frame = stream.sink().frames().front();
    EXPECT_EQ(frame.record.flags, kFrameFlagShort);
    EXPECT_EQ(frame.pixels.size(), 2 * kPixels);
    EXPECT_EQ(frame.pixels[2 * kPixels - 129], 4);
    EXPECT_EQ(frame.pixels[2 * kPixels - 128], 0);
}

TEST_F(UvcStreamTest, WithoutAFreeFrameFramesAreDroppedAndCountedAndTheStreamGoesOn)
{
    for (const std::uint32_t code : {V4L2_PIX_FMT_Z16, V4L2_PIX_FMT_GREY}) {
        FakeCamera &camera = addNode({code});
        UvcDevice &device = open();
        const unsigned int type = findSourceFormat(code)->streamType;
        PixelStream stream(device, type, 4);
        std::vector<NubrixFrameRef *> held;
        stream.sink().onFrame = [&](NubrixFrameRef *frame) {
            if (held.size() < 4) {
                frame->incRef();
                held.push_back(frame);
            }
        };
        ASSERT_EQ(stream.start(), 0);
        for (unsigned int i = 0; i < 10; ++i) {
            camera.captureAll(static_cast<std::uint8_t>(i));
            ASSERT_TRUE(awaitCount(device, type, i + 1));
        }
        const auto before = static_cast<unsigned int>(stream.sink().count());
        EXPECT_LT(before, 10U);
        EXPECT_EQ(countersOf(device, type).held, 10 - before);
        for (NubrixFrameRef *frame : held)
            frame->release();
        stream.sink().onFrame = nullptr;
        camera.captureAll(77);
        ASSERT_TRUE(stream.sink().await(before + 1));
        EXPECT_EQ(stream->stop(), 0);
        EXPECT_EQ(stream.sink().frames().back().record.frameIndex, 10U);
        EXPECT_EQ(stream.pool().inUse(), 0);
    }
}

TEST_F(UvcStreamTest, StreamsOfDifferentNodesRunTogether)
{
    FakeCamera &depth = addNode({V4L2_PIX_FMT_Z16});
    FakeCamera &color = addNode({V4L2_PIX_FMT_YUYV});
    UvcDevice &device = open();
    PixelStream depths(device, NUBRIX_STREAM_DEPTH);
    PixelStream colors(device, NUBRIX_STREAM_COLOR);
    ASSERT_EQ(depths.start(), 0);
    ASSERT_EQ(colors.start(), 0);
    depth.captureAll(1);
    color.captureAll(128);
    EXPECT_TRUE(depths.sink().await(1));
    EXPECT_TRUE(colors.sink().await(1));
}

TEST_F(UvcStreamTest, StreamsOfOneNodeRunOneAtATime)
{
    addNode({V4L2_PIX_FMT_Z16, V4L2_PIX_FMT_YUYV});
    UvcDevice &device = open();
    PixelStream depths(device, NUBRIX_STREAM_DEPTH);
    PixelStream colors(device, NUBRIX_STREAM_COLOR);
    ASSERT_EQ(depths.start(), 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(colors.start(), -2);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("shares its node"));
    EXPECT_EQ(depths->stop(), 0);
    EXPECT_EQ(colors.start(), 0);
}

TEST_F(UvcStreamTest, StartsAndStopsAHundredTimes)
{
    FakeCamera &camera = addNode({V4L2_PIX_FMT_GREY});
    PixelStream stream(open(), NUBRIX_STREAM_IR);
    for (std::size_t i = 1; i <= 100; ++i) {
        ASSERT_EQ(stream.start(), 0);
        EXPECT_EQ(stream->start(), -2);
        camera.captureAll(1);
        ASSERT_TRUE(stream.sink().await(i));
        ASSERT_EQ(stream->stop(), 0);
        ASSERT_EQ(stream->stop(), 0);
        ASSERT_EQ(stream.pool().inUse(), 0);
    }
}

TEST_F(UvcStreamTest, NeedsAPoolAndACallback)
{
    addNode({V4L2_PIX_FMT_GREY});
    UvcDevice &device = open();
    NubrixBaseStream *stream = nullptr;
    ASSERT_EQ(device.createStream(NUBRIX_STREAM_IR, &stream), 0);
    EXPECT_EQ(stream->start(), -2);
    EXPECT_EQ(device.destroyStream(&stream), 0);
    EXPECT_EQ(stream, nullptr);
}

TEST_F(UvcStreamTest, ClosingTheDeviceStopsItsStreams)
{
    FakeCamera &camera = addNode({V4L2_PIX_FMT_GREY});
    UvcDevice &device = open();
    NubrixBaseStream *stream = nullptr;
    ASSERT_EQ(device.createStream(NUBRIX_STREAM_IR, &stream), 0);
    FakePool pool(stream->getFrameBufferSize());
    FrameSink sink;
    stream->setFrameAllocator(&pool);
    stream->setFrameCallback(&FrameSink::receive, &sink);
    ASSERT_EQ(stream->start(), 0);
    EXPECT_TRUE(camera.isStreaming());
    close();
    EXPECT_FALSE(camera.isStreaming());
    EXPECT_EQ(pool.inUse(), 0);
}

}  // namespace
}  // namespace nubrix::uvc
