// Files beyond 4 GiB, full disks, and many threads.
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <fstream>
#include <functional>
#include <iterator>
#include <thread>
#include <vector>

#include "tests/base/FileFixture.h"

namespace nubrix {
namespace {

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

}  // namespace
}  // namespace nubrix
