// Recorders as an application uses them.
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>

#include "tests/TemporaryFolder.h"
#include "tests/context/ContextFixture.h"
#include "tests/record/RecordBytes.h"

namespace nubrix {
namespace {

using testing::AnyOf;
using testing::Contains;
using testing::ElementsAre;

constexpr const char *kInvalidRecorder = "3 Invalid Recorder Handler!";

class Recording : public DeviceFixture {
protected:
    Recording() { m_usb.setCurrentMode({NUBRIX_PIXEL_DEPTH_12_4, 4, 4, 30}); }

    NubrixRecord *create(const std::string &path)
    {
        NubrixRecord *recorder = nullptr;
        EXPECT_EQ(context().createRecorder(path.c_str(), &recorder), 0);
        return recorder;
    }
    NubrixRecord *create() { return create(m_path); }
    Outcome creating(const std::string &path)
    {
        NubrixRecord *const untouched = unknownHandle<NubrixRecord>();
        m_recorder = untouched;
        Outcome result =
            outcome([&] { return context().createRecorder(path.c_str(), &m_recorder); });
        EXPECT_EQ(m_recorder == untouched, result.status != 0);
        return result;
    }
    static std::string textOf(const void *handle)
    {
        char text[32];
        std::snprintf(text, sizeof(text), "%p", handle);
        return text;
    }
    /// Frames with an index of their own in their pixels.
    bool deliver(unsigned int type, unsigned int index)
    {
        FakeFrame frame;
        const std::string pixels = patternOf(type, index, 32);
        frame.pixels.assign(pixels.begin(), pixels.end());
        frame.width = 4;
        frame.height = 4;
        frame.timestampUs = index;
        return m_usb.deliver(type, frame);
    }
    /// Delivers frames one by one and reads each, so that it has been recorded.
    void deliverAndRead(NubrixStream *stream, unsigned int type, unsigned int count)
    {
        for (unsigned int i = 0; i < count; ++i) {
            std::thread camera;
            std::atomic<int> waits{0};
            m_usb.setHook([&](const std::string &call) {
                if (call == "usb:1 keepLiveState" && waits++ == 0)
                    camera = std::thread([&] { EXPECT_TRUE(deliver(type, i)); });
            });
            NubrixStream *ready = nullptr;
            ASSERT_EQ(context().waitForStreams(&stream, 1, &ready, -1), 0);
            camera.join();
            m_usb.setHook({});
            typedefNubrixFrame *frame = nullptr;
            ASSERT_EQ(context().readFrame(stream, &frame, 0), 0);
            ASSERT_EQ(context().releaseFrame(frame), 0);
        }
    }
    std::vector<SentRecord> recorded()
    {
        RecordReader reader;
        EXPECT_EQ(reader.open(m_path.c_str()), 0) << reader.errorText();
        EXPECT_EQ(reader.condition(), NUBRIX_RECORD_COMPLETE) << reader.problem();
        return readBack(reader);
    }
    static std::vector<SentRecord> expected(unsigned int type, unsigned int count)
    {
        std::vector<SentRecord> records;
        for (unsigned int i = 0; i < count; ++i)
            records.push_back({type, i, i, patternOf(type, i, 32), 4, 4});
        return records;
    }

    TemporaryFolder m_folder;
    const std::string m_path = m_folder.file("record.bin");
    NubrixRecord *m_recorder = nullptr;
};

TEST_F(Recording, WhatWasStreamedIsInTheFile)
{
    NubrixStream *const stream = opened(NUBRIX_STREAM_DEPTH);
    NubrixRecord *const recorder = create();
    ASSERT_EQ(context().recorderAttachStream(recorder, stream), 0);
    ASSERT_EQ(context().recorderStart(recorder), 0);
    deliverAndRead(stream, NUBRIX_STREAM_DEPTH, 10);
    ASSERT_EQ(context().recorderStop(recorder), 0);
    EXPECT_EQ(recorded(), expected(NUBRIX_STREAM_DEPTH, 10)) << "a stop flushes";
    ASSERT_EQ(context().destroyRecorder(recorder), 0);
    EXPECT_EQ(recorded(), expected(NUBRIX_STREAM_DEPTH, 10));
}

TEST_F(Recording, CreatingIsLogged)
{
    const Outcome created = creating(m_path);
    const std::string folder = std::filesystem::canonical(m_folder.path()).string();
    EXPECT_EQ(created,
              (Outcome{0,
                       0,
                       {"1 Enter Create Recorder file[" + m_path + "]",
                        "1 Begin check record directory:" + m_path,
                        "1 FileDir:" + m_folder.path().string() + "/, file name:record.bin",
                        "4 Recorder recordFile:" + folder + "/record.bin",
                        "1 Create Recorder Success! recordHandle[" + textOf(m_recorder) + "]"}}));
}

TEST_F(Recording, APathThatIsTooLongIsRefused)
{
    const std::string path = "/" + std::string(255, 'x');
    EXPECT_EQ(creating(path),
              (Outcome{-1,
                       0,
                       {"1 Enter Create Recorder file[" + path + "]",
                        "3 file path:" + path + " length:256 more than 255, not support!"}}));
}

TEST_F(Recording, AFileThatCannotBeOpenedIsRefused)
{
    const Outcome refused = creating(m_folder.path().string() + "/");
    EXPECT_EQ(refused.status, -1);
    EXPECT_EQ(refused.error, 0U);
    EXPECT_THAT(refused.log, Contains("3 File opened, retcode:-1"));
    EXPECT_EQ(refused.log.back(), "3 Create Recorder failed because File path invalid!");
}

TEST_F(Recording, ASixtyFirstRecorderIsRefused)
{
    for (int i = 0; i < 60; ++i)
        create(m_folder.file(std::to_string(i)));
    const std::string path = m_folder.file("60");
    EXPECT_EQ(
        creating(path),
        (Outcome{-5,
                 0,
                 {"1 Enter Create Recorder file[" + path + "]", "3 Reached Max Stream number!"}}));
}

TEST_F(Recording, AttachingNamesTheTypeAndPassesTheResultOn)
{
    NubrixStream *const stream = opened(NUBRIX_STREAM_DEPTH);
    NubrixRecord *const recorder = create();
    EXPECT_EQ(outcome([&] { return context().recorderAttachStream(recorder, stream); }),
              (Outcome{0,
                       0,
                       {"1 Enter Create [2] Record", "1 Attach Stream[" + textOf(stream) +
                                                         "] Success! AttachedMap.size() = 1"}}));
    EXPECT_EQ(context().recorderAttachStream(recorder, stream), -4);
    EXPECT_EQ(outcome([&] {
                  return context().recorderAttachStream(recorder, unknownHandle<NubrixStream>());
              }),
              (Outcome{-13, NUBRIX_ERR_INVALID_STREAM, {kInvalidStream}}));
    EXPECT_EQ(context().recorderStart(recorder), 0);
    EXPECT_EQ(context().recorderAttachStream(recorder, opened(NUBRIX_STREAM_COLOR)), 0);
}

TEST_F(Recording, ADestroyedRecorderIsUnknown)
{
    NubrixRecord *const other = create(m_folder.file("other"));
    NubrixRecord *const recorder = create();
    EXPECT_EQ(outcome([&] { return context().destroyRecorder(recorder); }),
              (Outcome{0, 0, {"1 After remove recorder, the size=1", "1 ~StreamRecorder()"}}));
    EXPECT_EQ(outcome([&] { return context().recorderStart(recorder); }),
              (Outcome{-13, 0, {kInvalidRecorder}}));
    EXPECT_EQ(context().recorderStop(other), 0);
}

TEST_F(Recording, ClosingAStreamDetachesItFromEveryRecorder)
{
    NubrixStream *const stream = opened(NUBRIX_STREAM_DEPTH);
    NubrixRecord *const recorder = create();
    create(m_folder.file("without"));
    ASSERT_EQ(context().recorderAttachStream(recorder, stream), 0);
    const std::vector<std::string> log = logOf([&] { return context().closeStream(stream); });
    ASSERT_GE(log.size(), 3U);
    EXPECT_EQ(log[0], "4 Start stop depth stream ");
    EXPECT_EQ(log[1], "1 DeAttach Stream[" + textOf(stream) + "] Success! AttachedMap.size() = 0");
    EXPECT_EQ(log[2], "2 Stream[" + textOf(stream) + "] is not Attached");
}

TEST_F(Recording, DestroyStopsAndDestroysRecordersBeforeStreams)
{
    NubrixStream *const stream = opened(NUBRIX_STREAM_DEPTH);
    NubrixRecord *const recorder = create();
    ASSERT_EQ(context().recorderAttachStream(recorder, stream), 0);
    ASSERT_EQ(context().recorderStart(recorder), 0);
    deliverAndRead(stream, NUBRIX_STREAM_DEPTH, 3);
    const std::vector<std::string> log = logOf([&] { return context().destroy(); });
    ASSERT_GE(log.size(), 6U);
    EXPECT_THAT((std::vector<std::string>(log.begin() + 2, log.begin() + 6)),
                ElementsAre("1 Recorder[" + textOf(recorder) + "] Stop",
                            "1 After remove recorder, the size=0", "1 ~StreamRecorder()",
                            "0 begin release:stop stream"));
    EXPECT_EQ(recorded(), expected(NUBRIX_STREAM_DEPTH, 3));
}

TEST_F(Recording, DeletingTheContextClosesRecordersThatWereNotDestroyed)
{
    const auto isOpen = [&] {
        std::error_code gone;  // of the descriptor that lists the others
        const std::filesystem::directory_iterator descriptors("/proc/self/fd");
        return std::any_of(begin(descriptors), end(descriptors), [&](const auto &each) {
            return std::filesystem::read_symlink(each.path(), gone) == m_path;
        });
    };
    create();
    ASSERT_EQ(context().closeDevice(m_device), 0);
    ASSERT_TRUE(isOpen());
    m_library.deleteContext();
    EXPECT_FALSE(isOpen());
}

TEST_F(Recording, DestroyEndsOneRecorderAfterTheOther)
{
    NubrixRecord *const first = create(m_folder.file("first.bin"));
    NubrixRecord *const second = create(m_folder.file("second.bin"));
    const std::vector<std::string> log = logOf([&] { return context().destroy(); });
    ASSERT_GE(log.size(), 8U);
    EXPECT_THAT(
        (std::vector<std::string>(log.begin() + 2, log.begin() + 8)),
        ElementsAre("1 Recorder[" + textOf(first) + "] Stop", "1 After remove recorder, the size=1",
                    "1 ~StreamRecorder()", "1 Recorder[" + textOf(second) + "] Stop",
                    "1 After remove recorder, the size=0", "1 ~StreamRecorder()"));
}

TEST_F(Recording, AFileInPlaceOfAFolderIsRefused)
{
    m_folder.file("file", "content");
    const Outcome refused = creating(m_folder.file("file/sub/record.bin"));
    EXPECT_EQ(refused.status, -1);
    EXPECT_THAT(refused.log, Contains("3 File opened, retcode:-1"));
    EXPECT_THAT(refused.log, Contains("1 ~StreamRecorder()"));
    EXPECT_EQ(refused.log.back(), "3 Create Recorder failed because File path invalid!");
}

TEST_F(Recording, ARecorderIsDestroyedWhileItsStreamIsClosed)
{
    m_usb.freeRunning = true;
    for (int i = 0; i < 20; ++i) {
        NubrixStream *const stream = opened(NUBRIX_STREAM_DEPTH);
        NubrixRecord *const recorder = create();
        ASSERT_EQ(context().recorderAttachStream(recorder, stream), 0);
        ASSERT_EQ(context().recorderStart(recorder), 0);
        std::thread closer([&] { EXPECT_EQ(context().closeStream(stream), 0); });
        EXPECT_EQ(context().destroyRecorder(recorder), 0);
        RecordReader reader;  // the file is whole at once
        ASSERT_EQ(reader.open(m_path.c_str()), 0);
        EXPECT_EQ(reader.condition(), NUBRIX_RECORD_COMPLETE) << reader.problem();
        closer.join();
    }
}

TEST_F(Recording, ManyThreadsMayRecord)
{
    m_usb.freeRunning = true;
    NubrixStream *const stream = opened(NUBRIX_STREAM_DEPTH);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 3; ++thread) {
        threads.emplace_back([&, thread] {
            for (int i = 0; i < 20; ++i) {
                NubrixRecord *const recorder = create(m_folder.file(std::to_string(thread)));
                EXPECT_EQ(context().recorderAttachStream(recorder, stream), 0);
                EXPECT_EQ(context().recorderStart(recorder), 0);
                EXPECT_EQ(context().recorderStop(recorder), 0);
                EXPECT_EQ(context().destroyRecorder(recorder), 0);
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
}

TEST_F(Recording, AStreamThatWasDestroyedIsNotRecorded)
{
    NubrixRecord *const recorder = create();
    NubrixStream *const stream = opened(NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(context().recorderAttachStream(recorder, stream), 0);
    ASSERT_EQ(destroyStream(stream), 0);
    EXPECT_EQ(context().recorderStart(recorder), 0);
    EXPECT_EQ(context().destroyRecorder(recorder), 0);
}

TEST_F(Recording, AStreamIsNotDestroyedWhileItIsAttached)
{
    NubrixRecord *const recorder = create();
    NubrixStream *const stream = created(NUBRIX_STREAM_DEPTH);
    std::atomic<int> destroyer{0};
    std::atomic<bool> destroyed{false};
    std::thread destroying;
    m_usb.setHook([&](const std::string &call) {
        if (call != "usb:1 getCurrentFrameMode 2")
            return;
        destroying = std::thread([&] {
            destroyer = ::gettid();
            EXPECT_EQ(destroyStream(stream), 0);
            destroyed = true;
        });
        EXPECT_TRUE(eventually(
            [&] { return destroyed || (destroyer != 0 && hasFallenAsleep(destroyer)); }));
        EXPECT_FALSE(destroyed) << "the recorder would keep what is gone";
    });
    EXPECT_EQ(context().recorderAttachStream(recorder, stream), 0);
    destroying.join();
    m_usb.setHook({});
    EXPECT_EQ(context().recorderStart(recorder), 0);
}

}  // namespace
}  // namespace nubrix
