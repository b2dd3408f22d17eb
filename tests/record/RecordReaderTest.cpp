#include "nubrix/record_reader.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tests/TemporaryFolder.h"
#include "tests/record/RecordBytes.h"

namespace {

bool g_readingFails = false;

}  // namespace

extern "C" {

ssize_t __real_pread64(int file, void *buffer, std::size_t size, off64_t offset);
ssize_t __wrap_pread64(int file, void *buffer, std::size_t size, off64_t offset);

ssize_t __wrap_pread64(int file, void *buffer, std::size_t size, off64_t offset)
{
    if (!g_readingFails)
        return __real_pread64(file, buffer, size, offset);
    errno = EIO;
    return -1;
}

}  // extern "C"

namespace nubrix {
namespace {

class RecordReaderTest : public testing::Test {
protected:
    void openBytes(const std::string &bytes)
    {
        writeFile(m_path, bytes);
        ASSERT_EQ(m_reader.open(m_path.c_str()), 0) << m_reader.errorText();
    }
    void openRecords(const std::vector<SentRecord> &records) { openBytes(bytesOf(records)); }
    /// The status and the text of a failure.
    std::string failureOf(int status)
    {
        return std::to_string(status) + " " + m_reader.errorText();
    }
    std::optional<unsigned int> found(unsigned int type, unsigned int n)
    {
        unsigned int record = 0;
        return m_reader.find(type, n, &record) == 0 ? std::optional(record) : std::nullopt;
    }
    std::optional<unsigned int> nearest(unsigned int type, unsigned long long time)
    {
        unsigned int record = 0;
        return m_reader.findNearest(type, time, &record) == 0 ? std::optional(record)
                                                              : std::nullopt;
    }

    TemporaryFolder m_folder;
    const std::string m_path = m_folder.file("rec.bin");
    RecordReader m_reader;
};

SentRecord depthAt(unsigned long long timestampUs, unsigned int type = 2)
{
    SentRecord record;
    record.streamType = type;
    record.timestampUs = timestampUs;
    record.pixels = "pixels";
    return record;
}

TEST_F(RecordReaderTest, ReadsEveryFieldOfATag)
{
    openBytes(
        std::string("\x02\x00"
                    "\x04\x03\x02\x01"
                    "\x08\x07\x06\x85"
                    "\x0c\x0b\x0a\x89"
                    "\x03\x00\x00\x00"
                    "\x80\x02\x00\x00"
                    "\xff\xff\x00\x00"
                    "abc",
                    29));
    RecordFrame frame;
    ASSERT_EQ(m_reader.frame(0, &frame), 0);
    EXPECT_EQ(frame.info().offset, 0U);
    EXPECT_EQ(frame.info().streamType, 2U);
    EXPECT_EQ(frame.info().index, 0x01020304U);
    EXPECT_EQ(frame.info().timestampUs, 0x890a0b0c85060708ULL);
    EXPECT_EQ(frame.info().dataSize, 3U);
    EXPECT_EQ(frame.info().width, 640U);
    EXPECT_EQ(frame.info().height, 65535U);
    EXPECT_EQ(frame.info().reserved, 0U);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(frame.data()), 3), "abc");
}

TEST_F(RecordReaderTest, ReturnsTheRecordsInTheOrderOfTheFile)
{
    const std::vector<SentRecord> sent = someRecords(7);
    openRecords(sent);
    EXPECT_EQ(m_reader.count(), 7U);
    EXPECT_EQ(readBack(m_reader), sent);
    EXPECT_EQ(m_reader.condition(), NUBRIX_RECORD_COMPLETE);
    EXPECT_STREQ(m_reader.problem(), "");
    EXPECT_EQ(m_reader.trailingBytes(), 0U);
    EXPECT_EQ(m_reader.skippedBytes(), 0U);
    EXPECT_FALSE(m_reader.hasHeader());
}

TEST_F(RecordReaderTest, ReportsWhereARecordLies)
{
    const std::vector<SentRecord> sent = someRecords(3);
    openRecords(sent);
    RecordInfo info = {};
    ASSERT_EQ(m_reader.info(2, &info), 0);
    EXPECT_EQ(info.offset, 2 * kTagBytes + sent[0].pixels.size() + sent[1].pixels.size());
    EXPECT_EQ(info.streamType, 32U);
    EXPECT_EQ(info.dataSize, sent[2].pixels.size());
}

TEST_F(RecordReaderTest, AnEmptyFileIsACompleteRecordingOfNothing)
{
    openBytes("");
    EXPECT_EQ(m_reader.count(), 0U);
    EXPECT_EQ(m_reader.condition(), NUBRIX_RECORD_COMPLETE);
    EXPECT_EQ(m_reader.trailingBytes(), 0U);
    EXPECT_EQ(nearest(0, 5), std::nullopt);
}

TEST_F(RecordReaderTest, CountsTheRecordsOfAType)
{
    openRecords(someRecords(8));
    EXPECT_EQ(m_reader.count(1), 3U);
    EXPECT_EQ(m_reader.count(2), 3U);
    EXPECT_EQ(m_reader.count(32), 2U);
    EXPECT_EQ(m_reader.count(4), 0U);
    EXPECT_EQ(m_reader.count(1000), 0U);
}

TEST_F(RecordReaderTest, FindsTheNthRecordOfAType)
{
    openRecords(someRecords(8));
    EXPECT_EQ(found(2, 0), 1U);
    EXPECT_EQ(found(2, 2), 7U);
    EXPECT_EQ(found(32, 1), 5U);
    EXPECT_EQ(found(0, 6), 6U);
    EXPECT_EQ(found(0, 8), std::nullopt);
    unsigned int record = 77;
    EXPECT_EQ(failureOf(m_reader.find(2, 3, &record)),
              "-4 there are not so many records of this type");
    EXPECT_EQ(failureOf(m_reader.find(4, 0, &record)),
              "-4 there are not so many records of this type");
    EXPECT_EQ(record, 77U);
}

TEST_F(RecordReaderTest, FindsTheRecordNearestATime)
{
    openRecords({depthAt(100), depthAt(200), depthAt(150, 1), depthAt(300)});
    EXPECT_EQ(nearest(2, 0), 0U);
    EXPECT_EQ(nearest(2, 100), 0U);
    EXPECT_EQ(nearest(2, 151), 1U);
    EXPECT_EQ(nearest(2, 249), 1U);
    EXPECT_EQ(nearest(2, 251), 3U);
    EXPECT_EQ(nearest(2, ~0ULL), 3U);
    EXPECT_EQ(nearest(1, 10000), 2U);
    EXPECT_EQ(nearest(0, 151), 2U);
    unsigned int record = 77;
    EXPECT_EQ(failureOf(m_reader.findNearest(4, 1, &record)), "-4 there is no record of this type");
    EXPECT_EQ(record, 77U);
}

TEST_F(RecordReaderTest, OfTwoEquallyNearRecordsTheEarlierInTheFileIsFound)
{
    openRecords({depthAt(300), depthAt(100), depthAt(100)});
    EXPECT_EQ(nearest(2, 200), 0U);
    EXPECT_EQ(nearest(2, 100), 1U);
}

TEST_F(RecordReaderTest, TimesNeedNotRise)
{
    openRecords({depthAt(500), depthAt(~0ULL), depthAt(0), depthAt(90), depthAt(400)});
    EXPECT_EQ(nearest(2, 100), 3U);
    EXPECT_EQ(nearest(2, 1), 2U);
    EXPECT_EQ(nearest(2, ~0ULL - 1), 1U);
}

TEST_F(RecordReaderTest, WithoutAFileEveryOperationSaysSo)
{
    unsigned int record = 0;
    RecordInfo info = {};
    RecordFrame frame;
    EXPECT_EQ(failureOf(m_reader.find(0, 0, &record)), "-2 no file is open");
    EXPECT_EQ(failureOf(m_reader.findNearest(0, 0, &record)), "-2 no file is open");
    EXPECT_EQ(failureOf(m_reader.info(0, &info)), "-2 no file is open");
    EXPECT_EQ(failureOf(m_reader.frame(0, &frame)), "-2 no file is open");
    EXPECT_EQ(frame.data(), nullptr);
    EXPECT_EQ(m_reader.count(), 0U);
    EXPECT_EQ(m_reader.condition(), NUBRIX_RECORD_COMPLETE);
    EXPECT_STREQ(m_reader.problem(), "");
    EXPECT_EQ(m_reader.trailingBytes(), 0U);
    EXPECT_EQ(m_reader.skippedBytes(), 0U);
    EXPECT_FALSE(m_reader.hasHeader());
    m_reader.close();
}

TEST_F(RecordReaderTest, NullArgumentsAndMissingRecordsAreRefused)
{
    openRecords(someRecords(2));
    RecordInfo info = {};
    RecordFrame frame;
    EXPECT_EQ(failureOf(m_reader.find(0, 0, nullptr)), "-4 there is no place for the result");
    EXPECT_EQ(failureOf(m_reader.findNearest(0, 0, nullptr)),
              "-4 there is no place for the result");
    EXPECT_EQ(failureOf(m_reader.info(0, nullptr)), "-4 there is no place for the result");
    EXPECT_EQ(failureOf(m_reader.frame(0, nullptr)), "-4 there is no place for the result");
    EXPECT_EQ(failureOf(m_reader.info(2, &info)), "-4 there is no such record");
    EXPECT_EQ(failureOf(m_reader.frame(2, &frame)), "-4 there is no such record");
    EXPECT_EQ(failureOf(m_reader.frame(~0U, &frame)), "-4 there is no such record");
    EXPECT_EQ(frame.data(), nullptr);
}

TEST_F(RecordReaderTest, WhatIsNoFileIsNotOpened)
{
    EXPECT_EQ(failureOf(m_reader.open(nullptr)), "-4 there is no path");
    EXPECT_EQ(failureOf(m_reader.open(m_path.c_str())),
              "-1 cannot open: No such file or directory");
    EXPECT_EQ(failureOf(m_reader.open(m_folder.path().c_str())),
              "-1 not a regular file: Invalid argument");
    const std::string pipe = m_folder.file("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(failureOf(m_reader.open(pipe.c_str())), "-1 not a regular file: Invalid argument");
}

std::ptrdiff_t openDescriptors()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

TEST_F(RecordReaderTest, WhatIsNotOpenedIsNotKept)
{
    const std::ptrdiff_t before = openDescriptors();
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(m_reader.open(m_folder.path().c_str()), -1);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(RecordReaderTest, AfterItsReaderAndFramesNothingOfAFileIsKept)
{
    const std::ptrdiff_t before = openDescriptors();
    openRecords(someRecords(2));
    const auto isMapped = [this] {
        return readFile("/proc/self/maps").find(m_path) != std::string::npos;
    };
    {
        RecordFrame frame;
        ASSERT_EQ(m_reader.frame(0, &frame), 0);
        const RecordFrame copy = frame;
        m_reader.close();
        EXPECT_TRUE(isMapped());
    }
    EXPECT_FALSE(isMapped());
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(RecordReaderTest, AFileThatMayNotBeReadIsNotOpened)
{
    writeFile(m_path, bytesOf(someRecords(1)));
    ASSERT_EQ(chmod(m_path.c_str(), 0), 0);
    ASSERT_EQ(chmod(m_folder.path().c_str(), 0755), 0);
    // Root may read everything: a child that is nobody tries.
    const pid_t child = fork();
    if (child == 0) {
        if (geteuid() == 0 && setuid(65534) != 0)
            _exit(2);
        const bool refused = m_reader.open(m_path.c_str()) == -1 &&
                             m_reader.errorText() == std::string("cannot open: Permission denied");
        _exit(refused ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(RecordReaderTest, AFileThatCannotBeReadIsDamagedUntilItCan)
{
    const std::vector<SentRecord> sent = someRecords(2);
    writeFile(m_path, bytesOf(sent));
    g_readingFails = true;
    const int opened = m_reader.open(m_path.c_str());
    g_readingFails = false;
    ASSERT_EQ(opened, 0) << m_reader.errorText();
    EXPECT_EQ(m_reader.count(), 0U);
    EXPECT_EQ(m_reader.condition(), NUBRIX_RECORD_DAMAGED);
    EXPECT_STREQ(m_reader.problem(), "byte 0: cannot read: Input/output error");
    ASSERT_EQ(m_reader.update(), 0) << m_reader.errorText();
    EXPECT_EQ(m_reader.condition(), NUBRIX_RECORD_COMPLETE);
    EXPECT_EQ(readBack(m_reader), sent);
}

TEST_F(RecordReaderTest, ARecordThatCannotBeReadIsRefused)
{
    openRecords(someRecords(2));
    RecordInfo info = {};
    g_readingFails = true;
    const std::string failure = failureOf(m_reader.info(1, &info));
    g_readingFails = false;
    EXPECT_EQ(failure, "-1 byte 56: cannot read: Input/output error");
    EXPECT_EQ(info.streamType, 0U);
    EXPECT_EQ(m_reader.info(1, &info), 0) << m_reader.errorText();
}

TEST_F(RecordReaderTest, OpeningTakesThePlaceOfTheFileBefore)
{
    openRecords(someRecords(3));
    const std::string other = m_folder.file("other");
    writeFile(other, bytesOf(someRecords(5)) + "\x02");
    ASSERT_EQ(m_reader.open(other.c_str()), 0);
    EXPECT_EQ(m_reader.count(), 5U);
    EXPECT_EQ(readBack(m_reader), someRecords(5));
    EXPECT_EQ(m_reader.open("/missing"), -1);
    EXPECT_EQ(m_reader.count(), 0U);
    EXPECT_STREQ(m_reader.problem(), "");
    openRecords(someRecords(2));
    m_reader.close();
    EXPECT_EQ(m_reader.count(), 0U);
}

TEST_F(RecordReaderTest, AFrameOutlivesItsReader)
{
    const std::vector<SentRecord> sent = someRecords(3);
    RecordFrame first;
    RecordFrame copy;
    {
        RecordReader reader;
        writeFile(m_path, bytesOf(sent));
        ASSERT_EQ(reader.open(m_path.c_str()), 0);
        ASSERT_EQ(reader.frame(0, &first), 0);
        RecordFrame second;
        ASSERT_EQ(reader.frame(1, &second), 0);
        copy = second;
        reader.close();
        EXPECT_EQ(copy.data(), second.data());
    }
    std::filesystem::remove(m_path);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(first.data()), first.info().dataSize),
              sent[0].pixels);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(copy.data()), copy.info().dataSize),
              sent[1].pixels);
    const unsigned char *const data = copy.data();
    RecordFrame moved(std::move(copy));
    EXPECT_EQ(moved.data(), data);
    EXPECT_EQ(copy.data(), nullptr);  // NOLINT(bugprone-use-after-move): it must be empty
    moved = RecordFrame();
    EXPECT_EQ(moved.data(), nullptr);
    EXPECT_EQ(moved.info().dataSize, 0U);
}

TEST_F(RecordReaderTest, AFrameThatFailsDoesNotChangeTheOneBefore)
{
    openRecords(someRecords(1));
    RecordFrame frame;
    ASSERT_EQ(m_reader.frame(0, &frame), 0);
    const unsigned char *const data = frame.data();
    EXPECT_EQ(m_reader.frame(1, &frame), -4);
    EXPECT_EQ(frame.data(), data);
}

TEST_F(RecordReaderTest, FramesLargerThanAWindowAndAcrossItsEndAreComplete)
{
    std::vector<SentRecord> sent;
    for (unsigned int i = 0; i < 12; ++i) {
        SentRecord record;
        record.streamType = 1;
        record.index = i;
        record.pixels = patternOf(1, i, i == 5 ? 9 << 20 : (3 << 20) + i * 1000 + 1);
        sent.push_back(record);
    }
    openRecords(sent);
    ASSERT_EQ(m_reader.count(), 12U);
    std::vector<RecordFrame> held(12);
    for (const unsigned int i : {11U, 0U, 5U, 3U, 4U, 1U, 10U, 2U, 6U, 9U, 7U, 8U})
        ASSERT_EQ(m_reader.frame(i, &held[i]), 0) << m_reader.errorText();
    for (unsigned int i = 0; i < 12; ++i) {
        const std::string pixels(reinterpret_cast<const char *>(held[i].data()),
                                 held[i].info().dataSize);
        EXPECT_TRUE(pixels == sent[i].pixels) << i;
    }
}

TEST_F(RecordReaderTest, WhatIsAppendedWhileItIsOpenIsNotSeen)
{
    const std::vector<SentRecord> sent = someRecords(4);
    openRecords({sent[0], sent[1]});
    writeFile(m_path, bytesOf(sent));
    EXPECT_EQ(m_reader.count(), 2U);
    EXPECT_EQ(readBack(m_reader, 1), sent[1]);
    ASSERT_EQ(m_reader.open(m_path.c_str()), 0);
    EXPECT_EQ(readBack(m_reader), sent);
}

TEST_F(RecordReaderTest, AFileThatChangesIsNoticed)
{
    const std::vector<SentRecord> sent = someRecords(3);
    const std::string bytes = bytesOf(sent);
    openBytes(bytes);
    RecordFrame frame;
    RecordInfo info = {};

    std::filesystem::resize_file(m_path, bytes.size() - 1);
    EXPECT_EQ(m_reader.frame(1, &frame), 0);
    EXPECT_EQ(failureOf(m_reader.frame(2, &frame)), "-1 byte 113: the file has changed");
    std::filesystem::resize_file(m_path, 113);
    EXPECT_EQ(failureOf(m_reader.info(2, &info)), "-1 byte 113: the file has changed");

    openBytes(bytes);
    std::vector<SentRecord> changed = sent;
    changed[1].timestampUs += 1;
    writeFile(m_path, bytesOf(changed));
    EXPECT_EQ(failureOf(m_reader.frame(1, &frame)), "-1 byte 56: the file has changed");
    EXPECT_EQ(m_reader.frame(2, &frame), 0);
    std::string lying = bytes;
    lying.replace(56, kTagBytes, tagOf(sent[1], 0x7fffffff));
    writeFile(m_path, lying);
    EXPECT_EQ(failureOf(m_reader.frame(1, &frame)), "-1 byte 56: the file has changed");
    EXPECT_EQ(failureOf(m_reader.info(1, &info)), "-1 byte 56: the file has changed");
}

TEST_F(RecordReaderTest, AChangeOfAnyPartOfATagIsNoticed)
{
    const std::vector<SentRecord> sent = someRecords(3);
    openRecords(sent);
    const auto change = [&](const auto &changeOne) {
        std::vector<SentRecord> changed = sent;
        changeOne(changed[1]);
        writeFile(m_path, bytesOf(changed));
        RecordFrame frame;
        RecordInfo info;
        EXPECT_EQ(failureOf(m_reader.frame(1, &frame)), "-1 byte 56: the file has changed");
        EXPECT_EQ(failureOf(m_reader.info(1, &info)), "-1 byte 56: the file has changed");
        EXPECT_EQ(frame.data(), nullptr);
    };
    change([](SentRecord &record) { record.streamType = 3; });
    change([](SentRecord &record) { record.index += 1; });
    change([](SentRecord &record) { record.timestampUs += 1; });
    change([](SentRecord &record) { record.pixels += "more"; });
    change([](SentRecord &record) { record.pixels.pop_back(); });
    change([](SentRecord &record) { record.width += 1; });
    change([](SentRecord &record) { record.height += 1; });
    writeFile(m_path, bytesOf(sent));
    EXPECT_EQ(readBack(m_reader), sent);
}

TEST_F(RecordReaderTest, ReadersAndFramesOfOneFileWorkOnManyThreads)
{
    const std::vector<SentRecord> sent = someRecords(60, 5000);
    openRecords(sent);
    RecordFrame shared;
    ASSERT_EQ(m_reader.frame(7, &shared), 0);
    std::vector<std::thread> threads;
    std::vector<int> wrong(4);
    for (unsigned int t = 0; t < wrong.size(); ++t) {
        threads.emplace_back([&, t, own = shared]() mutable {
            RecordReader reader;
            if (reader.open(m_path.c_str()) != 0)
                wrong[t] = 1;
            for (int round = 0; round < 20; ++round) {
                wrong[t] += readBack(reader) == sent ? 0 : 1;
                const RecordFrame copy = own;
                wrong[t] += copy.data() == own.data() ? 0 : 1;
            }
            own = RecordFrame();
        });
    }
    shared = RecordFrame();
    m_reader.close();
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_THAT(wrong, testing::Each(0));
}

}  // namespace
}  // namespace nubrix
