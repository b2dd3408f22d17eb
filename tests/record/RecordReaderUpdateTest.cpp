// A reader that follows a file while it grows, held against one that opens it anew.
#include <gmock/gmock.h>

#include <climits>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "nubrix/record_reader.h"
#include "tests/TemporaryFolder.h"
#include "tests/record/RecordBytes.h"

namespace nubrix {
namespace {

class RecordReaderUpdateTest : public testing::Test {
protected:
    void openBytes(const std::string &bytes)
    {
        writeFile(m_path, bytes);
        ASSERT_EQ(m_reader.open(m_path.c_str()), 0) << m_reader.errorText();
    }
    void append(const std::string &bytes) const
    {
        std::ofstream(m_path, std::ios::binary | std::ios::app) << bytes;
    }
    /// The reader reports everything as a new reader does.
    void expectAsOpenedAnew()
    {
        RecordReader anew;
        ASSERT_EQ(anew.open(m_path.c_str()), 0) << anew.errorText();
        ASSERT_EQ(m_reader.count(), anew.count());
        for (unsigned int i = 0; i < anew.count(); ++i) {
            RecordInfo mine = {};
            RecordInfo theirs = {};
            ASSERT_EQ(m_reader.info(i, &mine), 0) << m_reader.errorText();
            ASSERT_EQ(anew.info(i, &theirs), 0) << anew.errorText();
            ASSERT_EQ(std::memcmp(&mine, &theirs, sizeof(mine)), 0) << "record " << i;
        }
        for (const unsigned int type : {1U, 2U, 32U, 63U}) {
            ASSERT_EQ(m_reader.count(type), anew.count(type)) << "type " << type;
            for (unsigned int n = 0, mine = 0, theirs = 0; n < anew.count(type); ++n) {
                ASSERT_EQ(m_reader.find(type, n, &mine), 0) << m_reader.errorText();
                ASSERT_EQ(anew.find(type, n, &theirs), 0) << anew.errorText();
                ASSERT_EQ(mine, theirs);
            }
        }
        ASSERT_EQ(m_reader.condition(), anew.condition());
        ASSERT_STREQ(m_reader.problem(), anew.problem());
        ASSERT_EQ(m_reader.trailingBytes(), anew.trailingBytes());
        ASSERT_EQ(m_reader.skippedBytes(), anew.skippedBytes());
        ASSERT_EQ(m_reader.hasHeader(), anew.hasHeader());
    }
    /// Lets the file grow by pieces of at most `longest` bytes.
    void expectAsOpenedAnewWhileGrowing(const std::string &bytes, unsigned int longest)
    {
        ASSERT_NO_FATAL_FAILURE(openBytes(""));
        for (std::size_t done = 0; done < bytes.size();) {
            const std::size_t piece = 1 + m_random() % longest;
            append(bytes.substr(done, piece));
            done = std::min(done + piece, bytes.size());
            SCOPED_TRACE("the first " + std::to_string(done) + " bytes");
            ASSERT_EQ(m_reader.update(), 0) << m_reader.errorText();
            ASSERT_NO_FATAL_FAILURE(expectAsOpenedAnew());
        }
    }

    TemporaryFolder m_folder;
    const std::string m_path = m_folder.file("rec.bin");
    RecordReader m_reader;
    std::minstd_rand m_random{20240611};
};

TEST_F(RecordReaderUpdateTest, SeesWhatWasAppended)
{
    const std::vector<SentRecord> sent = someRecords(5);
    openBytes(bytesOf({sent[0], sent[1]}));
    append(bytesOf({sent[2], sent[3], sent[4]}));
    ASSERT_EQ(m_reader.update(), 0) << m_reader.errorText();
    EXPECT_EQ(readBack(m_reader), sent);
    EXPECT_EQ(m_reader.condition(), NUBRIX_RECORD_COMPLETE);
}

TEST_F(RecordReaderUpdateTest, ARecordThatWasCutIsCompleteWhenTheRestIsThere)
{
    const std::vector<SentRecord> sent = someRecords(4);
    const std::string before = bytesOf({sent[0], sent[1]});
    const std::string last = bytesOf(sent[2]);
    for (std::size_t cut = 1; cut < last.size(); ++cut) {
        SCOPED_TRACE(cut);
        openBytes(before + last.substr(0, cut));
        ASSERT_EQ(m_reader.condition(), NUBRIX_RECORD_CUT);
        append(last.substr(cut));
        ASSERT_EQ(m_reader.update(), 0) << m_reader.errorText();
        EXPECT_EQ(readBack(m_reader), std::vector<SentRecord>(sent.begin(), sent.begin() + 3));
        EXPECT_EQ(m_reader.condition(), NUBRIX_RECORD_COMPLETE);
        EXPECT_STREQ(m_reader.problem(), "");
        EXPECT_EQ(m_reader.trailingBytes(), 0U);
    }
}

TEST_F(RecordReaderUpdateTest, ARecordThatWasCutIsReadAnew)
{
    std::vector<SentRecord> sent = someRecords(2);
    const std::string bytes = bytesOf(sent);
    openBytes(bytes.substr(0, bytes.size() - 1));
    ASSERT_EQ(m_reader.count(), 1U);
    sent[1].index += 5;
    writeFile(m_path, bytesOf(sent));
    ASSERT_EQ(m_reader.update(), 0) << m_reader.errorText();
    EXPECT_EQ(readBack(m_reader), sent);
}

TEST_F(RecordReaderUpdateTest, WhatFollowsCanShowThatTheLastRecordWasNotWhole)
{
    const std::vector<SentRecord> sent = someRecords(3);
    openBytes(bytesOf(sent));
    append(std::string(40, '\0'));
    ASSERT_EQ(m_reader.update(), 0) << m_reader.errorText();
    EXPECT_EQ(readBack(m_reader), std::vector<SentRecord>(sent.begin(), sent.end() - 1));
    EXPECT_EQ(m_reader.count(32), 0U);
    EXPECT_EQ(m_reader.condition(), NUBRIX_RECORD_DAMAGED);
}

TEST_F(RecordReaderUpdateTest, WhatWasFoundIsNotReadAgain)
{
    const std::vector<SentRecord> sent = someRecords(60, 1000);
    const std::string bytes = bytesOf(sent);
    openBytes(bytes);
    std::string wiped = bytes;
    wiped.replace(0, bytes.size() / 2, bytes.size() / 2, '\xff');
    writeFile(m_path, wiped + bytesOf(sent));
    ASSERT_EQ(m_reader.update(), 0) << m_reader.errorText();
    EXPECT_EQ(m_reader.count(), 120U);
    EXPECT_EQ(m_reader.condition(), NUBRIX_RECORD_COMPLETE);
    EXPECT_EQ(readBack(m_reader, 119), sent[59]);
    ASSERT_EQ(m_reader.open(m_path.c_str()), 0);
    EXPECT_LT(m_reader.count(), 120U) << "opened anew, it is read";
}

TEST_F(RecordReaderUpdateTest, FramesFromBeforeStayAndNewOnesAreMapped)
{
    const std::vector<SentRecord> sent = someRecords(4);
    openBytes(bytesOf({sent[0], sent[1]}));
    RecordFrame before;
    ASSERT_EQ(m_reader.frame(1, &before), 0);
    append(bytesOf({sent[2], sent[3]}));
    ASSERT_EQ(m_reader.update(), 0) << m_reader.errorText();
    EXPECT_EQ(readBack(m_reader, 3), sent[3]);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(before.data()), before.info().dataSize),
              sent[1].pixels);
}

TEST_F(RecordReaderUpdateTest, NothingNewChangesNothing)
{
    openBytes(bytesOf(someRecords(3)) + "\x02");
    ASSERT_EQ(m_reader.update(), 0) << m_reader.errorText();
    EXPECT_EQ(m_reader.count(), 3U);
    EXPECT_EQ(m_reader.trailingBytes(), 1U);
    expectAsOpenedAnew();
}

TEST_F(RecordReaderUpdateTest, AFileThatHasBecomeShorterIsRefusedAndNothingIsForgotten)
{
    const std::vector<SentRecord> sent = someRecords(4);
    const std::string bytes = bytesOf(sent);
    openBytes(bytes);
    std::filesystem::resize_file(m_path, bytes.size() - 1);
    EXPECT_EQ(m_reader.update(), -1);
    EXPECT_THAT(m_reader.errorText(), testing::HasSubstr("the file has become shorter"));
    EXPECT_EQ(m_reader.count(), 4U);
    append(bytes.substr(bytes.size() - 1) + bytes);
    ASSERT_EQ(m_reader.update(), 0) << m_reader.errorText();
    EXPECT_EQ(m_reader.count(), 8U);
}

TEST_F(RecordReaderUpdateTest, WithoutAFileItSaysSo)
{
    EXPECT_EQ(m_reader.update(), -2);
    EXPECT_STREQ(m_reader.errorText(), "no file is open");
}

// --- as opened anew, whatever the bytes are and wherever they stop

TEST_F(RecordReaderUpdateTest, ByteByByteItIsAsOpenedAnew)
{
    expectAsOpenedAnewWhileGrowing(bytesOf(someRecords(6)), 1);
}

TEST_F(RecordReaderUpdateTest, WithAHeaderBeforeOrOverTheRecordsItIsAsOpenedAnew)
{
    const std::string header = headerOf({1, 9, 3, 30, 640, 480}, {2, 9, 5, 30, 640, 480});
    const std::string bytes = bytesOf(someRecords(5));
    expectAsOpenedAnewWhileGrowing(header + bytes, 1);
    expectAsOpenedAnewWhileGrowing(header + bytes.substr(kHeaderBytes), 1);
}

TEST_F(RecordReaderUpdateTest, WithPiecesOfRecordsBetweenItIsAsOpenedAnew)
{
    const std::vector<SentRecord> sent = someRecords(4);
    for (const std::size_t length : {1U, 2U, 17U, 18U, 25U, 26U, 27U, 50U}) {
        const std::string bytes = bytesOf({sent[0], sent[1]}) + bytesOf(sent[2]).substr(0, length) +
                                  bytesOf({sent[0], sent[3]});
        SCOPED_TRACE(length);
        ASSERT_NO_FATAL_FAILURE(expectAsOpenedAnewWhileGrowing(bytes, 1));
    }
}

TEST_F(RecordReaderUpdateTest, WithLyingLengthsItIsAsOpenedAnew)
{
    const std::vector<SentRecord> sent = someRecords(5);
    const std::string bytes = bytesOf(sent);
    for (const unsigned int lie : {0U, 1U, 29U, 57U, 112U, 1000000U, INT_MAX + 1U}) {
        for (const std::size_t liar : {0U, 2U, 4U}) {
            std::string lying = bytes;
            const std::vector<SentRecord> before(sent.begin(),
                                                 sent.begin() + static_cast<std::ptrdiff_t>(liar));
            lying.replace(bytesOf(before).size(), kTagBytes, tagOf(sent[liar], lie));
            SCOPED_TRACE(std::to_string(lie) + " in record " + std::to_string(liar));
            ASSERT_NO_FATAL_FAILURE(expectAsOpenedAnewWhileGrowing(lying, 3));
        }
    }
}

TEST_F(RecordReaderUpdateTest, WhateverBytesAreChangedItIsAsOpenedAnew)
{
    const std::string bytes = bytesOf(someRecords(12, 80));
    for (int round = 0; round < 150; ++round) {
        std::string changed = bytes;
        for (auto i = m_random() % 12; i > 0; --i)
            changed[static_cast<std::size_t>(m_random()) % changed.size()] =
                static_cast<char>(m_random() % 4);
        SCOPED_TRACE("round " + std::to_string(round));
        ASSERT_NO_FATAL_FAILURE(expectAsOpenedAnewWhileGrowing(changed, 90));
    }
}

// Small numbers make many tags that are nearly sound, and sound ones within pixels.
TEST_F(RecordReaderUpdateTest, WithBytesThatLookLikeTagsItIsAsOpenedAnew)
{
    for (int round = 0; round < 60; ++round) {
        std::string bytes(600, '\0');
        for (char &each : bytes)
            each = m_random() % 8 == 0 ? static_cast<char>(m_random() % 3) : '\0';
        SCOPED_TRACE("round " + std::to_string(round));
        ASSERT_NO_FATAL_FAILURE(expectAsOpenedAnewWhileGrowing(bytes, 40));
    }
}

}  // namespace
}  // namespace nubrix
