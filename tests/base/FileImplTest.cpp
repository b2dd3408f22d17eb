#include "base/FileImpl.h"

#include <unistd.h>

#include <fstream>

#include "tests/base/FileFixture.h"

namespace nubrix {
namespace {

TEST_F(FileImplTest, CreateReturnsAClosedFile)
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

TEST_F(FileImplTest, AFileOpenedForWritingCannotBeRead)
{
    openForWriting();
    EXPECT_EQ(write("abc"), 3);
    EXPECT_EQ(read(3), "");
    EXPECT_EQ(write("def"), 3);
    EXPECT_EQ(closeAndRead(), "abcdef");
}

TEST_F(FileImplTest, AFileOpenedForReadingCannotBeWritten)
{
    openForReading("abc");
    EXPECT_EQ(read(1), "a");
    EXPECT_EQ(write("X"), 0);
    EXPECT_EQ(writeHead("X"), 0);
    EXPECT_EQ(read(2), "bc");
    EXPECT_EQ(closeAndRead(), "abc");
}

TEST_F(FileImplTest, PositionsSurviveClosing)
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

}  // namespace
}  // namespace nubrix
