#include "base/FileImpl.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "base/FileWrapper.h"
#include "tests/TemporaryFolder.h"

namespace nubrix {
namespace {

class FileImplTest : public testing::Test {
protected:
    void openForWriting() { ASSERT_EQ(m_file->openFile(m_path.c_str(), false, false, false), 0); }
    void openForReading(const std::string &content, bool wrapRead = false)
    {
        writeFile(m_path, content);
        ASSERT_EQ(m_file->openFile(m_path.c_str(), true, wrapRead, false), 0);
    }
    int write(const std::string &text)
    {
        return m_file->write(text.data(), static_cast<int>(text.size()));
    }
    int writeHead(const std::string &text)
    {
        return m_file->writetohead(text.data(), static_cast<int>(text.size()));
    }
    std::string read(int sizeBytes)
    {
        std::string text(static_cast<std::size_t>(sizeBytes), '?');
        const int done = m_file->read(text.data(), sizeBytes);
        EXPECT_GE(done, 0);
        text.resize(static_cast<std::size_t>(done < 0 ? 0 : done));
        return text;
    }
    std::string closeAndRead()
    {
        m_file->closeFile();
        return readFile(m_path);
    }

    TemporaryFolder m_folder;
    const std::string m_path = m_folder.file("file");
    std::unique_ptr<FileWrapper> m_file{FileWrapper::create()};
};

TEST_F(FileImplTest, CreateGivesAClosedFile)
{
    EXPECT_NE(dynamic_cast<FileImpl *>(m_file.get()), nullptr);
    EXPECT_FALSE(m_file->open());
    EXPECT_EQ(m_file->getFileName(), "");
}

TEST_F(FileImplTest, EveryOperationOnAClosedFileFails)
{
    char buffer[4] = {};
    EXPECT_EQ(m_file->flush(), -5);
    EXPECT_EQ(m_file->rewind(), -13);
    EXPECT_EQ(m_file->fileSize(), -1);
    EXPECT_EQ(m_file->writeText("%d", 1), -1);
    EXPECT_EQ(m_file->read(buffer, 4), -1);
    EXPECT_EQ(m_file->write(buffer, 4), -1);
    EXPECT_EQ(m_file->writetohead(buffer, 4), -1);
    m_file->closeFile();
    EXPECT_FALSE(m_file->open());
}

TEST_F(FileImplTest, AMissingFileCannotBeReadAndItsNameIsKept)
{
    EXPECT_EQ(m_file->openFile(m_path.c_str(), true, false, false), -1);
    EXPECT_FALSE(m_file->open());
    EXPECT_EQ(m_file->getFileName(), m_path);
    EXPECT_EQ(m_file->openFile(nullptr, true, false, false), -1);
    EXPECT_EQ(m_file->openFile((m_path + "/below").c_str(), false, false, false), -1);
}

TEST_F(FileImplTest, OpeningForWritingEmptiesTheFile)
{
    writeFile(m_path, "old");
    openForWriting();
    EXPECT_TRUE(m_file->open());
    EXPECT_EQ(readFile(m_path), "");
    EXPECT_EQ(m_file->fileSize(), 0);
}

TEST_F(FileImplTest, OpeningAnOpenFileKeepsTheFirst)
{
    openForWriting();
    const std::string other = m_folder.file("other");
    EXPECT_EQ(m_file->openFile(other.c_str(), false, true, true), 0);
    EXPECT_EQ(m_file->getFileName(), m_path);
    EXPECT_EQ(write("first"), 5);
    EXPECT_EQ(closeAndRead(), "first");
    EXPECT_FALSE(std::filesystem::exists(other));
}

TEST_F(FileImplTest, TheNameIsCutToTheBuffer)
{
    openForWriting();
    std::string buffer(m_path.size() + 10, '#');
    EXPECT_EQ(m_file->fileName(buffer.data(), static_cast<unsigned int>(buffer.size())),
              static_cast<int>(m_path.size()) + 1);
    EXPECT_STREQ(buffer.c_str(), m_path.c_str());

    buffer.assign(buffer.size(), '#');
    EXPECT_EQ(m_file->fileName(buffer.data(), 5), 5);
    EXPECT_EQ(buffer.substr(0, 6), m_path.substr(0, 4) + std::string("\0#", 2));
    EXPECT_EQ(m_file->fileName(buffer.data(), 1), 1);
    EXPECT_EQ(buffer[0], '\0');
    buffer[0] = '#';
    EXPECT_EQ(m_file->fileName(buffer.data(), 0), 0);
    EXPECT_EQ(buffer[0], '#');
    EXPECT_EQ(m_file->fileName(nullptr, 5), 0);
}

TEST_F(FileImplTest, ReadsContinueWhereTheLastOneEnded)
{
    openForReading("abcdefg");
    EXPECT_EQ(read(3), "abc");
    EXPECT_EQ(read(0), "");
    EXPECT_EQ(read(3), "def");
    EXPECT_EQ(read(3), "g");
    EXPECT_EQ(read(3), "");
}

TEST_F(FileImplTest, ReadingRefusesANullBufferAndANegativeSize)
{
    openForReading("abc");
    char buffer[4] = {};
    EXPECT_EQ(m_file->read(nullptr, 3), -1);
    EXPECT_EQ(m_file->read(buffer, -1), -1);
    EXPECT_EQ(read(3), "abc");
}

TEST_F(FileImplTest, WritingRefusesANullBufferAndANegativeSize)
{
    openForWriting();
    EXPECT_EQ(m_file->write(nullptr, 3), -1);
    EXPECT_EQ(m_file->write("abc", -1), -1);
    EXPECT_EQ(m_file->writetohead(nullptr, 3), -1);
    EXPECT_EQ(m_file->writetohead("abc", -1), -1);
    EXPECT_EQ(closeAndRead(), "");
}

TEST_F(FileImplTest, RewindStartsReadingOver)
{
    openForReading("abcdef");
    EXPECT_EQ(read(4), "abcd");
    EXPECT_EQ(m_file->rewind(), 0);
    EXPECT_EQ(read(2), "ab");
}

TEST_F(FileImplTest, RewindKeepsTheWritePosition)
{
    openForWriting();
    EXPECT_EQ(write("abc"), 3);
    EXPECT_EQ(m_file->rewind(), 0);
    EXPECT_EQ(write("def"), 3);
    EXPECT_EQ(closeAndRead(), "abcdef");
}

TEST_F(FileImplTest, WithTheWrapFlagReadingStartsOverAtTheEnd)
{
    openForReading("abcdef", true);
    EXPECT_EQ(read(4), "abcd");
    EXPECT_EQ(read(4), "ef");
    EXPECT_EQ(read(4), "abcd");
}

TEST_F(FileImplTest, TheWrapPointIsTheSizeAtOpening)
{
    openForReading("abc", true);
    EXPECT_EQ(read(2), "ab");
    std::ofstream(m_path, std::ios::app) << "def";
    EXPECT_EQ(read(4), "cdef");
    EXPECT_EQ(read(4), "");
}

TEST_F(FileImplTest, WhatIsAppendedAfterTheEndWasReachedIsRead)
{
    openForReading("abc");
    EXPECT_EQ(read(9), "abc");
    EXPECT_EQ(read(9), "");
    std::ofstream(m_path, std::ios::app) << "def";
    EXPECT_EQ(read(9), "def");
}

TEST_F(FileImplTest, TheSizeIsAskedForWithoutMovingThePositions)
{
    openForReading("abcdef");
    EXPECT_EQ(read(2), "ab");
    EXPECT_EQ(m_file->fileSize(), 6);
    EXPECT_EQ(read(2), "cd");
}

TEST_F(FileImplTest, TheSizeCountsWhatIsStillBuffered)
{
    openForWriting();
    EXPECT_EQ(write("abc"), 3);
    EXPECT_EQ(m_file->fileSize(), 3);
    EXPECT_EQ(write("de"), 2);
    EXPECT_EQ(m_file->fileSize(), 5);
    EXPECT_EQ(closeAndRead(), "abcde");
}

TEST_F(FileImplTest, FlushHandsTheDataToTheSystem)
{
    openForWriting();
    EXPECT_EQ(write("abc"), 3);
    EXPECT_EQ(m_file->flush(), 0);
    EXPECT_EQ(readFile(m_path), "abc");
}

TEST_F(FileImplTest, ALimitCutsTheWriteThatReachesIt)
{
    openForWriting();
    m_file->setMaxFileSize(100);
    EXPECT_EQ(write(std::string(60, 'a')), 60);
    EXPECT_EQ(write(std::string(60, 'b')), 40);
    EXPECT_EQ(write("c"), 0);
    EXPECT_EQ(closeAndRead(), std::string(60, 'a') + std::string(40, 'b'));
}

TEST_F(FileImplTest, OnlyBytesWrittenUnderALimitCount)
{
    openForWriting();
    EXPECT_EQ(write("12345"), 5);
    m_file->setMaxFileSize(3);
    EXPECT_EQ(write("abcde"), 3);
    m_file->setMaxFileSize(0);
    EXPECT_EQ(write("67890"), 5);
    m_file->setMaxFileSize(4);
    EXPECT_EQ(write("xyz"), 1);
    EXPECT_EQ(closeAndRead(), "12345abc67890x");
}

TEST_F(FileImplTest, ALimitBelowWhatWasWrittenMeansFull)
{
    openForWriting();
    m_file->setMaxFileSize(10);
    EXPECT_EQ(write("abcdef"), 6);
    m_file->setMaxFileSize(4);
    EXPECT_EQ(write("g"), 0);
    EXPECT_EQ(closeAndRead(), "abcdef");
}

TEST_F(FileImplTest, TextIsPrintedWhateverTheLimit)
{
    openForWriting();
    m_file->setMaxFileSize(4);
    EXPECT_EQ(write("abcdef"), 4);
    EXPECT_EQ(m_file->writeText("%s=%d\n", "key", 7), 10);
    EXPECT_EQ(write("g"), 0);
    m_file->setMaxFileSize(0);
    EXPECT_EQ(write("h"), 1);
    EXPECT_EQ(closeAndRead(), "abcdkey=7\nh");
}

TEST_F(FileImplTest, TextThatCannotBePrintedMovesNothing)
{
    openForWriting();
    const wchar_t noCharacter[] = {static_cast<wchar_t>(0x7fffffff), 0};
    EXPECT_EQ(m_file->writeText("begun %ls", noCharacter), 0);
    EXPECT_EQ(write("WRITTEN"), 7);
    EXPECT_EQ(closeAndRead(), "WRITTEN");
}

TEST_F(FileImplTest, TheHeadIsRewrittenWithoutMovingTheWritePosition)
{
    openForWriting();
    EXPECT_EQ(write(std::string(1000, 'd')), 1000);
    EXPECT_EQ(writeHead(std::string(70, 'h')), 70);
    EXPECT_EQ(write("tail"), 4);
    EXPECT_EQ(closeAndRead(), std::string(70, 'h') + std::string(930, 'd') + "tail");
}

TEST_F(FileImplTest, AHeadBeforeOtherDataIsInTheFileAtOnce)
{
    openForWriting();
    EXPECT_EQ(write("0123456789"), 10);
    EXPECT_EQ(writeHead("HEAD"), 4);
    EXPECT_EQ(readFile(m_path), "HEAD456789") << "the write position was returned to";
}

TEST_F(FileImplTest, AHeadLongerThanTheFileMovesTheWritePosition)
{
    openForWriting();
    EXPECT_EQ(write("ab"), 2);
    EXPECT_EQ(writeHead("HEAD"), 4);
    EXPECT_EQ(write("tail"), 4);
    EXPECT_EQ(closeAndRead(), "HEADtail");
}

TEST_F(FileImplTest, TheHeadIgnoresTheLimit)
{
    openForWriting();
    m_file->setMaxFileSize(2);
    EXPECT_EQ(write("abc"), 2);
    EXPECT_EQ(writeHead("HEAD"), 4);
    EXPECT_EQ(closeAndRead(), "HEAD");
}

TEST_F(FileImplTest, AFileOpenedForWritingGivesNothingToRead)
{
    openForWriting();
    EXPECT_EQ(write("abc"), 3);
    EXPECT_EQ(read(3), "");
    EXPECT_EQ(write("def"), 3);
    EXPECT_EQ(closeAndRead(), "abcdef");
}

TEST_F(FileImplTest, AFileOpenedForReadingTakesNothing)
{
    openForReading("abc");
    EXPECT_EQ(read(1), "a");
    EXPECT_EQ(write("X"), 0);
    EXPECT_EQ(writeHead("X"), 0);
    EXPECT_EQ(read(2), "bc");
    EXPECT_EQ(closeAndRead(), "abc");
}

TEST_F(FileImplTest, PositionsOutliveClosing)
{
    openForReading("abcdef");
    EXPECT_EQ(read(4), "abcd");
    m_file->closeFile();
    EXPECT_FALSE(m_file->open());
    EXPECT_EQ(m_file->getFileName(), m_path);
    openForReading("ABCDEF");
    EXPECT_EQ(read(4), "EF");
}

TEST_F(FileImplTest, DestructionClosesTheFile)
{
    openForWriting();
    EXPECT_EQ(write("abc"), 3);
    m_file.reset();
    EXPECT_EQ(readFile(m_path), "abc");
}

// Positions outlive closing: a device without an end brings them as far as wanted in no time, and
// the file that is opened next has a hole up to there.
constexpr std::int64_t kPastFourGigabytes = (4LL << 30) + 12345;

void transferPastFourGigabytes(const std::function<int(int)> &transfer)
{
    constexpr std::int64_t kBlock = 1 << 20;
    for (std::int64_t left = kPastFourGigabytes; left > 0; left -= kBlock) {
        const int wanted = static_cast<int>(std::min(left, kBlock));
        ASSERT_EQ(transfer(wanted), wanted) << left;
    }
}

TEST_F(FileImplTest, WritePositionsPassFourGigabytes)
{
    ASSERT_EQ(m_file->openFile("/dev/null", false, false, false), 0);
    const std::string block(1 << 20, 'x');
    transferPastFourGigabytes([&](int size) { return m_file->write(block.data(), size); });
    EXPECT_EQ(m_file->writeText("%s", "yz"), kPastFourGigabytes + 2);
    m_file->closeFile();

    openForWriting();
    EXPECT_EQ(write("abc"), 3);
    EXPECT_EQ(writeHead("HEAD"), 4);
    EXPECT_EQ(m_file->writeText("%s", "de"), kPastFourGigabytes + 7);
    EXPECT_EQ(m_file->fileSize(), kPastFourGigabytes + 7);
    m_file->closeFile();

    std::ifstream file(m_path, std::ios::binary);
    std::string head(5, '?');
    file.read(head.data(), 5);
    EXPECT_EQ(head, std::string("HEAD\0", 5));
    file.seekg(kPastFourGigabytes + 1);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), std::string("\0abcde", 6));
}

TEST_F(FileImplTest, ReadPositionsPassFourGigabytes)
{
    ASSERT_EQ(m_file->openFile("/dev/zero", true, false, false), 0);
    std::string block(1 << 20, '?');
    transferPastFourGigabytes([&](int size) { return m_file->read(block.data(), size); });
    m_file->closeFile();

    writeFile(m_path, "start");
    ASSERT_EQ(truncate64(m_path.c_str(), kPastFourGigabytes), 0);
    std::ofstream(m_path, std::ios::app) << "abcdef";
    ASSERT_EQ(m_file->openFile(m_path.c_str(), true, true, false), 0);
    EXPECT_EQ(m_file->fileSize(), kPastFourGigabytes + 6);
    EXPECT_EQ(read(2), "ab");
    EXPECT_EQ(read(9), "cdef");
    EXPECT_EQ(read(5), "start") << "the end lies past four gigabytes, too";
    EXPECT_EQ(m_file->rewind(), 0);
    EXPECT_EQ(read(5), "start");
}

TEST_F(FileImplTest, AFullDiskShortensTheWriteAndIsNoCrash)
{
    ASSERT_EQ(m_file->openFile("/dev/full", false, false, false), 0);
    const std::string block(1 << 20, 'x');
    EXPECT_LT(write(block), static_cast<int>(block.size()));
    EXPECT_LT(write(block), static_cast<int>(block.size()));
    EXPECT_EQ(m_file->flush(), 0);
}

TEST_F(FileImplTest, AHeadThatAFullDiskKeepsFromItsPositionIsNotWritten)
{
    ASSERT_EQ(m_file->openFile("/dev/full", false, false, false), 0);
    EXPECT_EQ(write("buffered"), 8);
    EXPECT_EQ(writeHead("HEAD"), 0);
}

TEST_F(FileImplTest, AfterAWriteThatReachedTheFileSizeLimitTheHeadIsStillTheHead)
{
    rlimit old = {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit small = old;
    small.rlim_cur = 100000;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    openForWriting();
    EXPECT_EQ(write(std::string(99990, 'a')), 99990);
    EXPECT_LE(write(std::string(100, 'b')), 100);
    writeHead("HEAD");
    const std::string content = closeAndRead();
    setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, oldHandler);

    EXPECT_LE(content.size(), 100000U);
    EXPECT_EQ(content.find("HEAD", 1), std::string::npos);
}

TEST_F(FileImplTest, WritesOfManyThreadsDoNotMix)
{
    openForWriting();
    constexpr int kThreads = 4;
    constexpr int kWrites = 500;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([this, thread] {
            const std::string record(99, static_cast<char>('a' + thread));
            for (int i = 0; i < kWrites; ++i)
                write(record + "\n");
            m_file->fileSize();
            m_file->getFileName();
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    const std::string content = closeAndRead();
    ASSERT_EQ(content.size(), 100U * kThreads * kWrites);
    for (std::size_t at = 0; at < content.size(); at += 100) {
        ASSERT_EQ(content.substr(at, 100), std::string(99, content[at]) + "\n") << "at " << at;
    }
}

class GetFullPathNameTest : public testing::Test {
protected:
    GetFullPathNameTest() { writeFile(m_path, ""); }

    TemporaryFolder m_folder;
    const std::string m_path = std::filesystem::canonical(m_folder.path()) / "target";
};

TEST_F(GetFullPathNameTest, ResolvesLinksAndDots)
{
    const std::string link = m_folder.file("link");
    std::filesystem::create_symlink("target", link);
    char out[4097];
    EXPECT_EQ(getFullPathName(
                  m_folder.file("./../" + m_folder.path().filename().string() + "/link").c_str(),
                  out, 4096),
              0);
    EXPECT_STREQ(out, m_path.c_str());
}

TEST_F(GetFullPathNameTest, APathOfExactlyTheSizePasses)
{
    const auto length = static_cast<unsigned int>(m_path.size());
    std::string out(length + 2, '#');
    EXPECT_EQ(getFullPathName(m_path.c_str(), out.data(), length), 0);
    EXPECT_EQ(out, m_path + std::string("\0#", 2));
}

TEST_F(GetFullPathNameTest, APathLongerThanTheSizeIsRefused)
{
    std::string out(m_path.size() + 1, '#');
    const std::string before = out;
    EXPECT_EQ(
        getFullPathName(m_path.c_str(), out.data(), static_cast<unsigned int>(m_path.size() - 1)),
        -1);
    EXPECT_EQ(out, before);
}

TEST_F(GetFullPathNameTest, AMissingPathAndNullPointersAreRefused)
{
    char out[16];
    EXPECT_EQ(getFullPathName((m_path + "missing").c_str(), out, 16), -1);
    EXPECT_EQ(getFullPathName(nullptr, out, 16), -1);
    EXPECT_EQ(getFullPathName(m_path.c_str(), nullptr, 16), -1);
}

}  // namespace
}  // namespace nubrix
