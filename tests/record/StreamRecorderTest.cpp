// What a recorder writes, byte by byte.
#include "record/StreamRecorder.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>

#include "tests/TemporaryFolder.h"
#include "tests/record/RecordBytes.h"
#include "tests/stream/VideoStreamFixture.h"

namespace nubrix {
namespace {

using testing::ElementsAre;

constexpr unsigned int kColor = NUBRIX_STREAM_COLOR;
constexpr unsigned int kLightIr = NUBRIX_STREAM_LIGHT_IR;

std::string addressOf(const void *object)
{
    char text[32];
    std::snprintf(text, sizeof(text), "%p", object);
    return text;
}

/// A stream, and a listener behind the recorder: it is called when the recorder has written.
struct RecordedStream {
    RecordedStream(Device &device, unsigned int type) : sensor(device, type), stream(device, sensor)
    {
        EXPECT_EQ(stream.start(), 0);
    }
    void listen()
    {
        stream.newFrameSignal().connect(static_cast<StreamFrameBaseListener *>(&listener),
                                        &StreamFrameBaseListener::onNewFrame);
    }

    Sensor sensor;
    VideoStream stream;
    Listener listener;
};

class StreamRecorderTest : public StreamFixture {
protected:
    StreamRecorderTest()
    {
        m_driver.frameBufferSize = 100000;
        m_driver.setCurrentMode({NUBRIX_PIXEL_DEPTH_12_4, 640, 400, 30});
    }

    void makeRecorder(const std::string &path)
    {
        m_recorder = std::make_unique<StreamRecorder>(path);
    }
    int attach(RecordedStream &recorded)
    {
        const int result =
            m_recorder->AttachStream(&recorded.stream, recorded.stream.getFrameType(), 0);
        recorded.listen();
        return result;
    }
    /// Delivers a frame and waits until the stream's listeners have had it.
    void send(RecordedStream &recorded, const FakeFrame &frame)
    {
        const int before = recorded.listener.calls.value();
        ASSERT_TRUE(m_driver.deliver(recorded.stream.getFrameType(), frame));
        ASSERT_TRUE(recorded.listener.calls.reaches(before + 1));
    }
    void send(RecordedStream &recorded, const SentRecord &record)
    {
        FakeFrame frame;
        frame.pixels.assign(record.pixels.begin(), record.pixels.end());
        frame.width = static_cast<int>(record.width);
        frame.height = static_cast<int>(record.height);
        frame.timestampUs = record.timestampUs;
        send(recorded, frame);
    }
    static SentRecord depthRecord(unsigned int index, std::size_t size = 40)
    {
        return {kDepth, index, 0x0102030405060708ULL + index, patternOf(kDepth, index, size),
                640,    400};
    }
    std::string recorded()
    {
        m_recorder.reset();
        return readFile(m_path);
    }

    TemporaryFolder m_folder;
    const std::string m_path = m_folder.file("record.bin");
    std::unique_ptr<StreamRecorder> m_recorder = std::make_unique<StreamRecorder>(m_path);
};

TEST_F(StreamRecorderTest, ANewOneEmptiesItsFile)
{
    writeFile(m_path, "from before");
    m_log.take();
    makeRecorder(m_path);
    EXPECT_THAT(m_log.take(), ElementsAre(milestoneLine("Recorder recordFile:" + m_path),
                                          infoLine("~StreamRecorder()")))
        << "the old one dies after the new one is there";
    EXPECT_TRUE(m_recorder->isOpened());
    EXPECT_EQ(recorded(), "");
}

TEST_F(StreamRecorderTest, EachFrameIsATagAndItsPixels)
{
    RecordedStream depth(m_device, kDepth);
    ASSERT_EQ(attach(depth), 0);
    ASSERT_EQ(m_recorder->Start(), 0);
    std::string expected;
    for (unsigned int i = 0; i < 5; ++i) {
        send(depth, depthRecord(i, 40 + i));
        expected += bytesOf(depthRecord(i, 40 + i));
    }
    const std::string bytes = recorded();
    EXPECT_EQ(bytes.substr(0, 6), std::string("\2\0\0\0\0\0", 6));
    EXPECT_EQ(bytes, expected);
}

TEST_F(StreamRecorderTest, OnlyFramesWhileStartedAreWrittenAndTheIndexContinues)
{
    RecordedStream depth(m_device, kDepth);
    ASSERT_EQ(attach(depth), 0);
    send(depth, depthRecord(90));
    m_log.take();
    const std::string address = addressOf(m_recorder.get());
    EXPECT_EQ(m_recorder->Start(), 0);
    EXPECT_THAT(m_log.take(), ElementsAre(infoLine("Recorder[" + address + "] Start")));
    send(depth, depthRecord(0));
    EXPECT_EQ(m_recorder->Stop(), 0);
    EXPECT_THAT(m_log.take(), ElementsAre(infoLine("Recorder[" + address + "] Stop")));
    EXPECT_EQ(readFile(m_path), bytesOf(depthRecord(0))) << "a stop flushes";
    send(depth, depthRecord(91));
    m_recorder->Start();
    send(depth, depthRecord(1));
    EXPECT_EQ(recorded(), bytesOf(depthRecord(0)) + bytesOf(depthRecord(1)));
}

TEST_F(StreamRecorderTest, TheFrameStaysForOtherReaders)
{
    RecordedStream depth(m_device, kDepth);
    attach(depth);
    m_recorder->Start();
    send(depth, depthRecord(0));
    xp<NubrixFrameRef> frame;
    EXPECT_EQ(depth.stream.readFrame(frame, true), 0);
}

TEST_F(StreamRecorderTest, AttachingIsLoggedAndTwiceIsRefused)
{
    RecordedStream depth(m_device, kDepth);
    RecordedStream color(m_device, kColor);
    m_log.take();
    EXPECT_EQ(m_recorder->AttachStream(&depth.stream, kDepth, 0), 0);
    EXPECT_EQ(m_recorder->AttachStream(&depth.stream, kDepth, 0), -4);
    EXPECT_EQ(m_recorder->AttachStream(&color.stream, kColor, 0), 0);
    const std::string first = addressOf(&depth.stream);
    const std::string second = addressOf(&color.stream);
    EXPECT_THAT(
        m_log.take(),
        ElementsAre(infoLine("Attach Stream[" + first + "] Success! AttachedMap.size() = 1"),
                    infoLine("Stream[" + first + "] is already Attached"),
                    infoLine("Attach Stream[" + second + "] Success! AttachedMap.size() = 2")));
}

TEST_F(StreamRecorderTest, AttachingWhileStartedSucceedsAndDoesNothing)
{
    RecordedStream depth(m_device, kDepth);
    m_recorder->Start();
    m_log.take();
    EXPECT_EQ(attach(depth), 0);
    EXPECT_THAT(m_log.take(),
                ElementsAre(milestoneLine("Recorder is already Started and can't AttachStream[" +
                                          addressOf(&depth.stream) + "]")));
    send(depth, depthRecord(0));
    EXPECT_EQ(recorded(), "");
}

TEST_F(StreamRecorderTest, WithoutACurrentModeThereIsNothingToAttach)
{
    FakeDriver driver;
    Device camera(driver);
    camera.open("usb:2");
    Sensor sensor(camera, kDepth);
    VideoStream stream(camera, sensor);
    m_log.take();
    EXPECT_EQ(m_recorder->AttachStream(&stream, kDepth, 0), -1);
    EXPECT_THAT(m_log.take(), ElementsAre(errorLine("get current Framamode failed!")));
    driver.setCurrentMode({NUBRIX_PIXEL_DEPTH_12_4, 640, 400, 30});
    camera.close();
    EXPECT_EQ(m_recorder->AttachStream(&stream, kDepth, 0), -1) << "the camera is closed";
}

TEST_F(StreamRecorderTest, DetachingEndsTheRecordingOfThatStream)
{
    RecordedStream depth(m_device, kDepth);
    RecordedStream color(m_device, kColor);
    attach(depth);
    attach(color);
    m_recorder->Start();
    m_log.take();
    EXPECT_EQ(m_recorder->DeAttachStream(&depth.stream), 0) << "also while started";
    EXPECT_EQ(m_recorder->DeAttachStream(&depth.stream), -4);
    const std::string address = addressOf(&depth.stream);
    EXPECT_THAT(m_log.take(), ElementsAre(infoLine("DeAttach Stream[" + address +
                                                   "] Success! AttachedMap.size() = 1"),
                                          warningLine("Stream[" + address + "] is not Attached")));
    send(depth, depthRecord(0));
    const SentRecord sent = {kColor, 0, 7, patternOf(kColor, 0, 30), 5, 2};
    send(color, sent);
    EXPECT_EQ(recorded(), bytesOf(sent));
}

TEST_F(StreamRecorderTest, SkippedFramesUseUpAnIndex)
{
    RecordedStream depth(m_device, kDepth);
    attach(depth);
    m_recorder->Start();
    FakeFrame ofAnotherType;
    ofAnotherType.pixels.resize(10);
    ofAnotherType.streamType = kColor;
    send(depth, ofAnotherType);
    send(depth, FakeFrame{});  // without pixels
    send(depth, depthRecord(2));
    EXPECT_EQ(recorded(), bytesOf(depthRecord(2)));
}

TEST_F(StreamRecorderTest, OtherTypesThanColourAndDepthHaveNoIndexAndNoSlot)
{
    RecordedStream ir(m_device, kLightIr);
    attach(ir);
    m_recorder->Start();
    std::string expected;
    for (unsigned int i = 0; i < 2; ++i) {
        const SentRecord sent = {kLightIr, 0, i, patternOf(kLightIr, i, 80), 10, 8};
        send(ir, sent);
        expected += bytesOf(sent);
    }
    m_recorder->Stop();
    m_recorder->writeHeader();
    EXPECT_EQ(recorded(), std::string(kHeaderBytes, '\0') + expected.substr(kHeaderBytes));
}

TEST_F(StreamRecorderTest, TheHeaderOverwritesTheHeadAndTheRestGoesToTheEnd)
{
    RecordedStream depth(m_device, kDepth);
    RecordedStream color(m_device, kColor);
    attach(depth);
    attach(color);
    m_recorder->Start();
    send(depth, depthRecord(0, 200));
    m_log.take();
    m_recorder->writeHeader();
    EXPECT_THAT(m_log.take(), ElementsAre(infoLine("The End to writeHeader")));
    send(depth, depthRecord(1));
    const std::string header = headerOf({kColor, 0, NUBRIX_PIXEL_DEPTH_12_4, 30, 640, 400},
                                        {kDepth, 1, NUBRIX_PIXEL_DEPTH_12_4, 30, 640, 400});
    EXPECT_EQ(recorded(),
              header + bytesOf(depthRecord(0, 200)).substr(kHeaderBytes) + bytesOf(depthRecord(1)));
}

TEST_F(StreamRecorderTest, WithoutAFileEveryWriteIsReportedAsFailed)
{
    m_log.take();
    makeRecorder(m_folder.file("missing/record.bin"));
    EXPECT_FALSE(m_recorder->isOpened());
    std::vector<LogLine> lines = m_log.take();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[1], errorLine("File opened, retcode:-1"));
    RecordedStream depth(m_device, kDepth);
    attach(depth);
    m_recorder->Start();
    m_log.take();
    send(depth, depthRecord(0));
    lines = m_log.take();
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[0], warningLine("File not opened"));
    EXPECT_EQ(lines[1].text.rfind("write FrameTag failed, errno:0x", 0), 0U);
    EXPECT_EQ(lines[1].level, kLogWarning);
    EXPECT_EQ(lines[2], warningLine("File not opened"));
    EXPECT_EQ(lines[3].text.rfind("write Data failed, errno:0x", 0), 0U);
    EXPECT_EQ(lines[3].level, kLogWarning);
    m_recorder->writeHeader();
    EXPECT_THAT(m_log.take(),
                ElementsAre(infoLine("The End to writeHeader"), warningLine("File not opened")));
    EXPECT_EQ(m_recorder->writeData("x", 1), 0);
}

TEST_F(StreamRecorderTest, AFullDiskIsLoggedForEveryFrame)
{
    makeRecorder("/dev/full");
    ASSERT_TRUE(m_recorder->isOpened());
    RecordedStream depth(m_device, kDepth);
    attach(depth);
    m_recorder->Start();
    m_log.take();
    send(depth, depthRecord(0, 50000));
    char expected[64];
    std::snprintf(expected, sizeof(expected), "write Data failed, errno:0x%x", ENOSPC);
    EXPECT_THAT(m_log.take(), ElementsAre(warningLine(expected)));
    send(depth, depthRecord(1, 50000));
    EXPECT_THAT(m_log.take(), ElementsAre(warningLine(expected)));
    m_recorder->Stop();
}

TEST_F(StreamRecorderTest, OnlyItsEndIsLoggedWhetherWhatIsLeftFitsOrNot)
{
    for (const bool stops : {true, false}) {
        makeRecorder("/dev/full");
        RecordedStream depth(m_device, kDepth);
        attach(depth);
        m_recorder->Start();
        send(depth, depthRecord(0));
        const std::string address = addressOf(m_recorder.get());
        m_log.take();
        if (stops) {
            m_recorder->Stop();
            EXPECT_THAT(m_log.take(), ElementsAre(infoLine("Recorder[" + address + "] Stop")));
        }
        m_recorder->finish();
        EXPECT_THAT(m_log.take(), ElementsAre(infoLine("~StreamRecorder()")));
        m_recorder.reset();
        EXPECT_THAT(m_log.take(), testing::IsEmpty()) << "it is logged once";
    }
}

TEST_F(StreamRecorderTest, ItsEndIsLoggedBeforeItIsFlushed)
{
    RecordedStream depth(m_device, kDepth);
    attach(depth);
    m_recorder->Start();
    send(depth, depthRecord(0));
    std::string atTheLine = "no line";
    {
        const LogRecorder log([&](const LogLine &line) {
            if (line.text == "~StreamRecorder()")
                atTheLine = readFile(m_path);
        });
        m_recorder->finish();
    }
    EXPECT_EQ(atTheLine, "") << "the frame is still buffered";
    EXPECT_EQ(readFile(m_path), bytesOf(depthRecord(0)));
}

TEST_F(StreamRecorderTest, AfterItsEndNothingIsWritten)
{
    RecordedStream depth(m_device, kDepth);
    attach(depth);
    m_recorder->Start();
    send(depth, depthRecord(0));
    m_recorder->finish();
    EXPECT_EQ(readFile(m_path), bytesOf(depthRecord(0)));
    send(depth, depthRecord(1));
    EXPECT_EQ(recorded(), bytesOf(depthRecord(0)));
}

TEST_F(StreamRecorderTest, TheHeaderKeepsTheSlotOfADetachedStream)
{
    RecordedStream depth(m_device, kDepth);
    attach(depth);
    m_recorder->Start();
    send(depth, depthRecord(0));
    ASSERT_EQ(m_recorder->DeAttachStream(&depth.stream), 0);
    m_recorder->Stop();
    m_recorder->writeHeader();
    m_recorder->Stop();  // flushes
    EXPECT_EQ(readFile(m_path).substr(0, kHeaderBytes),
              headerOf({}, {kDepth, 1, NUBRIX_PIXEL_DEPTH_12_4, 30, 640, 400}));
    ASSERT_EQ(m_recorder->AttachStream(&depth.stream, kDepth, 0), 0);
    m_recorder->writeHeader();
    EXPECT_EQ(recorded().substr(0, kHeaderBytes),
              headerOf({}, {kDepth, 0, NUBRIX_PIXEL_DEPTH_12_4, 30, 640, 400}))
        << "attached anew it counts from 0";
}

TEST_F(StreamRecorderTest, TheHeaderHasTheLowerHalfOfAFormatAndTheRatesSign)
{
    m_driver.setCurrentMode({0x12345, 640, 400, -1});
    RecordedStream depth(m_device, kDepth);
    attach(depth);
    m_recorder->writeHeader();
    const std::string bytes = recorded();
    // The slot of depth: type 2, counter 4, format 2, rate 2, width 2, height 2 bytes.
    EXPECT_EQ(bytes.substr(14 + 6, 2), "\x45\x23");
    EXPECT_EQ(bytes.substr(14 + 8, 2), "\xff\xff");
}

TEST_F(StreamRecorderTest, AnotherStreamsFrameAndOneThatWasReadAreSkipped)
{
    RecordedStream depth(m_device, kDepth);
    RecordedStream color(m_device, kColor);
    attach(depth);
    m_recorder->Start();
    m_recorder->onNewFrame(&color.stream);  // not attached
    m_recorder->onNewFrame(&depth.stream);  // its queue is empty
    send(depth, depthRecord(0));
    EXPECT_EQ(recorded(), bytesOf(depthRecord(0))) << "neither has used up an index";
}

TEST_F(StreamRecorderTest, ItIsDestroyedWhileFramesArrive)
{
    m_driver.freeRunning = true;
    for (int life = 0; life < 20; ++life) {
        RecordedStream depth(m_device, kDepth);
        ASSERT_EQ(attach(depth), 0);
        m_recorder->Start();
        ASSERT_TRUE(depth.listener.calls.reaches(2));
        makeRecorder(m_path);
    }
}

TEST_F(StreamRecorderTest, FramesOfSeveralStreamsDoNotMix)
{
    RecordedStream depth(m_device, kDepth);
    RecordedStream color(m_device, kColor);
    attach(depth);
    attach(color);
    m_recorder->Start();
    constexpr unsigned int kFrames = 200;
    const auto sendAll = [&](RecordedStream &stream) {
        const unsigned int type = stream.stream.getFrameType();
        for (unsigned int i = 0; i < kFrames; ++i)
            send(stream, SentRecord{type, i, i, patternOf(type, i, 300 + i), 3, 4});
    };
    std::thread other([&] { sendAll(depth); });
    sendAll(color);
    other.join();
    m_recorder.reset();
    RecordReader reader;
    ASSERT_EQ(reader.open(m_path.c_str()), 0);
    EXPECT_EQ(reader.condition(), NUBRIX_RECORD_COMPLETE) << reader.problem();
    unsigned int next[3] = {};
    for (const SentRecord &record : readBack(reader)) {
        ASSERT_LE(record.streamType, 2U);
        const unsigned int i = next[record.streamType]++;
        EXPECT_EQ(record, (SentRecord{record.streamType, i, i,
                                      patternOf(record.streamType, i, 300 + i), 3, 4}));
    }
    EXPECT_EQ(next[kColor], kFrames);
    EXPECT_EQ(next[kDepth], kFrames);
}

TEST_F(StreamRecorderTest, StreamsComeAndGoWhileItRecords)
{
    m_driver.freeRunning = true;
    RecordedStream depth(m_device, kDepth);
    RecordedStream color(m_device, kColor);
    ASSERT_EQ(attach(depth), 0);
    for (int i = 0; i < 50; ++i) {
        m_recorder->Stop();
        ASSERT_EQ(m_recorder->AttachStream(&color.stream, kColor, 0), 0);
        m_recorder->Start();
        ASSERT_EQ(m_recorder->DeAttachStream(&color.stream), 0);
    }
    depth.stream.stop();
    color.stream.stop();
    m_recorder.reset();
    RecordReader reader;
    ASSERT_EQ(reader.open(m_path.c_str()), 0);
    EXPECT_EQ(reader.condition(), NUBRIX_RECORD_COMPLETE) << reader.problem();
}

}  // namespace
}  // namespace nubrix
