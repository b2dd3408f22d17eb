// A camera with free pacing waits until every frame is returned. These tests use its frames in
// every way that an application can, through the library and the plug-in, with the plug-in's folder
// as LD_LIBRARY_PATH.
#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "nubrix/nubrix.h"
#include "tests/LedgerCheck.h"
#include "tests/TemporaryFolder.h"
#include "tests/fakes/HangGuard.h"
#include "tests/record/RecordBytes.h"
#include "virtual/VirtualDevice.h"

namespace nubrix::virtual_camera {
namespace {

using testing::ElementsAreArray;

constexpr std::chrono::seconds kDeadline{60};
constexpr unsigned int kFrames = 120;

std::vector<unsigned int> countTo(unsigned int end, unsigned int first = 0)
{
    std::vector<unsigned int> all;
    for (unsigned int i = first; i < end; ++i)
        all.push_back(i);
    return all;
}

class FreePacingTest : public testing::Test {
protected:
    FreePacingTest()
    {
        std::vector<SentRecord> sent;
        for (unsigned int i = 0; i < kFrames; ++i) {
            for (const unsigned int type : {NUBRIX_STREAM_COLOR, NUBRIX_STREAM_DEPTH})
                sent.push_back({type, i, 1000000ULL + i * 10000,
                                patternOf(type, i, 6 * 5 * sizeOf(type)), 6, 5});
        }
        m_folder.file("played.bin", bytesOf(sent));
        const std::string scenario = m_folder.file(
            "free.json",
            R"({"pacing": "free", "source": "recording", "recording": {"file": "played.bin"}})");
        setenv("NUBRIX_VIRTUAL_SCENARIO", scenario.c_str(), 1);
        EXPECT_EQ(m_context->setLogFolder(m_folder.path().c_str()), 0);
        EXPECT_EQ(m_context->initialize(), 0);
        EXPECT_EQ(m_context->openDevice("usb:virtual-VIRT0001", &m_device), 0);
    }
    ~FreePacingTest() override
    {
        for (const auto &[stream, type] : m_opened)
            expectEveryFrameAccountedFor(stream, type);
        EXPECT_EQ(m_context->destroy(), 0);
        deleteContext(m_context);
        unsetenv("NUBRIX_VIRTUAL_SCENARIO");
    }

    static std::size_t sizeOf(unsigned int type) { return type == NUBRIX_STREAM_COLOR ? 3 : 2; }
    NubrixStream *open(unsigned int type, NubrixFrameCallback callback = nullptr,
                       void *user = nullptr)
    {
        NubrixStream *stream = nullptr;
        EXPECT_EQ(m_context->openStream(m_device, type, &stream, callback, user), 0);
        m_opened.emplace_back(stream, type);
        return stream;
    }
    /// Does nothing for a stream that is closed.
    void expectEveryFrameAccountedFor(NubrixStream *stream, unsigned int type)
    {
        const bool isAlone = std::count_if(m_opened.begin(), m_opened.end(), [&](const auto &each) {
                                 return each.second == type;
                             }) == 1;
        NubrixStreamLedger ledger = {};
        ledger.size = sizeof ledger;
        if (nubrixStreamLedger(stream, &ledger) != 0)
            return;
        EXPECT_EQ(ledgerFault(ledger), "");
        EXPECT_EQ(ledger.driverKnows, 1U);
        if (isAlone) {
            EXPECT_TRUE(eventually([&] { return hasWhatTheCameraSent(stream, type); }))
                << "a frame has vanished between the driver and the stream";
        }
    }
    /// The camera counts a frame a moment before it hands it over.
    bool hasWhatTheCameraSent(NubrixStream *stream, unsigned int type)
    {
        NubrixStreamLedger ledger = {};
        ledger.size = sizeof ledger;
        NubrixStreamCounters sent = {};
        unsigned int size = sizeof sent;
        const unsigned int id = NUBRIX_PROPERTY_STREAM_COUNTERS + type;
        EXPECT_EQ(m_context->getDeviceProperty(m_device, id, &sent, &size), 0);
        const unsigned int before = sent.delivered;
        EXPECT_EQ(nubrixStreamLedger(stream, &ledger), 0);
        EXPECT_EQ(m_context->getDeviceProperty(m_device, id, &sent, &size), 0);
        return before == sent.delivered && ledger.handedOver + ledger.unclaimed == before;
    }
    NubrixRecord *recorder(const std::string &name, const std::vector<NubrixStream *> &streams)
    {
        NubrixRecord *made = nullptr;
        EXPECT_EQ(m_context->createRecorder(m_folder.file(name).c_str(), &made), 0);
        for (NubrixStream *stream : streams)
            EXPECT_EQ(m_context->recorderAttachStream(made, stream), 0);
        return made;
    }
    unsigned int nextFrame(unsigned int type)
    {
        unsigned int next = 0;
        unsigned int size = sizeof next;
        EXPECT_EQ(m_context->getDeviceProperty(m_device, kPropertyPlayFrame + type, &next, &size),
                  0);
        return next;
    }
    /// Waits until that many frames of a stream have been returned to the camera.
    bool awaitReturned(unsigned int type, unsigned int count = kFrames)
    {
        return eventually([&] { return nextFrame(type) >= count; });
    }
    /// The next frame, which the caller releases. A wait may end without one, for a frame that was
    /// read before.
    typedefNubrixFrame *take(NubrixStream *stream)
    {
        typedefNubrixFrame *frame = nullptr;
        for (const auto until = std::chrono::steady_clock::now() + kDeadline;
             m_context->readFrame(stream, &frame, 20) != 0;) {
            if (std::chrono::steady_clock::now() > until)
                throw std::runtime_error("no frame comes");
        }
        return frame;
    }
    /// Reads a frame and releases it: its index, or the status.
    int read(NubrixStream *stream, int timeoutMs)
    {
        typedefNubrixFrame *frame = nullptr;
        if (const int status = m_context->readFrame(stream, &frame, timeoutMs))
            return status;
        const auto index = static_cast<int>(frame->frameIndex);
        EXPECT_EQ(m_context->releaseFrame(frame), 0);
        return index;
    }
    /// Reads up to the frame with the last index.
    std::vector<unsigned int> readToTheEnd(NubrixStream *stream, int timeoutMs)
    {
        std::vector<unsigned int> indices;
        const auto until = std::chrono::steady_clock::now() + kDeadline;
        while ((indices.empty() || indices.back() != kFrames - 1) &&
               std::chrono::steady_clock::now() < until) {
            const int index = read(stream, timeoutMs);
            if (index >= 0)
                indices.push_back(static_cast<unsigned int>(index));
            else
                std::this_thread::yield();
        }
        return indices;
    }
    /// The frames of a stream that a recorder has written, sorted by time; destroys the recorder.
    std::vector<unsigned int> recorded(NubrixRecord *made, const std::string &name,
                                       unsigned int type)
    {
        if (made) {
            EXPECT_EQ(m_context->destroyRecorder(made), 0);
        }
        std::vector<unsigned int> frames;
        RecordReader reader;
        EXPECT_EQ(reader.open(m_folder.file(name).c_str()), 0) << reader.errorText();
        EXPECT_STREQ(reader.problem(), "");
        for (const SentRecord &record : readBack(reader)) {
            if (record.streamType != type)
                continue;
            frames.push_back(static_cast<unsigned int>((record.timestampUs - 1000000) / 10000));
            EXPECT_EQ(record.pixels, patternOf(type, frames.back(), 6 * 5 * sizeOf(type)));
        }
        return frames;
    }

    TemporaryFolder m_folder;
    NubrixBaseContext *const m_context = ContextFactory();
    NubrixDevice *m_device = nullptr;
    std::vector<std::pair<NubrixStream *, unsigned int>> m_opened;
};

TEST_F(FreePacingTest, ARecorderAloneGetsEveryFrameOfEveryStream)
{
    NubrixStream *const color = open(NUBRIX_STREAM_COLOR);
    NubrixStream *const depth = open(NUBRIX_STREAM_DEPTH);
    NubrixRecord *const made = recorder("all.bin", {color, depth});
    ASSERT_EQ(m_context->recorderStart(made), 0);
    ASSERT_TRUE(awaitReturned(NUBRIX_STREAM_COLOR));
    ASSERT_TRUE(awaitReturned(NUBRIX_STREAM_DEPTH));
    EXPECT_THAT(recorded(made, "all.bin", NUBRIX_STREAM_COLOR), ElementsAreArray(countTo(kFrames)));
    EXPECT_THAT(recorded(nullptr, "all.bin", NUBRIX_STREAM_DEPTH),
                ElementsAreArray(countTo(kFrames)));
    EXPECT_EQ(read(depth, 0), static_cast<int>(kFrames - 1)) << "the newest one stays for readers";
}

TEST_F(FreePacingTest, TwoRecordersGetEveryFrame)
{
    NubrixStream *const depth = open(NUBRIX_STREAM_DEPTH);
    NubrixRecord *const first = recorder("first.bin", {depth});
    NubrixRecord *const second = recorder("second.bin", {depth});
    typedefNubrixFrame *const frame = take(depth);  // the camera waits for it
    ASSERT_EQ(m_context->recorderStart(first), 0);
    ASSERT_EQ(m_context->recorderStart(second), 0);
    ASSERT_EQ(m_context->releaseFrame(frame), 0);
    ASSERT_TRUE(awaitReturned(NUBRIX_STREAM_DEPTH));
    EXPECT_THAT(recorded(first, "first.bin", NUBRIX_STREAM_DEPTH),
                ElementsAreArray(countTo(kFrames, 1)));
    EXPECT_THAT(recorded(second, "second.bin", NUBRIX_STREAM_DEPTH),
                ElementsAreArray(countTo(kFrames, 1)));
}

TEST_F(FreePacingTest, ARecorderThatPausesLosesNoFrame)
{
    NubrixStream *const depth = open(NUBRIX_STREAM_DEPTH);
    NubrixRecord *const made = recorder("paused.bin", {depth});
    for (const unsigned int count : {20U, 40U, kFrames}) {
        ASSERT_EQ(m_context->recorderStart(made), 0);
        ASSERT_TRUE(awaitReturned(NUBRIX_STREAM_DEPTH, count));
        ASSERT_EQ(m_context->recorderStop(made), 0);
    }
    EXPECT_THAT(recorded(made, "paused.bin", NUBRIX_STREAM_DEPTH),
                ElementsAreArray(countTo(kFrames)));
}

/// A reader that holds the first frame when the recorder starts, and then continues.
class FreePacingReaderTest : public FreePacingTest {
protected:
    void readWhileRecording(int timeoutMs)
    {
        NubrixStream *const depth = open(NUBRIX_STREAM_DEPTH);
        NubrixRecord *const made = recorder("read.bin", {depth});
        typedefNubrixFrame *const frame = take(depth);
        EXPECT_EQ(frame->frameIndex, 0U);
        ASSERT_EQ(m_context->recorderStart(made), 0);
        ASSERT_EQ(m_context->releaseFrame(frame), 0);
        EXPECT_THAT(readToTheEnd(depth, timeoutMs), ElementsAreArray(countTo(kFrames, 1)));
        ASSERT_TRUE(awaitReturned(NUBRIX_STREAM_DEPTH));
        EXPECT_THAT(recorded(made, "read.bin", NUBRIX_STREAM_DEPTH),
                    ElementsAreArray(countTo(kFrames, 1)));
    }
};

TEST_F(FreePacingReaderTest, ThatWaitsGetsEveryFrameAndSoDoesTheRecorder)
{
    readWhileRecording(20);
}

TEST_F(FreePacingReaderTest, ThatPollsGetsEveryFrameAndSoDoesTheRecorder)
{
    readWhileRecording(0);
}

TEST_F(FreePacingReaderTest, ThatWaitsForStreamsGetsEveryFrameAndSoDoesTheRecorder)
{
    NubrixStream *streams[] = {open(NUBRIX_STREAM_COLOR), open(NUBRIX_STREAM_DEPTH)};
    NubrixRecord *const made = recorder("both.bin", {streams[0], streams[1]});
    std::vector<unsigned int> seen[2];
    // The first frames of both are held until the recorder has started.
    typedefNubrixFrame *first[2] = {};
    for (int i = 0; i < 2; ++i) {
        first[i] = take(streams[i]);
        seen[i].push_back(first[i]->frameIndex);
    }
    ASSERT_EQ(m_context->recorderStart(made), 0);
    for (typedefNubrixFrame *frame : first)
        ASSERT_EQ(m_context->releaseFrame(frame), 0);
    const auto until = std::chrono::steady_clock::now() + kDeadline;
    while (seen[0].size() + seen[1].size() < 2 * kFrames &&
           std::chrono::steady_clock::now() < until) {
        NubrixStream *ready = nullptr;
        m_context->waitForStreams(streams, 2, &ready, 10);
        for (int i = 0; i < 2; ++i) {
            const int index = read(streams[i], 0);
            if (index >= 0)
                seen[i].push_back(static_cast<unsigned int>(index));
        }
    }
    EXPECT_THAT(seen[0], ElementsAreArray(countTo(kFrames)));
    EXPECT_THAT(seen[1], ElementsAreArray(countTo(kFrames)));
    EXPECT_THAT(recorded(made, "both.bin", NUBRIX_STREAM_COLOR),
                ElementsAreArray(countTo(kFrames, 1)));
    EXPECT_THAT(recorded(nullptr, "both.bin", NUBRIX_STREAM_DEPTH),
                ElementsAreArray(countTo(kFrames, 1)));
}

TEST_F(FreePacingReaderTest, ThatStopsReadingDoesNotDelayTheRecorder)
{
    NubrixStream *const depth = open(NUBRIX_STREAM_DEPTH);
    NubrixRecord *const made = recorder("left.bin", {depth});
    EXPECT_EQ(m_context->releaseFrame(take(depth)), 0);
    ASSERT_EQ(m_context->recorderStart(made), 0);
    ASSERT_TRUE(awaitReturned(NUBRIX_STREAM_DEPTH));
    EXPECT_THAT(recorded(made, "left.bin", NUBRIX_STREAM_DEPTH),
                ElementsAreArray(countTo(kFrames, 1)));
}

TEST_F(FreePacingReaderTest, AloneGetsEveryFrame)
{
    NubrixStream *const depth = open(NUBRIX_STREAM_DEPTH);
    EXPECT_THAT(readToTheEnd(depth, 0), ElementsAreArray(countTo(kFrames)));
    NubrixStream *const color = open(NUBRIX_STREAM_COLOR);
    EXPECT_THAT(readToTheEnd(color, -1), ElementsAreArray(countTo(kFrames)));
}

TEST_F(FreePacingTest, PhotosTakeNothingFromARecorder)
{
    NubrixStream *const color = open(NUBRIX_STREAM_COLOR);
    NubrixRecord *const made = recorder("photos.bin", {color});
    ASSERT_EQ(m_context->recorderStart(made), 0);
    const std::string photo = m_folder.file("photo.bmp");
    do {
        ASSERT_EQ(m_context->takePhoto(photo.c_str()), 0);
    } while (nextFrame(NUBRIX_STREAM_COLOR) < kFrames);
    EXPECT_THAT(recorded(made, "photos.bin", NUBRIX_STREAM_COLOR),
                ElementsAreArray(countTo(kFrames)));
}

TEST_F(FreePacingTest, PhotosAloneAdvanceTheStream)
{
    open(NUBRIX_STREAM_COLOR);
    const std::string photo = m_folder.file("photo.bmp");
    const auto until = std::chrono::steady_clock::now() + kDeadline;
    // The stream's own thread may have caused the first wake-up.
    while (m_context->takePhoto(photo.c_str()) != 0)
        ASSERT_LT(std::chrono::steady_clock::now(), until);
    while (nextFrame(NUBRIX_STREAM_COLOR) < kFrames && std::chrono::steady_clock::now() < until)
        EXPECT_EQ(m_context->takePhoto(photo.c_str()), 0);
    EXPECT_EQ(nextFrame(NUBRIX_STREAM_COLOR), kFrames);
}

/// The frames that a frame callback received.
struct Given {
    NubrixBaseContext *context;
    std::vector<unsigned int> indices;  // of the callback's thread until the stream is closed
    std::atomic<std::size_t> count{0};

    static void onFrame(NubrixStream * /*stream*/, typedefNubrixFrame *frame, void *user)
    {
        auto &self = *static_cast<Given *>(user);
        self.indices.push_back(frame->frameIndex);
        self.context->releaseFrame(frame);
        ++self.count;
    }
};

TEST_F(FreePacingTest, ACallbackGetsEveryFrameWhileAnotherStreamIsRecorded)
{
    Given given{m_context, {}};
    NubrixStream *const depth = open(NUBRIX_STREAM_DEPTH, &Given::onFrame, &given);
    NubrixStream *const color = open(NUBRIX_STREAM_COLOR);
    // A stream with a callback notifies no reader, but the recorder works as before.
    NubrixRecord *const made = recorder("meanwhile.bin", {color, depth});
    ASSERT_EQ(m_context->recorderStart(made), 0);
    ASSERT_TRUE(awaitReturned(NUBRIX_STREAM_COLOR));
    ASSERT_TRUE(awaitReturned(NUBRIX_STREAM_DEPTH));
    EXPECT_EQ(m_context->closeStream(depth), 0);
    EXPECT_THAT(given.indices, ElementsAreArray(countTo(kFrames)));
    EXPECT_THAT(recorded(made, "meanwhile.bin", NUBRIX_STREAM_COLOR),
                ElementsAreArray(countTo(kFrames)));
}

TEST_F(FreePacingTest, TwoStreamsOfOneTypeAreReadAndRecorded)
{
    NubrixStream *const read = open(NUBRIX_STREAM_DEPTH);
    typedefNubrixFrame *const frame = take(read);  // the camera waits for it
    NubrixStream *const kept = open(NUBRIX_STREAM_DEPTH);
    NubrixRecord *const made = recorder("kept.bin", {kept});
    ASSERT_EQ(m_context->recorderStart(made), 0);
    ASSERT_EQ(m_context->releaseFrame(frame), 0);
    EXPECT_THAT(readToTheEnd(read, 0), ElementsAreArray(countTo(kFrames, 1)));
    ASSERT_TRUE(awaitReturned(NUBRIX_STREAM_DEPTH));
    EXPECT_THAT(recorded(made, "kept.bin", NUBRIX_STREAM_DEPTH),
                ElementsAreArray(countTo(kFrames, 1)));
}

TEST_F(FreePacingTest, ACallbackThatIsSetLaterGetsTheFramesFromThereOn)
{
    NubrixStream *const depth = open(NUBRIX_STREAM_DEPTH);
    EXPECT_EQ(m_context->releaseFrame(take(depth)), 0);
    Given given{m_context, {}};
    ASSERT_EQ(m_context->setStreamCallback(depth, &Given::onFrame, &given), 0);
    ASSERT_TRUE(awaitReturned(NUBRIX_STREAM_DEPTH));
    EXPECT_EQ(m_context->closeStream(depth), 0);
    ASSERT_FALSE(given.indices.empty());
    // The second frame may have arrived before the callback was set.
    EXPECT_LE(given.indices.front(), 2U);
    EXPECT_THAT(given.indices, ElementsAreArray(countTo(kFrames, given.indices.front())));
}

}  // namespace
}  // namespace nubrix::virtual_camera
