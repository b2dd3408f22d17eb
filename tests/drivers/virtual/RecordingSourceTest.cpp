#include "virtual/RecordingSource.h"

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "tests/TemporaryFolder.h"
#include "tests/drivers/virtual/VirtualCameraFixture.h"
#include "tests/fakes/HangGuard.h"
#include "tests/record/RecordBytes.h"
#include "virtual/VirtualProperties.h"

namespace nubrix {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

constexpr unsigned int kWidth = 6;
constexpr unsigned int kHeight = 5;
constexpr unsigned long long kStartUs = 7000000000ULL;  // past 32 bits

unsigned int bytesPerPixel(unsigned int streamType)
{
    if (streamType == NUBRIX_STREAM_COLOR)
        return 3;
    return streamType == NUBRIX_STREAM_DEPTH ? 2 : 1;
}

class RecordingSourceTest : public VirtualCameraTest {
protected:
    static SentRecord record(unsigned int streamType, unsigned int index, unsigned int us)
    {
        SentRecord record;
        record.streamType = streamType;
        record.index = index;
        record.timestampUs = kStartUs + us;
        record.width = kWidth;
        record.height = kHeight;
        for (unsigned int i = 0; i < kWidth * kHeight * bytesPerPixel(streamType); ++i)
            record.pixels += static_cast<char>(i * 7 + index * 31 + streamType);
        return record;
    }

    /// So many frames of colour and depth, 10 ms apart, depth 1 ms later.
    static std::vector<SentRecord> pairs(unsigned int count)
    {
        std::vector<SentRecord> records;
        for (unsigned int i = 0; i < count; ++i) {
            records.push_back(record(NUBRIX_STREAM_COLOR, i, i * 10000));
            records.push_back(record(NUBRIX_STREAM_DEPTH, i, i * 10000 + 1000));
        }
        return records;
    }

    /// Plays the bytes of a file; `more` goes into the recording object.
    void play(const std::string &bytes, const std::string &more = "",
              const std::string &pacing = "free")
    {
        m_folder.file("room.bin", bytes);
        useScenario(R"({"pacing": ")" + pacing + R"(", "source": "recording",
            "recording": {"file": ")" +
                    m_folder.file("room.bin") + "\"" + more + "}}");
        m_device = open();
    }

    /// The first `count` frames of a stream.
    std::vector<Received> take(unsigned int streamType, std::size_t count)
    {
        PixelStream stream(*m_device, streamType);
        EXPECT_EQ(stream.start(), 0);
        EXPECT_TRUE(stream.sink().await(count));
        EXPECT_EQ(stream.stop(), 0);
        std::vector<Received> frames = stream.sink().frames();
        frames.resize(count);
        return frames;
    }

    static void expectSame(const Received &frame, const SentRecord &sent)
    {
        EXPECT_EQ(frame.record.streamType, sent.streamType);
        EXPECT_EQ(frame.record.frameIndex, sent.index);
        EXPECT_EQ(frame.record.timestampLow | std::uint64_t{frame.record.timestampHigh} << 32U,
                  sent.timestampUs);
        EXPECT_EQ(frame.record.width, sent.width);
        EXPECT_EQ(frame.record.height, sent.height);
        EXPECT_EQ(std::string(frame.pixels.begin(), frame.pixels.end()), sent.pixels);
    }

    std::uint64_t playTime()
    {
        std::uint64_t us = 0;
        unsigned int size = sizeof us;
        EXPECT_EQ(m_device->getProperty(kPropertyPlayTime, &us, &size), 0);
        EXPECT_EQ(size, 8U);
        return us;
    }
    unsigned int playFrame(unsigned int streamType)
    {
        unsigned int frame = 0;
        unsigned int size = sizeof frame;
        EXPECT_EQ(m_device->getProperty(kPropertyPlayFrame + streamType, &frame, &size), 0);
        EXPECT_EQ(size, 4U);
        return frame;
    }
    int seekTime(std::uint64_t us)
    {
        return m_device->setProperty(kPropertyPlayTime, &us, sizeof us);
    }
    int seekFrame(unsigned int streamType, unsigned int frame)
    {
        return m_device->setProperty(kPropertyPlayFrame + streamType, &frame, sizeof frame);
    }

    /// What is said about a file.
    std::string wrongWith(const std::string &bytes)
    {
        RecordingSetup setup;
        setup.file = m_folder.file("odd.bin", bytes);
        setup.fileLine = 12;
        return wrongWith(setup);
    }
    static std::string wrongWith(const RecordingSetup &setup)
    {
        const auto made = RecordingSource::create(setup);
        const auto *error = std::get_if<ScenarioError>(&made);
        return error == nullptr ? "" : error->text("scenario.json");
    }

    TemporaryFolder m_folder;
    NubrixBaseDevice *m_device = nullptr;
};

TEST_F(RecordingSourceTest, PlaysEveryFrameOnceAndAsItWasRecorded)
{
    const std::vector<SentRecord> sent = pairs(50);
    play(bytesOf(sent));
    for (const unsigned int type : {NUBRIX_STREAM_COLOR, NUBRIX_STREAM_DEPTH}) {
        const std::vector<Received> frames = take(type, 50);
        for (std::size_t i = 0; i < frames.size(); ++i)
            expectSame(frames[i], sent[2 * i + (type == NUBRIX_STREAM_DEPTH ? 1 : 0)]);
    }
}

TEST_F(RecordingSourceTest, PlaysTheSameThreeTimes)
{
    play(bytesOf(pairs(20)));
    std::vector<std::vector<unsigned char>> runs;
    for (int run = 0; run < 3; ++run) {
        std::vector<unsigned char> pixels;
        for (const Received &frame : take(NUBRIX_STREAM_DEPTH, 20))
            pixels.insert(pixels.end(), frame.pixels.begin(), frame.pixels.end());
        runs.push_back(std::move(pixels));
    }
    EXPECT_EQ(runs[0].size(), 20U * kWidth * kHeight * 2);
    EXPECT_EQ(runs[1], runs[0]);
    EXPECT_EQ(runs[2], runs[0]);
}

TEST_F(RecordingSourceTest, EndsAfterTheLastFrame)
{
    play(bytesOf(pairs(3)));
    TestStream stream(*m_device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(stream.sink().await(3));
    ASSERT_TRUE(eventually([&] { return playFrame(NUBRIX_STREAM_DEPTH) == 3; }));
    EXPECT_EQ(stream.stop(), 0);
    EXPECT_THAT(stream.sink().indices(), ElementsAre(0, 1, 2));
    EXPECT_EQ(m_device->deviceState(), NUBRIX_DEVICE_CONNECTED);
}

TEST_F(RecordingSourceTest, BeginsAgainInALoop)
{
    play(bytesOf(pairs(3)), R"(, "repeat": "loop")");
    std::vector<unsigned int> indices;
    for (const Received &frame : take(NUBRIX_STREAM_COLOR, 7))
        indices.push_back(frame.record.frameIndex);
    EXPECT_THAT(indices, ElementsAre(0, 1, 2, 0, 1, 2, 0));
}

TEST_F(RecordingSourceTest, KeepsTheRecordedPace)
{
    std::vector<SentRecord> sent;
    for (const unsigned int us : {0U, 100000U, 120000U, 400000U})
        sent.push_back(record(NUBRIX_STREAM_DEPTH, static_cast<unsigned int>(sent.size()), us));
    play(bytesOf(sent), "", "realtime");
    const std::vector<Received> frames = take(NUBRIX_STREAM_DEPTH, 4);
    // None comes before its time; how late it comes is the machine's business.
    for (std::size_t i = 1; i < frames.size(); ++i) {
        EXPECT_GE(frames[i].arrival - frames[0].arrival,
                  std::chrono::microseconds(sent[i].timestampUs - sent[0].timestampUs) -
                      std::chrono::milliseconds(60))
            << i;
    }
    EXPECT_GE(frames[3].arrival - frames[0].arrival, std::chrono::milliseconds(340));
}

TEST_F(RecordingSourceTest, LosesNothingInRealTimeToASlowReader)
{
    play(bytesOf(pairs(40)), "", "realtime");
    TestStream stream(*m_device, NUBRIX_STREAM_DEPTH, 1);
    std::atomic<NubrixFrameRef *> held{nullptr};
    stream.sink().onFrame = [&](NubrixFrameRef *frame) {
        if (frame->frame().frameIndex == 2) {
            frame->incRef();
            held = frame;
        }
    };
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(stream.sink().await(3));
    ASSERT_TRUE(stream.pool().awaitRefused(20));  // 100 ms: ten frames later
    held.load()->release();
    ASSERT_TRUE(stream.sink().await(40));
    EXPECT_EQ(stream.stop(), 0);
    const std::vector<unsigned int> indices = stream.sink().indices();
    for (unsigned int i = 0; i < 40; ++i)
        EXPECT_EQ(indices[i], i);
}

TEST_F(RecordingSourceTest, GoesToAFrame)
{
    play(bytesOf(pairs(30)));
    EXPECT_EQ(seekFrame(NUBRIX_STREAM_COLOR, 12), 0);
    EXPECT_EQ(playFrame(NUBRIX_STREAM_COLOR), 12U);
    EXPECT_EQ(playFrame(NUBRIX_STREAM_DEPTH), 12U);
    EXPECT_EQ(playTime(), 120000U);
    EXPECT_EQ(take(NUBRIX_STREAM_COLOR, 1)[0].record.frameIndex, 12U);
    EXPECT_EQ(take(NUBRIX_STREAM_DEPTH, 1)[0].record.frameIndex, 12U);
}

TEST_F(RecordingSourceTest, GoesToATime)
{
    play(bytesOf(pairs(30)));
    EXPECT_EQ(seekTime(100500), 0);  // after the colour of 10, before its depth
    EXPECT_EQ(take(NUBRIX_STREAM_COLOR, 1)[0].record.frameIndex, 11U);
    EXPECT_EQ(take(NUBRIX_STREAM_DEPTH, 1)[0].record.frameIndex, 10U);
}

TEST_F(RecordingSourceTest, GoesBackWhileItRuns)
{
    for (const char *pacing : {"free", "realtime"}) {
        play(bytesOf(pairs(5)), "", pacing);
        TestStream stream(*m_device, NUBRIX_STREAM_DEPTH);
        ASSERT_EQ(stream.start(), 0);
        ASSERT_TRUE(stream.sink().await(5));
        ASSERT_TRUE(eventually([&] { return playFrame(NUBRIX_STREAM_DEPTH) == 5; }));
        EXPECT_EQ(seekFrame(NUBRIX_STREAM_DEPTH, 3), 0);
        ASSERT_TRUE(stream.sink().await(7));
        EXPECT_EQ(stream.stop(), 0);
        EXPECT_THAT(stream.sink().indices(), ElementsAre(0, 1, 2, 3, 4, 3, 4)) << pacing;
    }
}

TEST_F(RecordingSourceTest, GoesAheadWithoutWaitingForAFrameThatIsFarAway)
{
    play(bytesOf({record(NUBRIX_STREAM_DEPTH, 0, 0), record(NUBRIX_STREAM_DEPTH, 1, 3600000000U)}),
         "", "realtime");
    TestStream stream(*m_device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(stream.sink().await(1));
    EXPECT_EQ(seekTime(3600000000U), 0);
    EXPECT_TRUE(stream.sink().await(2));
}

TEST_F(RecordingSourceTest, RefusesPlacesThatAreNone)
{
    play(bytesOf(pairs(5)));
    EXPECT_EQ(seekFrame(NUBRIX_STREAM_DEPTH, 5), -4);
    EXPECT_EQ(seekFrame(NUBRIX_STREAM_IR, 0), -8);  // there is no such stream
    const unsigned int frame = 1;
    EXPECT_EQ(m_device->setProperty(kPropertyPlayTime, &frame, sizeof frame), -4);
    EXPECT_EQ(m_device->setProperty(kPropertyPlayTime, nullptr, 8), -4);
    EXPECT_EQ(m_device->setProperty(kPropertyPlayFrame + 2, &frame, 3), -4);
    EXPECT_EQ(playTime(), 0U);
}

TEST_F(RecordingSourceTest, OtherSourcesHaveNoPlaces)
{
    useDefault();
    m_device = open();
    EXPECT_EQ(seekTime(0), -8);
    unsigned int frame = 0;
    unsigned int size = sizeof frame;
    EXPECT_EQ(m_device->getProperty(kPropertyPlayFrame + 2, &frame, &size), -8);
}

TEST_F(RecordingSourceTest, TellsTheModeOfWhatWasRecorded)
{
    std::vector<SentRecord> sent = pairs(5);
    sent.push_back(record(NUBRIX_STREAM_IR, 0, 100));
    play(bytesOf(sent), R"(, "depth_unit_mm": 0.25,
        "intrinsics": {"fx": 5.5, "fy": 5.25, "cx": 2.5, "cy": 2})");
    const std::vector<std::pair<unsigned int, unsigned int>> formats = {
        {NUBRIX_STREAM_COLOR, NUBRIX_PIXEL_RGB888},
        {NUBRIX_STREAM_DEPTH, NUBRIX_PIXEL_DEPTH_14_2},
        {NUBRIX_STREAM_IR, NUBRIX_PIXEL_GREY8}};
    for (const auto &[type, format] : formats) {
        const typedefNubrixFrameMode *mode = m_device->getCurrentFrameMode(type);
        EXPECT_EQ(mode->pixelFormat, format);
        EXPECT_EQ(mode->width, kWidth);
        EXPECT_EQ(mode->height, kHeight);
        EXPECT_EQ(mode->frameRate, type == NUBRIX_STREAM_IR ? 30 : 100);
    }
    CameraIntrinsics intrinsics = {};
    unsigned int size = sizeof intrinsics;
    EXPECT_EQ(m_device->getProperty(kPropertyIntrinsics + 2, &intrinsics, &size), 0);
    EXPECT_EQ(intrinsics.fy, 5.25F);
    EXPECT_EQ(m_device->getCurrentFrameMode(NUBRIX_STREAM_LIGHT_IR), nullptr);
}

TEST_F(RecordingSourceTest, DeliversFramesOfOtherSizesAsTheyAre)
{
    std::vector<SentRecord> sent = {record(NUBRIX_STREAM_DEPTH, 0, 0),
                                    record(NUBRIX_STREAM_DEPTH, 1, 1000),
                                    record(NUBRIX_STREAM_DEPTH, 2, 2000)};
    sent[0].pixels.resize(7);  // damaged when it was recorded
    sent[2].width = 12;
    sent[2].pixels += sent[2].pixels;
    play(bytesOf(sent));
    EXPECT_EQ(m_device->getCurrentFrameMode(NUBRIX_STREAM_DEPTH)->width, kWidth);
    const std::vector<Received> frames = take(NUBRIX_STREAM_DEPTH, 3);
    for (std::size_t i = 0; i < 3; ++i)
        expectSame(frames[i], sent[i]);
}

TEST_F(RecordingSourceTest, PlaysTheWholeRecordsOfAFileThatWasCut)
{
    const std::vector<SentRecord> sent = pairs(3);
    const std::string bytes = bytesOf(sent);
    play(bytes.substr(0, bytes.size() - 10));
    EXPECT_EQ(take(NUBRIX_STREAM_COLOR, 3)[2].record.frameIndex, 2U);
    TestStream stream(*m_device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(eventually([&] { return playFrame(NUBRIX_STREAM_DEPTH) == 2; }));
}

TEST_F(RecordingSourceTest, TheNameOfAFileIsCleanedWhereItIsReported)
{
    const std::vector<SentRecord> sent = pairs(2);
    const std::string bytes = bytesOf(sent);
    const std::string path = m_folder.file("a\x1b[2Jb.bin", bytes.substr(0, bytes.size() - 10));
    CaptureStderr();
    const auto made = RecordingSource::create({path, 0, false, 1, std::nullopt});
    const auto &source = std::get<std::shared_ptr<RecordingSource>>(made);
    writeFile(path, "");
    std::vector<std::uint8_t> data(source->largestPicture(NUBRIX_STREAM_COLOR, {}));
    EXPECT_EQ(source->fill(NUBRIX_STREAM_COLOR, {}, 0, data.data()), FrameSource::Result::kLost);
    const std::string reported = GetCapturedStderr();
    EXPECT_THAT(reported, HasSubstr("a?[2Jb.bin\" is not whole"));
    EXPECT_THAT(reported, HasSubstr("record 0 of \"" + m_folder.path().string() + "/a?[2Jb.bin\""));
    EXPECT_THAT(reported, Not(HasSubstr("\x1b")));
}

TEST_F(RecordingSourceTest, ARecordWhosePixelsAreCutOffMeanwhileIsLostAndTheOthersCome)
{
    const std::string bytes = bytesOf(pairs(2));
    const std::string path = m_folder.file("room.bin", bytes);
    const auto made = RecordingSource::create({path, 0, false, 1, std::nullopt});
    const auto &source = std::get<std::shared_ptr<RecordingSource>>(made);
    std::filesystem::resize_file(path, bytes.size() - 1);  // the last one: depth
    std::vector<std::uint8_t> data(source->largestPicture(NUBRIX_STREAM_DEPTH, {}));
    CaptureStderr();
    EXPECT_EQ(source->fill(NUBRIX_STREAM_DEPTH, {}, 1, data.data()), FrameSource::Result::kLost);
    EXPECT_THAT(GetCapturedStderr(), HasSubstr("record 3 of"));
    EXPECT_EQ(source->fill(NUBRIX_STREAM_DEPTH, {}, 0, data.data()), FrameSource::Result::kFilled);
}

TEST_F(RecordingSourceTest, ARecordThatHasChangedMeanwhileIsLostAndTheOthersCome)
{
    const std::vector<SentRecord> sent = pairs(4);
    const std::size_t second = bytesOf(sent[0]).size();
    const auto depthOf = [&](const std::string &tag) {
        play(bytesOf(sent));
        std::string bytes = bytesOf(sent);
        bytes.replace(second, kTagBytes, tag);
        writeFile(m_folder.file("room.bin"), bytes);
        CaptureStderr();
        const std::vector<Received> frames = take(NUBRIX_STREAM_DEPTH, 3);
        EXPECT_THAT(GetCapturedStderr(), HasSubstr("record 1 of"));
        for (std::size_t i = 0; i < 3; ++i)
            expectSame(frames[i], sent[2 * i + 3]);
    };
    // The bytes that it now claims are there, but a frame has no space for them.
    depthOf(tagOf(sent[1], sent[1].pixels.size() * 2));
    depthOf(tagOf(sent[1], sent[1].pixels.size() - 1));
    SentRecord other = sent[1];
    other.streamType = NUBRIX_STREAM_COLOR;
    depthOf(tagOf(other, other.pixels.size()));
}

TEST_F(RecordingSourceTest, TimesThatGoBackOrFarAheadDoNotUpsetIt)
{
    std::vector<SentRecord> sent = pairs(3);
    sent[1].timestampUs = 0;
    sent[3].timestampUs = ~0ULL;
    play(bytesOf(sent), R"(, "repeat": "loop")");
    const std::vector<Received> frames = take(NUBRIX_STREAM_DEPTH, 6);
    expectSame(frames[4], sent[3]);
    EXPECT_EQ(seekFrame(NUBRIX_STREAM_DEPTH, ~0U), 0);
}

TEST_F(RecordingSourceTest, SaysWhatIsWrongWithAFile)
{
    RecordingSetup missing;
    missing.file = m_folder.file("missing.bin");
    missing.fileLine = 7;
    EXPECT_THAT(wrongWith(missing), HasSubstr("scenario.json:7: recording.file: the recording \"" +
                                              missing.file + "\" cannot be read: "));
    EXPECT_THAT(wrongWith(""), HasSubstr("holds no colour, depth or infrared frames"));
    EXPECT_THAT(wrongWith(std::string(500, 'x')), HasSubstr("holds no colour"));
    SentRecord odd = record(NUBRIX_STREAM_DEPTH, 0, 0);
    odd.pixels += 'x';
    EXPECT_THAT(wrongWith(bytesOf(odd)), HasSubstr("cannot be played: its depth records have "
                                                   "pixels of an unknown size"));
    EXPECT_THAT(wrongWith(bytesOf(pairs(1))), IsEmpty());
}

}  // namespace
}  // namespace nubrix
