#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/TemporaryFolder.h"
#include "tests/tools/ToolProcess.h"

namespace nubrix::tool {
namespace {

using testing::HasSubstr;

class ChecksumCommandTest : public testing::Test {
protected:
    void expectFailure(const std::string &file, const std::string &why)
    {
        const ToolResult result = runTool({"checksum", file});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "nubrix: cannot read " + file + ": " + why + "\n");
    }

    TemporaryFolder m_folder;
    const std::string m_file = m_folder.file("digits", "123456789");
};

TEST_F(ChecksumCommandTest, BothArePrintedUnlessOneIsSelected)
{
    const std::string crc = "crc32 0376e6e7\n";
    const std::string md5 = "md5 25f9e794323b453885f5181f1b624d0b\n";
    EXPECT_EQ(runTool({"checksum", m_file}).out, crc + md5);
    EXPECT_EQ(runTool({"checksum", m_file, "--crc32"}).out, crc);
    EXPECT_EQ(runTool({"checksum", m_file, "--md5"}).out, md5);
    EXPECT_EQ(runTool({"checksum", "--md5", "--crc32", m_file}).out, crc + md5);
}

TEST_F(ChecksumCommandTest, JsonHasBothAndTheNameOfTheFile)
{
    const ToolResult result = runTool({"checksum", m_file, "--json"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.json(), nlohmann::json({{"file", m_file},
                                             {"crc32", "0376e6e7"},
                                             {"md5", "25f9e794323b453885f5181f1b624d0b"}}));
    EXPECT_EQ(runTool({"checksum", m_file, "--crc32", "--json"}).json(),
              nlohmann::json({{"file", m_file}, {"crc32", "0376e6e7"}}));
}

TEST_F(ChecksumCommandTest, AnEmptyFileHasChecksumsToo)
{
    const std::string empty = m_folder.file("empty", "");
    EXPECT_EQ(runTool({"checksum", empty}).out,
              "crc32 ffffffff\nmd5 d41d8cd98f00b204e9800998ecf8427e\n");
}

TEST_F(ChecksumCommandTest, AnUnreadableFileIsAFailureWithTheReason)
{
    expectFailure(m_folder.file("missing"), "No such file or directory");
    expectFailure(m_file + "/below", "Not a directory");
    expectFailure(m_folder.path(), "not a file");
    expectFailure("/dev/zero", "not a file");
}

TEST_F(ChecksumCommandTest, ItHasHelpAndNeedsAFile)
{
    const ToolResult help = runTool({"checksum", "--help"});
    EXPECT_EQ(help.status, 0);
    for (const char *word : {"FILE", "--crc32", "--md5", "--json", "MPEG-2"})
        EXPECT_THAT(help.out, HasSubstr(word));
    const ToolResult wrong = runTool({"checksum"});
    EXPECT_EQ(wrong.status, 2);
    EXPECT_THAT(wrong.err, HasSubstr("FILE"));
}

}  // namespace
}  // namespace nubrix::tool
