// The checksums of files and texts.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <optional>
#include <random>
#include <string>

#include "checksum/Crc32.h"
#include "nubrix/checksum.h"
#include "nubrix/context.h"
#include "tests/TemporaryFolder.h"
#include "tests/fakes/LogRecorder.h"

namespace nubrix {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char *kMd5OfNothing = "d41d8cd98f00b204e9800998ecf8427e";

std::string randomBytes(std::size_t size)
{
    std::mt19937 random(1);
    std::string bytes(size, '\0');
    for (char &byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

std::string md5String(const std::string &input, unsigned char length)
{
    std::string out = "old";
    MD5String(input, length, out);
    return out;
}

std::optional<std::string> md5File(const std::string &path, unsigned char length)
{
    const std::unique_ptr<char[]> text(MD5File(path, length));
    if (!text)
        return std::nullopt;
    return std::string(text.get());
}

class ChecksumFunctionsTest : public testing::Test {
protected:
    ChecksumFunctionsTest() { *ErrnoLocal() = kUntouched; }

    // The CRC of a file that must succeed.
    static unsigned int crcOf(const std::string &path)
    {
        unsigned int crc = kUntouched;
        EXPECT_EQ(calculateCRC32(path, crc), 1) << path;
        return crc;
    }
    static void expectNotOpened(const std::string &path)
    {
        LogRecorder log;
        *ErrnoLocal() = kUntouched;
        EXPECT_EQ(md5File(path, 32), std::nullopt) << path;
        EXPECT_EQ(*ErrnoLocal(), kUntouched);
        unsigned int crc = kUntouched;
        EXPECT_EQ(calculateCRC32(path, crc), 0) << path;
        EXPECT_EQ(crc, kUntouched);
        EXPECT_EQ(*ErrnoLocal(), 0x8030040dU);
        EXPECT_THAT(log.take(), IsEmpty());
    }

    static constexpr unsigned int kUntouched = 12345;
    TemporaryFolder m_folder;
};

TEST_F(ChecksumFunctionsTest, TheCrcOfAFileIsASuccessThatGivesOne)
{
    LogRecorder log;
    EXPECT_EQ(crcOf(m_folder.file("digits", "123456789")), 0x0376e6e7U);
    EXPECT_THAT(log.take(), ElementsAre(infoLine("Calculate CRC is 0x376e6e7")));
    EXPECT_EQ(*ErrnoLocal(), kUntouched);
}

TEST_F(ChecksumFunctionsTest, AnEmptyFileHasTheChecksumsOfNothing)
{
    LogRecorder log;
    const std::string path = m_folder.file("empty", "");
    EXPECT_EQ(crcOf(path), 0xffffffffU);
    EXPECT_THAT(log.take(), ElementsAre(infoLine("Calculate CRC is 0xffffffff")));
    EXPECT_EQ(md5File(path, 32), kMd5OfNothing);
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(ChecksumFunctionsTest, AFileCanHaveOneByte)
{
    const std::string path = m_folder.file("byte", "a");
    EXPECT_EQ(crcOf(path), crc32Plain(0xffffffff, reinterpret_cast<const unsigned char *>("a"), 1));
    EXPECT_EQ(md5File(path, 32), "0cc175b9c0f1b6a831c399e269772661");
    EXPECT_EQ(md5File(path, 16), "c0f1b6a831c399e2");
}

TEST_F(ChecksumFunctionsTest, AFileIsReadToItsLastByte)
{
    for (const std::size_t size :
         {1023U, 1024U, 1025U, 4096U, 4097U, 262143U, 262144U, 262145U, 1048577U}) {
        const std::string bytes = randomBytes(size);
        const std::string path = m_folder.file("random", bytes);
        EXPECT_EQ(crcOf(path),
                  crc32Plain(0xffffffff, reinterpret_cast<const unsigned char *>(bytes.data()),
                             bytes.size()));
        EXPECT_EQ(md5File(path, 32), md5String(bytes, 32));
    }
}

TEST_F(ChecksumFunctionsTest, WhatDoesNotOpenIsRefused)
{
    const std::string file = m_folder.file("file", "x");
    expectNotOpened(m_folder.file("missing"));
    expectNotOpened(file + "/below");
    expectNotOpened("");
    const std::string loop = m_folder.file("loop");
    ASSERT_EQ(symlink(loop.c_str(), loop.c_str()), 0);
    expectNotOpened(loop);
}

TEST_F(ChecksumFunctionsTest, WhatMustNotBeReadIsRefused)
{
    constexpr uid_t kNobody = 65534;
    const std::string path = m_folder.file("secret", "x");
    ASSERT_EQ(chmod(path.c_str(), 0), 0);
    const bool isRoot = geteuid() == 0;
    if (isRoot && seteuid(kNobody) != 0)
        GTEST_SKIP() << "the administrator may read everything, and cannot be anyone else";
    expectNotOpened(path);
    if (isRoot) {
        ASSERT_EQ(seteuid(0), 0);
    }
}

TEST_F(ChecksumFunctionsTest, AFolderOpensAndHasTheChecksumsOfNothing)
{
    LogRecorder log;
    EXPECT_EQ(crcOf(m_folder.path()), 0xffffffffU);
    EXPECT_THAT(log.take(), ElementsAre(infoLine("Calculate CRC is 0xffffffff")));
    EXPECT_EQ(md5File(m_folder.path(), 32), kMd5OfNothing);
}

TEST_F(ChecksumFunctionsTest, AFileThatCannotBeReadHasTheChecksumsOfNothing)
{
    EXPECT_EQ(crcOf("/proc/self/mem"), 0xffffffffU);
    EXPECT_EQ(md5File("/proc/self/mem", 32), kMd5OfNothing);
}

TEST_F(ChecksumFunctionsTest, ADeviceWithoutASizeHasTheCrcOfNothing)
{
    EXPECT_EQ(crcOf("/dev/zero"), 0xffffffffU);
}

TEST_F(ChecksumFunctionsTest, TheMd5sAreThePublishedOnes)
{
    const std::pair<const char *, const char *> published[] = {
        {"", kMd5OfNothing},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
         "d174ab98d277d9f5a5611c2c9f419d9f"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"}};
    for (const auto &[text, digest] : published) {
        EXPECT_EQ(md5String(text, 32), digest);
        EXPECT_EQ(md5File(m_folder.file("text", text), 32), digest);
    }
}

TEST_F(ChecksumFunctionsTest, SixteenDigitsAreTheMiddleOfTheDigest)
{
    EXPECT_EQ(md5String("", 16), "8f00b204e9800998");
    EXPECT_EQ(md5File(m_folder.file("empty", ""), 16), "8f00b204e9800998");
}

TEST_F(ChecksumFunctionsTest, OtherLengthsGiveNoText)
{
    const std::string path = m_folder.file("text", "abc");
    for (unsigned int length = 0; length < 256; ++length) {
        if (length == 16 || length == 32)
            continue;
        const auto asByte = static_cast<unsigned char>(length);
        EXPECT_EQ(md5String("abc", asByte), "") << length;
        EXPECT_EQ(md5File(path, asByte), std::nullopt) << length;
    }
    EXPECT_EQ(*ErrnoLocal(), kUntouched);
}

TEST_F(ChecksumFunctionsTest, ZeroBytesOfATextCount)
{
    EXPECT_EQ(md5String(std::string(3, '\0'), 32), "693e9af84d3dfcc71e640e005bdc5e2e");
}

TEST_F(ChecksumFunctionsTest, TheTextMayBeWhereTheResultGoes)
{
    std::string text = "abc";
    MD5String(text, 32, text);
    EXPECT_EQ(text, "900150983cd24fb0d6963f7d28e17f72");
}

}  // namespace

}  // namespace nubrix
