// The checksums of a file that changes while it is read.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <string>

#include "checksum/Crc32.h"
#include "nubrix/checksum.h"
#include "tests/TemporaryFolder.h"
#include "tests/checksum/FileChecksums.h"

namespace {

// What happens behind a read; gives how much was read. Empty: nothing.
std::function<std::size_t(std::size_t)> g_afterRead;

}  // namespace

extern "C" {

std::size_t __real_fread(void *buffer, std::size_t size, std::size_t count, FILE *file);
std::size_t __wrap_fread(void *buffer, std::size_t size, std::size_t count, FILE *file);

std::size_t __wrap_fread(void *buffer, std::size_t size, std::size_t count, FILE *file)
{
    const std::size_t done = __real_fread(buffer, size, count, file);
    return g_afterRead ? g_afterRead(done) : done;
}

}  // extern "C"

namespace nubrix {

namespace {

constexpr std::size_t kBytes = 1000000;

class ChangingFileTest : public testing::Test {
protected:
    ~ChangingFileTest() override { g_afterRead = {}; }

    // Calls `change` after the first read.
    void once(const std::function<void()> &change)
    {
        m_reads = 0;
        g_afterRead = [this, change](std::size_t done) {
            if (m_reads++ == 0)
                change();
            return done;
        };
    }
    unsigned int crc() const { return crcOfFile(m_path); }
    std::string md5() const { return md5OfFile(m_path); }
    static unsigned int crcOf(const std::string &bytes)
    {
        return crc32Plain(0xffffffff, reinterpret_cast<const unsigned char *>(bytes.data()),
                          bytes.size());
    }
    static std::string md5Of(const std::string &bytes)
    {
        std::string text;
        MD5String(bytes, 32, text);
        return text;
    }

    TemporaryFolder m_folder;
    const std::string m_content = std::string(kBytes, 'a');
    const std::string m_path = m_folder.file("file", m_content);
    int m_reads = 0;
};

TEST_F(ChangingFileTest, OneThatShrinksHasTheChecksumsOfWhatCouldBeRead)
{
    constexpr off_t kLeft = 400000;
    const auto shrink = [&] { ASSERT_EQ(truncate(m_path.c_str(), kLeft), 0); };
    once(shrink);
    EXPECT_EQ(crc(), crcOf(std::string(kLeft, 'a')));
    writeFile(m_path, m_content);
    once(shrink);
    EXPECT_EQ(md5(), md5Of(std::string(kLeft, 'a')));
}

TEST_F(ChangingFileTest, OneThatGrowsHasTheCrcOfItsOldSizeAndTheMd5OfAll)
{
    const auto grow = [&] { std::ofstream(m_path, std::ios::app) << "more"; };
    once(grow);
    EXPECT_EQ(crc(), crcOf(m_content));
    writeFile(m_path, m_content);
    once(grow);
    EXPECT_EQ(md5(), md5Of(m_content + "more"));
}

TEST_F(ChangingFileTest, OneThatFailsToBeReadHasTheChecksumsOfNothing)
{
    g_afterRead = [](std::size_t) { return std::size_t{0}; };
    EXPECT_EQ(crc(), 0xffffffffU);
    EXPECT_EQ(md5(), md5Of(""));
}

}  // namespace

}  // namespace nubrix
