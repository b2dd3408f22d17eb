// The life of a stream, from createStream or openStream to its end.
#include "tests/context/ContextFixture.h"

namespace nubrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

NubrixStream *const kUntouched = unknownHandle<NubrixStream>();

void ignoreFrame(NubrixStream *, typedefNubrixFrame *, void *)
{
}

class Streams : public DeviceFixture {
protected:
    Outcome creating(unsigned int type = NUBRIX_STREAM_COLOR)
    {
        return outcome([&] { return createStream(m_device, type, &m_stream); });
    }
    Outcome opening(unsigned int type, NubrixFrameCallback callback = nullptr)
    {
        return outcome(
            [&] { return context().openStream(m_device, type, &m_stream, callback, nullptr); });
    }

    NubrixStream *m_stream = kUntouched;
};

TEST_F(Streams, AreCreatedWithoutTheDriver)
{
    EXPECT_EQ(creating(), (Outcome{0, 0, {"1 Create newFrameThreadFunc"}}));
    EXPECT_NE(m_stream, kUntouched);
    EXPECT_NE(m_stream, nullptr);
    EXPECT_THAT(m_usb.calls(), ElementsAre("usb:1 deviceState"));
}

TEST_F(Streams, OfOneTypeAreDifferentStreams)
{
    EXPECT_NE(created(), created());
}

TEST_F(Streams, AreNotCreatedOnADetachedCamera)
{
    m_usb.device()->state = NUBRIX_DEVICE_DISCONNECTED;
    EXPECT_EQ(
        creating(),
        (Outcome{-1,
                 NUBRIX_ERR_STREAM_HANDLE,
                 {"1 Device disconnected, please check it", "3  Create Stream handle failed!"}}));
    EXPECT_EQ(m_stream, kUntouched);
}

TEST_F(Streams, ASixtyFirstIsRefused)
{
    NubrixDevice *const other = open("net:1");
    std::vector<NubrixStream *> streams(60);
    for (std::size_t i = 0; i < streams.size(); ++i)
        ASSERT_EQ(createStream(i % 2 == 0 ? m_device : other, 1, &streams[i]), 0);
    EXPECT_EQ(creating(), (Outcome{-5, NUBRIX_ERR_TOO_MANY_STREAMS, {}}));
    EXPECT_EQ(m_stream, kUntouched);
    EXPECT_EQ(opening(NUBRIX_STREAM_DEPTH),
              (Outcome{-5,
                       NUBRIX_ERR_TOO_MANY_STREAMS,
                       {"4 Start open depth stream!", "3 Create stream failed"}}));
    ASSERT_EQ(destroyStream(streams[30]), 0);
    EXPECT_EQ(creating().status, 0);
    EXPECT_EQ(creating().status, -5);
}

TEST_F(Streams, SixtyRunAtOnce)
{
    std::vector<NubrixStream *> streams;
    for (int i = 0; i < 60; ++i)
        streams.push_back(opened(NUBRIX_STREAM_COLOR));
    ASSERT_TRUE(m_usb.deliver(NUBRIX_STREAM_COLOR, {17}));
    for (NubrixStream *stream : streams) {
        typedefNubrixFrame *frame = nullptr;
        ASSERT_EQ(context().readFrame(stream, &frame, 0), 0);
        EXPECT_EQ(frame->frameIndex, 17U);
        EXPECT_EQ(context().releaseFrame(frame), 0);
    }
    EXPECT_EQ(context().closeDevice(m_device), 0);
    EXPECT_EQ(m_usb.countCalls("usb:1 stream 1 stop"), 1U);
}

TEST_F(Streams, AnUnknownTypeIsRefusedBeforeAnythingElse)
{
    for (const unsigned int type : {0U, 3U, 5U, 8U, 16U, 64U, 0xffffffffU}) {
        const std::string line =
            "3 Can  not open stream[type = " + std::to_string(static_cast<int>(type)) +
            "], Stream Type is Invalid";
        EXPECT_EQ(opening(type), (Outcome{-4, 0, {line}}));
        EXPECT_EQ(m_stream, kUntouched);
    }
    ASSERT_EQ(context().destroy(), 0);
    EXPECT_EQ(opening(3).status, -4) << "even before the context is asked";
}

TEST_F(Streams, OpeningOneStartsIt)
{
    EXPECT_EQ(
        opening(NUBRIX_STREAM_COLOR),
        (Outcome{0,
                 0,
                 {"4 Start open color stream!", "1 Create newFrameThreadFunc", "1 ", "1 ", "1 ",
                  "1 get frame buffer size=64", "1 Change buffer Size from [624640] to [64]",
                  "1 1 Sensor started", "4 Open color stream succeed"}}));
    EXPECT_THAT(m_usb.calls(),
                ElementsAre("usb:1 deviceState", "usb:1 createStream 1",
                            "usb:1 stream 1 setFrameCallback", "usb:1 stream 1 getFrameBufferSize",
                            "usb:1 stream 1 setFrameAllocator", "usb:1 stream 1 start"));
}

TEST_F(Streams, EveryTypeHasItsName)
{
    const std::pair<unsigned int, std::string> names[] = {
        {1, "color"}, {2, "depth"}, {4, "ir"}, {32, "light ir"}};
    for (const auto &[type, name] : names) {
        const Outcome open = opening(type);
        EXPECT_EQ(open.status, 0);
        EXPECT_EQ(open.log.front(), "4 Start open " + name + " stream!");
        EXPECT_EQ(open.log.back(), "4 Open " + name + " stream succeed");
        EXPECT_EQ(logOf([&] { return context().closeStream(m_stream); }).front(),
                  "4 Start stop " + name + " stream ");
    }
}

TEST_F(Streams, TheCallbackIsSetBeforeTheStart)
{
    const Outcome open = opening(NUBRIX_STREAM_IR, &ignoreFrame);
    EXPECT_EQ(open.status, 0);
    ASSERT_GT(open.log.size(), 3U);
    EXPECT_EQ(open.log[0], "4 Start open ir stream!");
    EXPECT_EQ(open.log[1], "1 Create newFrameThreadFunc");
    EXPECT_EQ(open.log[2], "4 Set stream callback.");
    EXPECT_EQ(open.log.back(), "4 Open ir stream succeed");
}

TEST_F(Streams, AStartThatFailsUndoesTheStreamAndReportsSuccess)
{
    m_usb.results.start = -33;
    const Outcome failed = opening(NUBRIX_STREAM_COLOR);
    EXPECT_EQ(failed.status, -33);
    EXPECT_EQ(failed.error, 0U);
    EXPECT_THAT(failed.log, testing::IsSupersetOf({"3 Open color stream failed ,ret = -33",
                                                   "1 After remove stream, the size=0"}));
    EXPECT_EQ(failed.log.back(), "4 Open color stream succeed");
    EXPECT_EQ(m_stream, nullptr);
    m_usb.results.start = 0;
    EXPECT_EQ(opening(NUBRIX_STREAM_COLOR).status, 0) << "and leaves nothing behind";
    EXPECT_TRUE(m_usb.deliver(NUBRIX_STREAM_COLOR, {}));
}

TEST_F(Streams, ADriverWithoutThatStreamFailsTheStart)
{
    m_usb.results.createStream = -4;
    const Outcome failed = opening(NUBRIX_STREAM_LIGHT_IR, &ignoreFrame);
    EXPECT_EQ(failed.status, -8);
    EXPECT_THAT(failed.log, testing::IsSupersetOf({"3 Created driver stream failed!",
                                                   "3 Open light ir stream failed ,ret = -8"}));
    EXPECT_EQ(failed.log.back(), "4 Open light ir stream succeed");
    EXPECT_EQ(m_stream, nullptr);
    m_usb.results.createStream = 0;
    m_usb.givesNullStream = true;
    EXPECT_EQ(opening(NUBRIX_STREAM_LIGHT_IR).status, -8) << "whatever the driver returns";
}

TEST_F(Streams, AStreamThatFailedToStartCountsAsStarted)
{
    m_stream = created();
    m_usb.results.start = -33;
    EXPECT_EQ(startStream(m_stream), -33);
    EXPECT_EQ(startStream(m_stream), 0);
    EXPECT_EQ(m_usb.countCalls("usb:1 stream 1 start"), 1U);
    m_usb.results.start = 0;
    EXPECT_EQ(stopStream(m_stream), 0);
    EXPECT_EQ(startStream(m_stream), 0);
    EXPECT_EQ(m_usb.countCalls("usb:1 stream 1 start"), 2U);
}

TEST_F(Streams, StartingTwiceIsHarmless)
{
    m_stream = opened();
    m_usb.takeCalls();
    EXPECT_EQ(outcome([&] { return startStream(m_stream); }), (Outcome{0, 0, {"1 ", "1 "}}));
    EXPECT_THAT(m_usb.calls(), IsEmpty());
}

TEST_F(Streams, StoppingOneThatWasNeverStartedSucceeds)
{
    m_stream = created();
    EXPECT_EQ(outcome([&] { return stopStream(m_stream); }), (Outcome{0, 0, {"1 "}}));
    EXPECT_EQ(stopStream(m_stream), 0);
}

TEST_F(Streams, StoppingSucceedsWhateverTheDriverSays)
{
    m_stream = opened();
    m_usb.results.stop = -12;
    EXPECT_EQ(stopStream(m_stream), 0);
}

TEST_F(Streams, ARestartAppliesTheModeAgain)
{
    m_stream = opened();
    m_usb.setCurrentMode({NUBRIX_PIXEL_RGB888, 640, 480, 30});
    m_usb.frameBufferSize = 128;
    ASSERT_EQ(stopStream(m_stream), 0);
    m_usb.takeCalls();
    EXPECT_THAT(logOf([&] { return startStream(m_stream); }),
                ElementsAre("1 ", "1 ", "1 ", "1 get frame buffer size=128",
                            "1 Change buffer Size from [64] to [128]", "1 1 Sensor started"));
    EXPECT_THAT(
        m_usb.calls(),
        ElementsAre("usb:1 getCurrentFrameMode 1", "usb:1 setFrameMode 1 640x480@30 restart",
                    "usb:1 stream 1 setFrameCallback", "usb:1 stream 1 getFrameBufferSize",
                    "usb:1 stream 1 setFrameAllocator", "usb:1 stream 1 start"));
    ASSERT_EQ(stopStream(m_stream), 0);
    m_usb.results.setFrameMode = -4;
    EXPECT_EQ(startStream(m_stream), 0) << "a mode that is refused does not matter";
    EXPECT_EQ(m_log.count("1 Buffer Size do not need change[128]"), 1U);
}

TEST_F(Streams, ARestartWithoutAModeAppliesNone)
{
    m_stream = opened();
    ASSERT_EQ(stopStream(m_stream), 0);
    m_usb.takeCalls();
    ASSERT_EQ(startStream(m_stream), 0);
    EXPECT_EQ(m_usb.calls()[0], "usb:1 getCurrentFrameMode 1");
    EXPECT_EQ(m_usb.calls()[1], "usb:1 stream 1 setFrameCallback");
}

TEST_F(Streams, TwoOfOneTypeShareTheDriversStream)
{
    NubrixStream *const first = opened();
    m_usb.takeCalls();
    NubrixStream *const second = opened();
    EXPECT_THAT(m_usb.takeCalls(), ElementsAre("usb:1 deviceState"));
    typedefNubrixFrame *frames[2] = {};
    ASSERT_TRUE(m_usb.deliver(NUBRIX_STREAM_COLOR, {5}));
    ASSERT_EQ(context().readFrame(first, &frames[0], 0), 0);
    ASSERT_EQ(context().readFrame(second, &frames[1], 0), 0);
    EXPECT_EQ(frames[0], frames[1]) << "one frame, referred to twice";
    EXPECT_EQ(context().releaseFrame(frames[0]), 0);
    EXPECT_EQ(frames[1]->frameIndex, 5U);
    EXPECT_EQ(context().releaseFrame(frames[1]), 0);
    ASSERT_EQ(context().closeStream(first), 0);
    EXPECT_TRUE(m_usb.deliver(NUBRIX_STREAM_COLOR, {}));
    ASSERT_EQ(context().closeStream(second), 0);
    EXPECT_THAT(m_usb.calls(), ElementsAre("usb:1 stream 1 stop"));
    EXPECT_FALSE(m_usb.deliver(NUBRIX_STREAM_COLOR, {}));
}

TEST_F(Streams, ClosingOneStopsAndDestroysIt)
{
    m_stream = opened(NUBRIX_STREAM_DEPTH);
    opened(NUBRIX_STREAM_COLOR);
    EXPECT_EQ(outcome([&] { return context().closeStream(m_stream); }),
              (Outcome{0,
                       0,
                       {"4 Start stop depth stream ", "1 ", "1 Thread[Stream Thread] Stoped", "1 ",
                        "1 After remove stream, the size=1", "1 ", "4 Finish stop stream"}}));
    EXPECT_EQ(stopStream(m_stream), -13);
    EXPECT_EQ(m_usb.countCalls("usb:1 stream 2 stop"), 1U);
    EXPECT_EQ(m_usb.countCalls("usb:1 stream 1 stop"), 0U);
}

TEST_F(Streams, DestroyingARunningOneStopsIt)
{
    m_stream = opened();
    const Outcome destroyed = outcome([&] { return destroyStream(m_stream); });
    EXPECT_EQ(destroyed.status, 0);
    EXPECT_EQ(destroyed.log.front(), "1 After remove stream, the size=0");
    EXPECT_EQ(m_usb.countCalls("usb:1 stream 1 stop"), 1U);
    EXPECT_EQ(destroyStream(m_stream), -13);
}

TEST_F(Streams, ClosingOneWithACallbackLogsTheEndOfItsThread)
{
    ASSERT_EQ(opening(NUBRIX_STREAM_COLOR, &ignoreFrame).status, 0);
    EXPECT_THAT(logOf([&] { return context().closeStream(m_stream); }),
                ElementsAre("4 Start stop color stream ", "1 ", "1 Thread[Stream CallBack] Stoped",
                            "1 Thread[Stream Thread] Stoped", "1 ",
                            "1 After remove stream, the size=0", "1 ", "4 Finish stop stream"));
    EXPECT_EQ(m_log.count("4 stop NewCallFrameBackProcess Thread succeed!"), 1U);
}

TEST_F(Streams, ACallbackCanBeSetAtAnyTime)
{
    m_stream = created();
    const auto setting = [&](NubrixFrameCallback callback) {
        return outcome([&] { return context().setStreamCallback(m_stream, callback, nullptr); });
    };
    EXPECT_EQ(setting(&ignoreFrame), (Outcome{}));
    ASSERT_EQ(startStream(m_stream), 0);
    EXPECT_EQ(setting(nullptr), (Outcome{}));
    EXPECT_EQ(setting(&ignoreFrame), (Outcome{}));
}

}  // namespace
}  // namespace nubrix
