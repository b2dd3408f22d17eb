// The way of a frame from the driver to the application and back.
#include <atomic>
#include <cstring>
#include <numeric>

#include "tests/context/ContextFixture.h"

namespace nubrix {
namespace {

constexpr unsigned int kType = NUBRIX_STREAM_DEPTH;

/// Reading and releasing frames by hand.
class Frames : public DeviceFixture {
protected:
    void deliver(unsigned int index) { ASSERT_TRUE(m_usb.deliver(kType, FakeFrame{index})); }
    Outcome reading(int timeoutMs = 0)
    {
        m_frame = unknownHandle<typedefNubrixFrame>();
        return outcome([&] { return context().readFrame(m_stream, &m_frame, timeoutMs); });
    }
    typedefNubrixFrame *readNow()
    {
        EXPECT_EQ(reading().status, 0);
        return m_frame;
    }
    int release(typedefNubrixFrame *frame) { return context().releaseFrame(frame); }

    NubrixStream *const m_stream = opened(kType);
    typedefNubrixFrame *m_frame = nullptr;
};

TEST_F(Frames, ArriveBitForBit)
{
    FakeFrame sent = {0xfffffffe, std::vector<unsigned char>(64), 8, 4, NUBRIX_PIXEL_DEPTH_12_4};
    std::iota(sent.pixels.begin(), sent.pixels.end(), static_cast<unsigned char>(200));
    sent.timestampUs = 0x123456789abcdef0U;
    sent.flags = 0x55;
    sent.reserved = 0xaa;
    ASSERT_TRUE(m_usb.deliver(kType, sent));
    typedefNubrixFrame *const frame = readNow();
    EXPECT_EQ(frame->pixelFormat, NUBRIX_PIXEL_DEPTH_12_4);
    EXPECT_EQ(frame->streamType, kType);
    EXPECT_EQ(frame->frameIndex, 0xfffffffeU);
    EXPECT_EQ(frame->timestampLow, 0x9abcdef0U);
    EXPECT_EQ(frame->timestampHigh, 0x12345678U);
    EXPECT_EQ(frame->flags, 0x55U);
    EXPECT_EQ(frame->width, 8);
    EXPECT_EQ(frame->height, 4);
    ASSERT_EQ(frame->dataSize, 64U);
    EXPECT_EQ(frame->reserved, 0xaaU);
    EXPECT_EQ(std::memcmp(frame->data, sent.pixels.data(), 64), 0);
    EXPECT_EQ(release(frame), 0);
}

TEST_F(Frames, KeepTheTypeThatTheDriverGave)
{
    FakeFrame odd;
    odd.streamType = 77;
    ASSERT_TRUE(m_usb.deliver(kType, odd));
    EXPECT_EQ(readNow()->streamType, 77U);
    release(m_frame);
}

TEST_F(Frames, TheNewestWins)
{
    deliver(1);
    deliver(2);
    EXPECT_EQ(readNow()->frameIndex, 2U);
    EXPECT_EQ(release(m_frame), 0);
    EXPECT_EQ(reading().status, -11);
}

TEST_F(Frames, ReadingWithoutAFrameReturnsNone)
{
    ASSERT_EQ(reading().status, -11);
    EXPECT_EQ(m_frame, nullptr);
    EXPECT_EQ(reading(50), (Outcome{-11, 0, {}})) << "the time-out is no error of its own";
    EXPECT_EQ(m_frame, nullptr);
}

TEST_F(Frames, AStreamThatIsNotStartedHasNone)
{
    ASSERT_EQ(reading().status, -11);
    ASSERT_EQ(stopStream(m_stream), 0);
    EXPECT_EQ(reading(), (Outcome{-11, 0, {"2 Stream Not Stared"}}));
}

TEST_F(Frames, ReadingIsRefusedWithoutTouchingTheResult)
{
    typedefNubrixFrame other = {};
    typedefNubrixFrame *frame = &other;
    EXPECT_EQ(context().readFrame(unknownHandle<NubrixStream>(), &frame, 0), -13);
    EXPECT_EQ(frame, &other);
    ASSERT_EQ(context().destroy(), 0);
    EXPECT_EQ(context().readFrame(unknownHandle<NubrixStream>(), &frame, 0), -2);
    EXPECT_EQ(frame, &other);
}

TEST_F(Frames, AStopForgetsTheWaitingFrame)
{
    deliver(1);
    ASSERT_EQ(stopStream(m_stream), 0);
    ASSERT_EQ(startStream(m_stream), 0);
    EXPECT_EQ(m_usb.deliver(kType, FakeFrame{2}), true);
    EXPECT_EQ(readNow()->frameIndex, 2U);
    release(m_frame);
}

TEST_F(Frames, ReadingWaitsForOne)
{
    std::thread camera;
    std::atomic<int> waiters{0};
    m_usb.setHook([&](const std::string &call) {
        if (call == "usb:1 keepLiveState" && waiters++ == 0)
            camera = std::thread([&] { EXPECT_TRUE(m_usb.deliver(kType, FakeFrame{9})); });
    });
    ASSERT_EQ(reading(-1).status, 0);
    EXPECT_EQ(m_frame->frameIndex, 9U);
    EXPECT_EQ(release(m_frame), 0);
    camera.join();
}

TEST_F(Frames, AFrameThatWasReadAfterTheWakeUpIsAnError)
{
    // Within the wait a frame comes, which another thread is notified of, too, and is taken away.
    std::thread witness;
    std::atomic<int> waiters{0};
    m_usb.setHook([&](const std::string &call) {
        if (call != "usb:1 keepLiveState")
            return;
        if (++waiters == 1) {
            Counter notified;
            NubrixStream *stream = m_stream;
            witness = std::thread([&] {
                EXPECT_EQ(context().waitForStreams(&stream, 1, nullptr, -1), 0);
                notified.add();
            });
            ASSERT_TRUE(notified.reaches(1));
            ASSERT_EQ(stopStream(m_stream), 0);
            ASSERT_EQ(startStream(m_stream), 0);
        } else {
            deliver(1);
        }
    });
    const Outcome lost = reading(-1);
    witness.join();
    EXPECT_EQ(lost.status, -11);
    EXPECT_EQ(lost.error, NUBRIX_ERR_NO_FRAME);
    EXPECT_EQ(m_frame, nullptr);
}

TEST_F(Frames, HoldingEveryOneMakesTheNextFail)
{
    std::vector<typedefNubrixFrame *> held;
    for (unsigned int i = 0; i < 10; ++i) {
        deliver(i);
        held.push_back(readNow());
        EXPECT_EQ(held.back()->frameIndex, i);
    }
    const auto denied = [&] { return m_usb.deliver(kType, FakeFrame{99}); };
    EXPECT_EQ(outcome(denied), (Outcome{0, 0, {"3 no available Frame!!!"}}));
    EXPECT_EQ(release(held[4]), 0);
    EXPECT_FALSE(denied());
    EXPECT_EQ(release(held[2]), 0);
    EXPECT_FALSE(denied()) << "two that came back are not enough";
    EXPECT_EQ(release(held[7]), 0);
    deliver(10);
    EXPECT_EQ(readNow(), held[4]) << "the one that came back first is used first";
    held[4] = nullptr;
    for (const std::size_t i : {0U, 1U, 3U, 5U, 6U, 8U, 9U})
        EXPECT_EQ(release(held[i]), 0);
    EXPECT_EQ(release(m_frame), 0);
}

TEST_F(Frames, OnesThatAreHeldOutliveTheirCamera)
{
    FakeFrame sent = {3, std::vector<unsigned char>(64, 0x77)};
    ASSERT_TRUE(m_usb.deliver(kType, sent));
    typedefNubrixFrame *const frame = readNow();
    ASSERT_EQ(context().closeDevice(m_device), 0);
    EXPECT_EQ(std::memcmp(frame->data, sent.pixels.data(), 64), 0);
    EXPECT_EQ(release(frame), 0);
}

TEST_F(Frames, OnesThatAreHeldOutliveAChangeOfSize)
{
    deliver(1);
    typedefNubrixFrame *const before = readNow();
    ASSERT_EQ(stopStream(m_stream), 0);
    m_usb.frameBufferSize = 1024;
    ASSERT_EQ(startStream(m_stream), 0);
    for (unsigned int i = 0; i < 20; ++i) {
        ASSERT_TRUE(m_usb.deliver(kType, {i, std::vector<unsigned char>(1024, 1)}));
        EXPECT_EQ(readNow()->dataSize, 1024U);
        EXPECT_NE(m_frame, before);
        EXPECT_EQ(release(m_frame), 0);
        if (i == 10) {
            EXPECT_EQ(release(before), 0);
        }
    }
}

TEST_F(Frames, HeldFramesCannotBeReleasedAfterDestroy)
{
    FakeFrame sent = {3, std::vector<unsigned char>(64, 0x77)};
    ASSERT_TRUE(m_usb.deliver(kType, sent));
    typedefNubrixFrame *const frame = readNow();
    ASSERT_EQ(context().destroy(), 0);
    EXPECT_EQ(outcome([&] { return release(frame); }),
              (Outcome{-2, NUBRIX_ERR_NOT_INITIALIZED, {kNotInitialized}}));
    EXPECT_EQ(std::memcmp(frame->data, sent.pixels.data(), 64), 0) << "but can be read";
    ASSERT_EQ(context().initialize(), 0);
    EXPECT_EQ(release(frame), 0) << "and released after the next initialize";
}

TEST_F(Frames, GivingNothingBackDoesNothing)
{
    EXPECT_EQ(outcome([&] { return release(nullptr); }), (Outcome{}));
}

TEST_F(Frames, OfDifferentStreamsDoNotMix)
{
    NubrixDevice *const other = open("net:1");
    NubrixStream *const color = opened(NUBRIX_STREAM_COLOR);
    NubrixStream *const otherDepth = opened(kType, other);
    deliver(1);
    ASSERT_TRUE(m_usb.deliver(NUBRIX_STREAM_COLOR, {2}));
    ASSERT_TRUE(m_net.deliver(kType, {3}));
    const std::pair<NubrixStream *, unsigned int> expected[] = {
        {m_stream, 1}, {color, 2}, {otherDepth, 3}};
    for (const auto &[stream, index] : expected) {
        typedefNubrixFrame *frame = nullptr;
        ASSERT_EQ(context().readFrame(stream, &frame, 0), 0);
        EXPECT_EQ(frame->frameIndex, index);
        EXPECT_EQ(release(frame), 0);
    }
}

}  // namespace
}  // namespace nubrix
