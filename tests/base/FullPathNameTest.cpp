// The absolute path of a file.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "base/FileWrapper.h"
#include "tests/TemporaryFolder.h"

namespace nubrix {
namespace {

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
