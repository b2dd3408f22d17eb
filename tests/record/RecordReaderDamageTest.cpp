// What the reader makes of files that are cut, damaged or no recordings at all.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "nubrix/record_reader.h"
#include "tests/TemporaryFolder.h"
#include "tests/record/RecordBytes.h"

namespace nubrix {
namespace {

using Records = std::vector<SentRecord>;

class RecordReaderDamageTest : public testing::Test {
protected:
    void openBytes(const std::string &bytes)
    {
        writeFile(m_path, bytes);
        ASSERT_EQ(m_reader.open(m_path.c_str()), 0) << m_reader.errorText();
        m_sizeBytes = bytes.size();
    }
    /// Every byte is accounted for once, and the condition is that of the bytes.
    void expectSound()
    {
        unsigned long long inRecords = 0;
        unsigned long long end = 0;
        for (unsigned int i = 0; i < m_reader.count(); ++i) {
            RecordFrame frame;
            ASSERT_EQ(m_reader.frame(i, &frame), 0) << m_reader.errorText();
            ASSERT_GE(frame.info().offset, end);
            end = frame.info().offset + kTagBytes + frame.info().dataSize;
            inRecords += kTagBytes + frame.info().dataSize;
            ASSERT_EQ(std::accumulate(frame.data(), frame.data() + frame.info().dataSize, 0U) & 0U,
                      0U);
        }
        unsigned long long known = inRecords + m_reader.skippedBytes() + m_reader.trailingBytes();
        if (m_reader.hasHeader() && known < m_sizeBytes)
            known += kHeaderBytes;
        EXPECT_EQ(known, m_sizeBytes);
        const bool complete = m_reader.skippedBytes() == 0 && m_reader.trailingBytes() == 0;
        EXPECT_EQ(m_reader.condition() == NUBRIX_RECORD_COMPLETE, complete);
        EXPECT_EQ(std::string(m_reader.problem()).empty(), complete);
        EXPECT_TRUE(m_reader.condition() != NUBRIX_RECORD_CUT || m_reader.skippedBytes() == 0);
    }
    /// Opens the file cut to `sizeBytes` and expects the records that end within it.
    void expectWholeBefore(const Records &sent, std::size_t sizeBytes)
    {
        std::filesystem::resize_file(m_path, sizeBytes);
        ASSERT_EQ(m_reader.open(m_path.c_str()), 0) << m_reader.errorText();
        unsigned int whole = 0;
        std::size_t end = 0;
        while (whole < sent.size() && end + kTagBytes + sent[whole].pixels.size() <= sizeBytes)
            end += kTagBytes + sent[whole++].pixels.size();
        ASSERT_EQ(m_reader.count(), whole);
        for (unsigned int i = 0; i < whole; ++i)
            ASSERT_TRUE(readBack(m_reader, i) == sent[i]) << "record " << i;
        ASSERT_EQ(m_reader.trailingBytes(), sizeBytes - end);
        ASSERT_EQ(m_reader.skippedBytes(), 0U);
        ASSERT_EQ(m_reader.condition(),
                  sizeBytes == end ? NUBRIX_RECORD_COMPLETE : NUBRIX_RECORD_CUT);
        const std::string at = "byte " + std::to_string(end) + ": ";
        const std::size_t left = sizeBytes - end;
        std::string problem;
        if (left != 0 && left < kTagBytes)
            problem = at + "a tag of 26 bytes is cut after " + std::to_string(left);
        else if (left != 0)
            problem = at + "a record of " + std::to_string(kTagBytes + sent[whole].pixels.size()) +
                      " bytes is cut after " + std::to_string(left);
        ASSERT_EQ(m_reader.problem(), problem);
    }

    TemporaryFolder m_folder;
    const std::string m_path = m_folder.file("rec.bin");
    std::size_t m_sizeBytes = 0;
    RecordReader m_reader;
};

TEST_F(RecordReaderDamageTest, ACutAtAnyByteLeavesTheCompleteRecordsBeforeIt)
{
    const Records sent = someRecords(8);
    const std::string bytes = bytesOf(sent);
    writeFile(m_path, bytes);
    for (std::size_t size = bytes.size(); size != static_cast<std::size_t>(-1); --size) {
        SCOPED_TRACE("cut to " + std::to_string(size));
        ASSERT_NO_FATAL_FAILURE(expectWholeBefore(sent, size));
    }
}

TEST_F(RecordReaderDamageTest, AThousandCutsAnywhereLeaveTheCompleteRecordsBeforeThem)
{
    const Records sent = someRecords(90, 20000);
    const std::string bytes = bytesOf(sent);
    writeFile(m_path, bytes);
    std::mt19937 random(20240501);
    std::vector<std::size_t> sizes(1000);
    for (std::size_t &size : sizes)
        size = random() % bytes.size();
    std::sort(sizes.rbegin(), sizes.rend());  // each cut shortens the same file
    for (const std::size_t size : sizes) {
        SCOPED_TRACE("cut to " + std::to_string(size));
        ASSERT_NO_FATAL_FAILURE(expectWholeBefore(sent, size));
    }
}

TEST_F(RecordReaderDamageTest, ALyingLengthNeverPassesAsARecord)
{
    const Records sent = someRecords(5);
    const std::string bytes = bytesOf(sent);
    std::size_t before = 0;
    std::size_t offset = 0;
    for (std::size_t liar = 0; liar < sent.size(); ++liar) {
        const auto size = static_cast<unsigned int>(sent[liar].pixels.size());
        for (const unsigned int lie :
             {0U, 1U, size - 1, size + 1, size + 27, 1000000U, static_cast<unsigned int>(INT_MAX),
              INT_MAX + 1U, UINT_MAX}) {
            SCOPED_TRACE("record " + std::to_string(liar) + " of " + std::to_string(lie));
            std::string lying = bytes;
            lying.replace(offset, kTagBytes, tagOf(sent[liar], lie));
            ASSERT_NO_FATAL_FAILURE(openBytes(lying));
            expectSound();
            // A tag that is unsound by itself takes the end of the record before it along.
            const bool unsound = lie == 0 || lie > INT_MAX;
            const std::size_t first = unsound && liar > 0 ? liar - 1 : liar;
            Records expected = sent;
            expected.erase(expected.begin() + static_cast<std::ptrdiff_t>(first),
                           expected.begin() + static_cast<std::ptrdiff_t>(liar) + 1);
            EXPECT_EQ(readBack(m_reader), expected);
            EXPECT_THAT(m_reader.problem(),
                        testing::StartsWith("byte " +
                                            std::to_string(first < liar ? before : offset) + ": "));
            EXPECT_NE(m_reader.condition(), NUBRIX_RECORD_COMPLETE);
        }
        before = offset;
        offset += kTagBytes + size;
    }
}

TEST_F(RecordReaderDamageTest, ALengthThatSpansRecordsIsNotBelievedWhenItLeadsAstray)
{
    const Records sent = someRecords(6, 100);
    std::string bytes = bytesOf(sent);
    bytes.replace(0, kTagBytes, tagOf(sent[0], 300));
    openBytes(bytes);
    EXPECT_EQ(readBack(m_reader), Records(sent.begin() + 1, sent.end()));
    EXPECT_EQ(m_reader.condition(), NUBRIX_RECORD_DAMAGED);
    EXPECT_STREQ(m_reader.problem(), "byte 0: a record of 326 bytes is not followed by another");
    EXPECT_EQ(m_reader.skippedBytes(), 126U);
    EXPECT_EQ(m_reader.trailingBytes(), 0U);
}

TEST_F(RecordReaderDamageTest, APieceOfARecordBetweenCompleteOnesIsSkipped)
{
    const Records sent = someRecords(6);
    const std::string piece = bytesOf(sent[2]);
    const Records expected = {sent[0], sent[1], sent[3], sent[4], sent[5]};
    const std::string before = bytesOf({sent[0], sent[1]});
    for (std::size_t length = 1; length < piece.size(); ++length) {
        SCOPED_TRACE(length);
        ASSERT_NO_FATAL_FAILURE(
            openBytes(before + piece.substr(0, length) + bytesOf({sent[3], sent[4], sent[5]})));
        expectSound();
        EXPECT_EQ(readBack(m_reader), expected);
        EXPECT_EQ(m_reader.skippedBytes(), length);
        EXPECT_EQ(m_reader.trailingBytes(), 0U);
        EXPECT_EQ(m_reader.condition(), NUBRIX_RECORD_DAMAGED);
    }
}

TEST_F(RecordReaderDamageTest, PiecesBetweenCompleteRecordsAreSkipped)
{
    const Records sent = someRecords(9);
    std::string bytes;
    Records expected;
    for (std::size_t i = 0; i < sent.size(); ++i) {
        bytes += bytesOf(sent[i]).substr(0, i % 2 == 0 ? 30 + i : std::string::npos);
        if (i % 2 != 0)
            expected.push_back(sent[i]);
    }
    openBytes(bytes);
    expectSound();
    EXPECT_EQ(readBack(m_reader), expected);
}

TEST_F(RecordReaderDamageTest, WhatFollowsTheLastRecordIsCounted)
{
    const Records sent = someRecords(3);
    for (const std::size_t zeros : {1U, 25U, 26U, 5000U}) {
        openBytes(bytesOf(sent) + std::string(zeros, '\0'));
        // The last record is left out: zeros may be the end of its pixels that never came.
        EXPECT_EQ(m_reader.condition(), NUBRIX_RECORD_DAMAGED);
        EXPECT_EQ(readBack(m_reader), Records(sent.begin(), sent.end() - 1));
        EXPECT_EQ(m_reader.trailingBytes(), bytesOf(sent[2]).size() + zeros);
        expectSound();
    }
}

TEST_F(RecordReaderDamageTest, SaysWhatIsWrongWithATag)
{
    SentRecord record = someRecords(1)[0];
    openBytes("no recording at all, but a text of some length");
    EXPECT_STREQ(m_reader.problem(), "byte 0: no record: there is no stream type 28526");
    openBytes(tagOf(record, 0) + "pixels");
    EXPECT_STREQ(m_reader.problem(), "byte 0: no record: a frame has no pixels");
    openBytes(tagOf(record, 0x80000000U) + "pixels");
    EXPECT_STREQ(m_reader.problem(), "byte 0: no record: a frame has 2147483648 bytes");
    record.width = 65536;
    openBytes(bytesOf(record));
    EXPECT_STREQ(m_reader.problem(), "byte 0: no record: a frame has 65536 x 400 pixels");
    record.width = 1;
    record.height = UINT_MAX;
    openBytes(bytesOf(record));
    EXPECT_STREQ(m_reader.problem(), "byte 0: no record: a frame has 1 x 4294967295 pixels");
    record = someRecords(1)[0];
    for (const unsigned int type : {0U, 64U, 256U, 65535U}) {
        record.streamType = type;
        openBytes(bytesOf(record));
        EXPECT_EQ(m_reader.problem(),
                  "byte 0: no record: there is no stream type " + std::to_string(type));
        EXPECT_EQ(m_reader.condition(), NUBRIX_RECORD_DAMAGED);
    }
    record.streamType = 63;
    openBytes(bytesOf(record));
    EXPECT_EQ(m_reader.count(63), 1U);
}

TEST_F(RecordReaderDamageTest, AHeaderBeforeTheRecordsIsPassedOver)
{
    const Records sent = someRecords(4);
    const std::string header = headerOf({1, 12, 0, 30, 640, 480}, {2, 70000, 1, -1, 640, 400});
    openBytes(header + bytesOf(sent));
    EXPECT_TRUE(m_reader.hasHeader());
    EXPECT_EQ(m_reader.condition(), NUBRIX_RECORD_COMPLETE);
    EXPECT_EQ(readBack(m_reader), sent);
    expectSound();

    openBytes(header + bytesOf(sent[0]).substr(0, 20));
    EXPECT_TRUE(m_reader.hasHeader());
    EXPECT_EQ(m_reader.condition(), NUBRIX_RECORD_CUT);
    EXPECT_STREQ(m_reader.problem(), "byte 70: a tag of 26 bytes is cut after 20");
    EXPECT_EQ(m_reader.trailingBytes(), 20U);

    openBytes(header);
    EXPECT_TRUE(m_reader.hasHeader());
    EXPECT_EQ(m_reader.condition(), NUBRIX_RECORD_COMPLETE);
    EXPECT_EQ(m_reader.count(), 0U);
}

TEST_F(RecordReaderDamageTest, AHeaderOverTheFirstRecordsCostsThese)
{
    const HeaderSlot colour = {1, 3, 0, 30, 640, 480};
    const HeaderSlot depth = {2, 3, 1, 30, 640, 400};
    for (const std::string &header :
         {headerOf(colour, depth), headerOf(colour, {}), headerOf({}, depth)}) {
        for (const std::size_t size : {30U, 43U, 44U, 45U, 300U}) {
            SCOPED_TRACE(size);
            const Records sent = someRecords(8, size);
            std::string bytes = bytesOf(sent);
            bytes.replace(0, kHeaderBytes, header);
            ASSERT_NO_FATAL_FAILURE(openBytes(bytes));
            expectSound();
            // The first record is always hit, the second when the first is shorter than a header.
            const std::size_t lost = kTagBytes + size < kHeaderBytes ? 2 : 1;
            EXPECT_TRUE(m_reader.hasHeader());
            EXPECT_EQ(readBack(m_reader),
                      Records(sent.begin() + static_cast<std::ptrdiff_t>(lost), sent.end()));
            if (kTagBytes + size == kHeaderBytes)
                continue;  // as good as a header before the records
            EXPECT_EQ(m_reader.condition(), NUBRIX_RECORD_DAMAGED);
            EXPECT_STREQ(m_reader.problem(),
                         "byte 0: a header of 70 bytes lies over the first records");
        }
    }
}

TEST_F(RecordReaderDamageTest, WhatOnlyResemblesAHeaderIsNone)
{
    const HeaderSlot colour = {1, 3, 0, 30, 640, 480};
    const HeaderSlot depth = {2, 3, 1, 30, 640, 400};
    std::vector<std::string> heads = {std::string(kHeaderBytes, '\0'),
                                      headerOf({2, 3, 0, 30, 640, 480}, {}),
                                      headerOf({}, {1, 3, 1, 30, 640, 1}),
                                      headerOf({}, {2, 3, 1, 30, 0, 400}),
                                      headerOf(colour, {0, 0, 0, 0, 640, 0}),
                                      headerOf(colour, depth).substr(0, kHeaderBytes - 1)};
    heads.push_back(headerOf(colour, depth));
    heads.back()[kHeaderBytes - 1] = 1;
    for (const std::string &head : heads) {
        openBytes(head);
        EXPECT_FALSE(m_reader.hasHeader());
        EXPECT_EQ(m_reader.condition(), NUBRIX_RECORD_DAMAGED);
        EXPECT_EQ(m_reader.trailingBytes(), head.size());
        expectSound();
    }
}

TEST_F(RecordReaderDamageTest, RandomBytesEndInACleanError)
{
    std::mt19937 random(7);
    for (int round = 0; round < 300; ++round) {
        std::string bytes(random() % 3000 + 1, '\0');
        for (char &each : bytes)
            each = static_cast<char>(random() % (round % 2 == 0 ? 256 : 3));
        openBytes(bytes);
        EXPECT_NE(m_reader.condition(), NUBRIX_RECORD_COMPLETE);
        EXPECT_THAT(m_reader.problem(), testing::StartsWith("byte 0: "));
        expectSound();
    }
}

TEST_F(RecordReaderDamageTest, WhateverBytesAreChangedEveryByteIsAccountedFor)
{
    const Records sent = someRecords(12);
    const std::string bytes = bytesOf(sent);
    std::mt19937 random(11);
    for (int round = 0; round < 500; ++round) {
        SCOPED_TRACE(round);
        std::string changed = bytes;
        for (unsigned long left = random() % 4 + 1; left > 0; --left)
            changed[random() % changed.size()] = static_cast<char>(random() % 5);
        ASSERT_NO_FATAL_FAILURE(openBytes(changed));
        expectSound();
        EXPECT_GE(m_reader.count(), sent.size() - 8);
    }
}

// A file of 5 GiB that takes up a few kilobytes: all but the tags and two frames are holes.
class SparseFile {
public:
    explicit SparseFile(const std::string &path)
        : m_descriptor(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600))
    {
    }
    ~SparseFile() { close(m_descriptor); }
    SparseFile(const SparseFile &) = delete;
    SparseFile &operator=(const SparseFile &) = delete;

    bool add(const SentRecord &record, unsigned int dataSize)
    {
        const std::string bytes = tagOf(record, dataSize) + record.pixels;
        const off_t at = m_end;
        m_end += static_cast<off_t>(kTagBytes) + static_cast<off_t>(dataSize);
        return pwrite(m_descriptor, bytes.data(), bytes.size(), at) ==
                   static_cast<ssize_t>(bytes.size()) &&
               ftruncate(m_descriptor, m_end) == 0;
    }
    unsigned long long sizeBytes() const { return static_cast<unsigned long long>(m_end); }

private:
    const int m_descriptor;
    off_t m_end = 0;
};

// Whether the system maps the bytes that it reads at a place. Emulators of 32-bit machines may cut
// the offset of a mapping to 32 bits.
bool mapsWhatItReads(const std::string &path, unsigned long long offset)
{
    const auto page = static_cast<unsigned long long>(sysconf(_SC_PAGESIZE));
    const int file = ::open(path.c_str(), O_RDONLY);
    void *const mapped = mmap(nullptr, static_cast<std::size_t>(2 * page), PROT_READ, MAP_SHARED,
                              file, static_cast<off_t>(offset - offset % page));
    char read[kTagBytes] = {};
    const bool same =
        mapped != MAP_FAILED &&
        pread(file, read, sizeof(read), static_cast<off_t>(offset)) == ssize_t{sizeof(read)} &&
        std::memcmp(static_cast<char *>(mapped) + offset % page, read, sizeof(read)) == 0;
    munmap(mapped, static_cast<std::size_t>(2 * page));
    ::close(file);
    return same;
}

TEST_F(RecordReaderDamageTest, FilesPastFourGigabytesAreReadToTheirEnd)
{
    const Records sent = someRecords(5);
    {
        SparseFile file(m_path);
        for (unsigned int i = 0; i < 3; ++i)
            ASSERT_TRUE(file.add(sent[i], i == 0 ? static_cast<unsigned int>(sent[0].pixels.size())
                                                 : static_cast<unsigned int>(INT_MAX)));
        for (unsigned int i = 3; i < 5; ++i)
            ASSERT_TRUE(file.add(sent[i], static_cast<unsigned int>(sent[i].pixels.size())));
        ASSERT_GT(file.sizeBytes(), 4ULL << 30);
    }
    ASSERT_EQ(m_reader.open(m_path.c_str()), 0) << m_reader.errorText();
    ASSERT_EQ(m_reader.count(), 5U);
    EXPECT_EQ(m_reader.condition(), NUBRIX_RECORD_COMPLETE);
    EXPECT_EQ(readBack(m_reader, 0), sent[0]);
    RecordInfo info = {};
    ASSERT_EQ(m_reader.info(4, &info), 0);
    EXPECT_GT(info.offset, 4ULL << 30);
    EXPECT_EQ(info.timestampUs, sent[4].timestampUs);
    const bool maps = mapsWhatItReads(m_path, info.offset);
    if (maps) {
        EXPECT_EQ(readBack(m_reader, 3), sent[3]);
        EXPECT_EQ(readBack(m_reader, 4), sent[4]);
    }

    std::filesystem::resize_file(m_path, std::filesystem::file_size(m_path) - 1);
    ASSERT_EQ(m_reader.open(m_path.c_str()), 0);
    EXPECT_EQ(m_reader.count(), 4U);
    EXPECT_EQ(m_reader.trailingBytes(), bytesOf(sent[4]).size() - 1);
    if (!maps)
        GTEST_SKIP() << "this emulator maps the wrong place past 4 GiB: pixels were not compared";
}

// Leaves 256 MiB of address space to map into. (Under emulation the limit is not kept, but there
// the address space itself is too small for two frames of 2 GiB.)
class LittleAddressSpace {
public:
    LittleAddressSpace()
    {
        getrlimit(RLIMIT_AS, &m_before);
        long pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        rlimit little = m_before;
        little.rlim_cur = static_cast<rlim_t>(pages * sysconf(_SC_PAGESIZE)) + (256U << 20);
        setrlimit(RLIMIT_AS, &little);
    }
    ~LittleAddressSpace() { setrlimit(RLIMIT_AS, &m_before); }
    LittleAddressSpace(const LittleAddressSpace &) = delete;
    LittleAddressSpace &operator=(const LittleAddressSpace &) = delete;

private:
    rlimit m_before = {};
};

TEST_F(RecordReaderDamageTest, AFrameThatDoesNotFitInMemoryIsRefusedAndTheOthersAreRead)
{
    const Records sent = someRecords(2);
    {
        SparseFile file(m_path);
        ASSERT_TRUE(file.add(sent[0], INT_MAX));
        ASSERT_TRUE(file.add(sent[1], static_cast<unsigned int>(sent[1].pixels.size())));
    }
    ASSERT_EQ(m_reader.open(m_path.c_str()), 0);
    const LittleAddressSpace little;
    RecordFrame first;
    RecordFrame second;
    RecordReader other;
    ASSERT_EQ(other.open(m_path.c_str()), 0);
    RecordReader &refusing = other.frame(0, &first) == 0 ? m_reader : other;
    EXPECT_EQ(refusing.frame(0, &second), -1);
    EXPECT_STREQ(refusing.errorText(), "byte 0: cannot map: Cannot allocate memory");
    EXPECT_EQ(readBack(m_reader, 1), sent[1]);
}

}  // namespace
}  // namespace nubrix
