#include <gmock/gmock.h>

#include <cstring>
#include <deque>
#include <functional>
#include <future>
#include <ostream>

#include "net/FrameConverter.h"
#include "net/PixelFormats.h"
#include "tests/drivers/net/NetFixture.h"

namespace nubrix::net {
namespace {

struct Case {
    const char *name;
    std::uint32_t code;
    unsigned int stream;
    unsigned int pixelFormat;
    unsigned int unitBytes;
};

void PrintTo(const Case &format, std::ostream *out)
{
    *out << format.name;
}

/// Formats whose frames have the camera's bytes.
class NetStreamPatternTest : public NetTest, public testing::WithParamInterface<Case> {};

TEST_P(NetStreamPatternTest, EveryPixelOfEveryFrameIsRight)
{
    SimulatedCameraSettings settings = depthCamera();
    settings.formats = {GetParam().code};
    if (GetParam().stream == NUBRIX_STREAM_IR)
        settings.formats.push_back(kCoord3d);  // or Mono16 would be depth
    const auto camera = serve(settings);
    const OpenCamera device = open();
    ASSERT_TRUE(device);
    PixelStream stream(*device, GetParam().stream);
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(stream.sink().await(20));
    ASSERT_EQ(stream.stop(), 0);
    EXPECT_EQ(stream.pool().inUse(), 0);
    EXPECT_EQ(wrongFrames(stream.sink().frames(), GetParam().unitBytes), 0);
    for (const Received &frame : stream.sink().frames()) {
        EXPECT_EQ(wrongUnits(frame, GetParam().unitBytes), 0);
        EXPECT_EQ(frame.record.pixelFormat, GetParam().pixelFormat);
        EXPECT_EQ(frame.record.streamType, GetParam().stream);
        EXPECT_EQ(frame.record.width, 640);
        EXPECT_EQ(frame.record.height, 480);
        EXPECT_EQ(frame.record.dataSize, frame.pixels.size());
        EXPECT_EQ(frame.record.flags, 0U);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Formats, NetStreamPatternTest,
    testing::Values(Case{"Depth", kCoord3d, NUBRIX_STREAM_DEPTH, NUBRIX_PIXEL_DEPTH_14_2, 2},
                    Case{"DepthInMono16", kMono16, NUBRIX_STREAM_DEPTH, NUBRIX_PIXEL_DEPTH_14_2, 2},
                    Case{"Infrared8", kMono8, NUBRIX_STREAM_IR, NUBRIX_PIXEL_GREY8, 1},
                    Case{"Infrared10", kMono10, NUBRIX_STREAM_IR, NUBRIX_PIXEL_GREY16, 2},
                    Case{"Infrared16", kMono16, NUBRIX_STREAM_IR, NUBRIX_PIXEL_GREY16, 2},
                    Case{"Infrared12", kMono12, NUBRIX_STREAM_IR, NUBRIX_PIXEL_GREY16, 2},
                    Case{"Colour", kRgb8, NUBRIX_STREAM_COLOR, NUBRIX_PIXEL_RGB888, 1}),
    [](const auto &test) { return test.param.name; });

struct Converted {
    const char *name;
    std::uint32_t code;
};

void PrintTo(const Converted &format, std::ostream *out)
{
    *out << format.name;
}

/// Formats whose frames are converted.
class NetStreamConvertedTest : public NetTest, public testing::WithParamInterface<Converted> {
protected:
    static constexpr unsigned int kWidth = 96;
    static constexpr unsigned int kHeight = 64;

    static std::vector<unsigned char> expected(std::uint32_t number)
    {
        const PixelFormat &format = *findPixelFormat(GetParam().code, NUBRIX_STREAM_COLOR);
        const FrameConverter converter(format, {}, kWidth, kHeight);
        std::vector<std::uint8_t> source(converter.sourceBytes());
        fillPattern(GetParam().code, number, source.data(), kWidth, kHeight);
        std::vector<std::uint8_t> frame(converter.frameBytes());
        converter.convert(source.data(), frame.data());
        return frame;
    }
};

TEST_P(NetStreamConvertedTest, EveryFrameIsConvertedFromItsImage)
{
    SimulatedCameraSettings settings = depthCamera();
    settings.formats = {GetParam().code};
    settings.width = settings.smallestWidth = kWidth;
    settings.height = settings.smallestHeight = kHeight;
    const auto camera = serve(settings);
    const OpenCamera device = open();
    ASSERT_TRUE(device);
    PixelStream stream(*device, NUBRIX_STREAM_COLOR);
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(stream.sink().await(10));
    stream.stop();
    const std::vector<Received> frames = stream.sink().frames();
    std::uint32_t first = 0;
    while (first < 256 && expected(first) != frames.front().pixels)
        ++first;
    ASSERT_LT(first, 256U) << "the first frame is not converted from any image";
    for (const Received &frame : frames) {
        const std::uint32_t since = frame.record.frameIndex - frames.front().record.frameIndex;
        EXPECT_EQ(frame.pixels, expected(first + since)) << frame.record.frameIndex;
        EXPECT_EQ(frame.record.pixelFormat, unsigned{NUBRIX_PIXEL_RGB888});
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, NetStreamConvertedTest,
                         testing::Values(Converted{"BlueFirst", kBgr8},
                                         Converted{"LumaFirst", kYuyv},
                                         Converted{"ChromaFirst", kUyvy},
                                         Converted{"MosaicRedFirst", kBayerRg8}),
                         [](const auto &test) { return test.param.name; });

class NetStreamTest : public NetTest {};

TEST_F(NetStreamTest, DepthIsScaledToQuartersOfMillimetres)
{
    SimulatedCameraSettings settings = depthCamera();
    settings.coordinateScale = 0.5F;
    settings.coordinateOffset = 10;
    settings.invalidValue = 1100;
    const auto camera = std::make_unique<SimulatedCamera>(
        settings,
        [](std::uint32_t, std::uint32_t, void *data, unsigned int width, unsigned int height) {
            auto *count = static_cast<std::uint16_t *>(data);
            for (unsigned int i = 0; i < width * height; ++i)
                count[i] = static_cast<std::uint16_t>(1000 + i % 200);
        });
    const OpenCamera device = open();
    ASSERT_TRUE(device);
    PixelStream stream(*device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(stream.sink().await(1));
    stream.stop();
    const Received frame = stream.sink().frames().front();
    for (unsigned int i = 0; i < 640 * 480; ++i) {
        std::uint16_t depth = 0;
        std::memcpy(&depth, frame.pixels.data() + 2 * std::size_t{i}, 2);
        const unsigned int count = 1000 + i % 200;
        ASSERT_EQ(depth, count == 1100 ? 0 : 4 * 10 + 2 * count) << i;
    }
}

TEST_F(NetStreamTest, FramesThatPassThroughAreFilledInPlace)
{
    const auto camera = serve(depthCamera());
    const OpenCamera device = open();
    ASSERT_TRUE(device);
    PixelStream stream(*device, NUBRIX_STREAM_DEPTH);
    // The four in flight, and the one that is delivered.
    stream.sink().onFrame = [&](NubrixFrameRef *) { EXPECT_EQ(stream.pool().inUse(), 5); };
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(stream.sink().await(5));
    stream.stop();
}

TEST_F(NetStreamTest, FramesAreDroppedAndCountedWhileTheApplicationHoldsAllOfThem)
{
    const auto camera = serve(depthCamera());
    const OpenCamera device = open();
    ASSERT_TRUE(device);
    PixelStream stream(*device, NUBRIX_STREAM_DEPTH, 6);
    std::mutex lock;
    std::vector<NubrixFrameRef *> held;
    stream.sink().onFrame = [&](NubrixFrameRef *frame) {
        frame->incRef();
        const std::lock_guard<std::mutex> guard(lock);
        held.push_back(frame);
    };
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(stream.pool().awaitRefused(3));
    StreamCounters counters = {};
    unsigned int size = sizeof counters;
    EXPECT_EQ(device->getProperty(NUBRIX_PROPERTY_STREAM_COUNTERS + NUBRIX_STREAM_DEPTH, &counters,
                                  &size),
              0);
    EXPECT_EQ(counters.delivered, 2U);
    EXPECT_GE(counters.held, 2U);
    {
        const std::lock_guard<std::mutex> guard(lock);
        for (NubrixFrameRef *frame : held)
            frame->release();
        stream.sink().onFrame = nullptr;
    }
    stream.stop();
}

TEST_F(NetStreamTest, ThreeCamerasStreamAtOnce)
{
    std::vector<std::unique_ptr<SimulatedCamera>> cameras;
    std::deque<OpenCamera> devices;
    std::deque<PixelStream> streams;
    const unsigned int types[] = {NUBRIX_STREAM_DEPTH, NUBRIX_STREAM_IR, NUBRIX_STREAM_COLOR};
    for (const char *address : {"127.0.0.1", "127.0.0.2", "127.0.0.3"}) {
        cameras.push_back(serve(depthCamera(address)));
        devices.emplace_back(driver(), std::string("net:") + address);
        ASSERT_TRUE(devices.back());
        streams.emplace_back(*devices.back(), types[streams.size()]);
        ASSERT_EQ(streams.back().start(), 0);
    }
    for (std::size_t i = 0; i < streams.size(); ++i) {
        EXPECT_TRUE(streams[i].sink().await(20));
        streams[i].stop();
        const unsigned int unitBytes = types[i] == NUBRIX_STREAM_COLOR ? 1 : 2;
        EXPECT_EQ(wrongFrames(streams[i].sink().frames(), unitBytes), 0);
        for (const Received &frame : streams[i].sink().frames())
            EXPECT_EQ(wrongUnits(frame, unitBytes), 0);
    }
}

TEST_F(NetStreamTest, ALargeAndFastStreamIsRight)
{
    SimulatedCameraSettings settings = depthCamera();
    settings.width = 1280;
    settings.height = 960;
    settings.frameRate = 60;
    const auto camera = serve(settings);
    const OpenCamera device = open();
    ASSERT_TRUE(device);
    const typedefNubrixFrameMode *mode = device->getCurrentFrameMode(NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(mode->width, 1280);
    EXPECT_EQ(mode->frameRate, 60);
    PixelStream stream(*device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(stream.sink().await(20));
    stream.stop();
    EXPECT_EQ(wrongFrames(stream.sink().frames(), 2), 0);
    for (const Received &frame : stream.sink().frames())
        EXPECT_EQ(wrongUnits(frame, 2), 0);
}

TEST_F(NetStreamTest, LostPacketsCostOnlyTheirFrames)
{
    SimulatedCameraSettings settings = depthCamera();
    settings.lostPackets = 0.005;
    const auto camera = serve(settings);
    const OpenCamera device = open();
    ASSERT_TRUE(device);
    PixelStream stream(*device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(stream.sink().await(40));
    stream.stop();
    EXPECT_EQ(wrongFrames(stream.sink().frames(), 2), 0);
    unsigned int last = 0;
    for (const Received &frame : stream.sink().frames()) {
        EXPECT_EQ(wrongUnits(frame, 2), 0);
        EXPECT_TRUE(last == 0 || frame.record.frameIndex > last);
        last = frame.record.frameIndex;
    }
    StreamCounters counters = {};
    unsigned int size = sizeof counters;
    device->getProperty(NUBRIX_PROPERTY_STREAM_COUNTERS + NUBRIX_STREAM_DEPTH, &counters, &size);
    EXPECT_GT(counters.unusable + counters.missed, 0U);
    EXPECT_EQ(counters.delivered, stream.sink().count());
    EXPECT_GE(last + 1, counters.delivered + counters.unusable);
}

TEST_F(NetStreamTest, IncompleteFramesAreDeliveredWithAFlagWhenThatIsEnabled)
{
    SimulatedCameraSettings settings = depthCamera();
    settings.lostPackets = 0.02;
    const auto camera = serve(settings);
    const OpenCamera device = open();
    ASSERT_TRUE(device);
    const unsigned int on = 1;
    ASSERT_EQ(device->setProperty(0x5b00, &on, sizeof on), 0);
    PixelStream stream(*device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(stream.sink().await(40));
    stream.stop();
    int flagged = 0;
    for (const Received &frame : stream.sink().frames()) {
        if (frame.record.flags == 0)
            EXPECT_EQ(wrongUnits(frame, 2), 0);
        else
            EXPECT_EQ(frame.record.flags, 8U);
        flagged += frame.record.flags == 8 ? 1 : 0;
    }
    EXPECT_GT(flagged, 0);
}

TEST_F(NetStreamTest, OneStreamOfACameraRunsAtATime)
{
    const auto camera = serve(depthCamera());
    const OpenCamera device = open();
    ASSERT_TRUE(device);
    PixelStream depth(*device, NUBRIX_STREAM_DEPTH);
    PixelStream color(*device, NUBRIX_STREAM_COLOR);
    ASSERT_EQ(depth.start(), 0);
    ASSERT_TRUE(depth.sink().await(2));
    EXPECT_EQ(color.start(), -2);
    depth.stop();
    EXPECT_EQ(color.start(), 0);
    EXPECT_TRUE(color.sink().await(2));
}

TEST_F(NetStreamTest, AStreamWithFramesThatAreTooSmallDoesNotStartAndKeepsNothing)
{
    const auto camera = serve(depthCamera());
    const OpenCamera device = open();
    ASSERT_TRUE(device);
    PixelStream color(*device, NUBRIX_STREAM_COLOR);
    PixelStream depth(*device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(color.start(), 0);
    ASSERT_EQ(color.stop(), 0);
    color.pool().setFrameBufferSize(640 * 480 * 3 - 1);
    EXPECT_EQ(color->start(), -2);
    EXPECT_EQ(depth.start(), 0);
}

TEST_F(NetStreamTest, AStreamStartsAgainAndAgain)
{
    const auto camera = serve(depthCamera());
    const OpenCamera device = open();
    ASSERT_TRUE(device);
    PixelStream stream(*device, NUBRIX_STREAM_DEPTH);
    for (int round = 0; round < 5; ++round) {
        stream.sink().clear();
        ASSERT_EQ(stream.start(), 0);
        ASSERT_TRUE(stream.sink().await(3));
        ASSERT_EQ(stream.stop(), 0);
        EXPECT_EQ(stream.pool().inUse(), 0);
    }
}

TEST_F(NetStreamTest, ASmallerModeShowsTheMiddleOfTheImage)
{
    SimulatedCameraSettings settings = depthCamera();
    settings.smallestWidth = 64;
    settings.smallestHeight = 48;
    const auto camera = serve(settings);
    const OpenCamera device = open();
    ASSERT_TRUE(device);
    const typedefNubrixFrameMode small = {NUBRIX_PIXEL_DEPTH_14_2, 320, 240, 60};
    ASSERT_EQ(device->setFrameMode(NUBRIX_STREAM_DEPTH, small, false), 0);
    float intrinsics[4] = {};
    unsigned int size = sizeof intrinsics;
    EXPECT_EQ(device->getProperty(kPropertyIntrinsics + NUBRIX_STREAM_DEPTH, intrinsics, &size), 0);
    EXPECT_FLOAT_EQ(intrinsics[0], 577.5F);
    EXPECT_FLOAT_EQ(intrinsics[2], 319.5F - 160);
    EXPECT_FLOAT_EQ(intrinsics[3], 239.5F - 120);
    PixelStream stream(*device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(stream.sink().await(5));
    stream.stop();
    for (const Received &frame : stream.sink().frames()) {
        EXPECT_EQ(frame.record.width, 320);
        EXPECT_EQ(wrongUnits(frame, 2), 0);
    }
}

}  // namespace
}  // namespace nubrix::net
