// The checksums of a file of 5 GiB, which fits neither into memory nor into 32 bits.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <string>

#include "nubrix/checksum.h"
#include "tests/TemporaryFolder.h"
#include "tests/checksum/FileChecksums.h"

namespace nubrix {

namespace {

constexpr off_t kMebibyte = 1024 * 1024;
constexpr off_t kSize = 5120 * kMebibyte;

// In memory the system need not make a page for each that is read and was never written.
std::filesystem::path quickPlace()
{
    const char *const memory = "/dev/shm";
    return access(memory, W_OK) == 0 ? memory : std::filesystem::temp_directory_path();
}

class HugeFileTest : public testing::Test {
protected:
    // Zeros up to `size` that take no disk space, with the digits 1 to 9 at the end.
    void makeFile(off_t size) const
    {
        const std::string digits = "123456789";
        writeFile(m_path, "");
        ASSERT_EQ(truncate(m_path.c_str(), size - static_cast<off_t>(digits.size())), 0);
        std::ofstream(m_path, std::ios::binary | std::ios::app) << digits;
        ASSERT_EQ(std::filesystem::file_size(m_path), static_cast<std::uintmax_t>(size));
    }
    // Whether `job` would be done with the file in time: an emulator may take an hour.
    template <class Job>
    bool isFastEnough(Job job) const
    {
        constexpr off_t kSample = 32 * kMebibyte;
        constexpr double kMaxSeconds = 60;
        makeFile(kSample);
        const auto begin = std::chrono::steady_clock::now();
        job();
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
        return took.count() * (kSize / kSample) < kMaxSeconds;
    }
    unsigned int crc() const { return crcOfFile(m_path); }
    std::string md5() const { return md5OfFile(m_path); }

    TemporaryFolder m_folder = TemporaryFolder(quickPlace());
    const std::string m_path = m_folder.file("huge");
};

// What is expected was found by division by squaring, and by another program.

TEST_F(HugeFileTest, TheCrcIsThatOfAllItsBytes)
{
    if (!isFastEnough([&] { crc(); }))
        GTEST_SKIP() << "this machine or build is too slow for 5 GiB";
    makeFile(kSize);
    EXPECT_EQ(crc(), 0xb5426a18U);
}

TEST_F(HugeFileTest, TheMd5IsThatOfAllItsBytes)
{
    if (!isFastEnough([&] { md5(); }))
        GTEST_SKIP() << "this machine or build is too slow for 5 GiB";
    makeFile(kSize);
    EXPECT_EQ(md5(), "6f7dfb9ca22cadb71d030c11d1bb603b");
}

}  // namespace

}  // namespace nubrix
