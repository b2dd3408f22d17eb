#include "tests/fuzz/Corpus.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <stdexcept>
#include <string>

#include "tests/TemporaryFolder.h"

namespace nubrix {
namespace {

class CorpusTest : public testing::Test {
protected:
    std::string refusal()
    {
        try {
            readCorpus(m_folder.path().string());
        } catch (const std::runtime_error &failure) {
            return failure.what();
        }
        return "";
    }

    TemporaryFolder m_folder;
};

TEST_F(CorpusTest, GivesEveryFileWithEveryByte)
{
    const std::string odd("\r\n\0\x1a\xff", 5);
    const std::string b = m_folder.file("b", odd);
    const std::string a = m_folder.file("a", "");
    const auto inputs = readCorpus(m_folder.path().string());
    ASSERT_EQ(inputs.size(), 2U);
    EXPECT_EQ(inputs[0].path, a);
    EXPECT_EQ(inputs[0].bytes, "");
    EXPECT_EQ(inputs[1].path, b);
    EXPECT_EQ(inputs[1].bytes, odd);
}

TEST_F(CorpusTest, AnEmptyFolderIsRefused)
{
    EXPECT_THAT(refusal(), testing::EndsWith("there is nothing in it"));
}

TEST_F(CorpusTest, AMissingFolderIsRefused)
{
    EXPECT_THROW(readCorpus(m_folder.file("missing")), std::runtime_error);
}

TEST_F(CorpusTest, AFileThatCannotBeReadIsRefusedByName)
{
    m_folder.file("a", "good");
    std::filesystem::create_symlink(m_folder.file("nowhere"), m_folder.path() / "broken");
    EXPECT_THAT(refusal(), testing::HasSubstr("/broken: "));
}

TEST_F(CorpusTest, AFolderInItIsRefusedByName)
{
    std::filesystem::create_directory(m_folder.path() / "deeper");
    EXPECT_THAT(refusal(), testing::HasSubstr("/deeper: "));
}

}  // namespace
}  // namespace nubrix
