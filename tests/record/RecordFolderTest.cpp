// How the path of a recording is prepared.
#include "record/RecordFolder.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "tests/TemporaryFolder.h"
#include "tests/fakes/LogRecorder.h"

namespace nubrix {
namespace {

using testing::ElementsAre;

constexpr unsigned int kCapacity = 255;

class RecordFolderTest : public testing::Test {
protected:
    RecordFolderTest() { std::filesystem::current_path(m_folder.path()); }
    ~RecordFolderTest() override { std::filesystem::current_path(m_before); }

    int prepare(const std::string &path)
    {
        std::fill(m_out, m_out + sizeof(m_out), '\0');
        return createRecordFolder(path.c_str(), m_out, kCapacity);
    }
    std::string here(const std::string &name) const
    {
        return (std::filesystem::canonical(m_folder.path()) / name).string();
    }

    const std::filesystem::path m_before = std::filesystem::current_path();
    TemporaryFolder m_folder;
    LogRecorder m_log;
    char m_out[kCapacity + 1] = {};
};

TEST_F(RecordFolderTest, ABareNameIsInTheCurrentFolder)
{
    EXPECT_EQ(prepare("rec.bin"), 0);
    EXPECT_EQ(m_out, here("rec.bin"));
    EXPECT_THAT(m_log.take(), ElementsAre(infoLine("Begin check record directory:rec.bin"),
                                          infoLine("FileDir:./, file name:rec.bin")));
}

TEST_F(RecordFolderTest, TheRootHasNoSecondSlash)
{
    EXPECT_EQ(prepare("/rec.bin"), 0);
    EXPECT_STREQ(m_out, "/rec.bin");
}

TEST_F(RecordFolderTest, MissingFoldersAreMadeAndBackslashesAreSlashes)
{
    EXPECT_EQ(prepare("a\\b\\c.bin"), 0);
    EXPECT_EQ(m_out, here("a/b/c.bin"));
    EXPECT_TRUE(std::filesystem::is_directory(here("a/b")));
    EXPECT_THAT(m_log.take(), ElementsAre(infoLine("Begin check record directory:a\\b\\c.bin"),
                                          infoLine("FileDir:a/b/, file name:c.bin")));
    struct stat status = {};
    ASSERT_EQ(stat(here("a").c_str(), &status), 0);
    const mode_t mask = umask(0);
    umask(mask);
    EXPECT_EQ(status.st_mode & 0777, 0755 & ~mask);
}

TEST_F(RecordFolderTest, AnAbsolutePathAndFoldersThatExistServe)
{
    EXPECT_EQ(prepare(here("x/y/z.bin")), 0);
    EXPECT_EQ(prepare(here("x/y/z.bin")), 0);
    EXPECT_EQ(m_out, here("x/y/z.bin"));
}

TEST_F(RecordFolderTest, DotsAndLinksAreResolved)
{
    std::filesystem::create_directory(here("real"));
    std::filesystem::create_symlink("real", here("link"));
    EXPECT_EQ(prepare("link/../link/r.bin"), 0);
    EXPECT_EQ(m_out, here("real/r.bin"));
}

TEST_F(RecordFolderTest, APathOfMoreThan255CharactersIsRefused)
{
    const std::string path = "./" + std::string(254, 'x');
    EXPECT_EQ(prepare(path), -1);
    EXPECT_THAT(m_log.take(), ElementsAre(errorLine("file path:" + path +
                                                    " length:256 more than 255, not support!")));
}

TEST_F(RecordFolderTest, AJoinedPathThatDoesNotFitIsRefused)
{
    const std::string path(255, 'x');
    EXPECT_EQ(prepare(path), -1);
    EXPECT_STREQ(m_out, "");
    EXPECT_EQ(m_log.take().back(), errorLine("Dir + name length more than 255!"));
    const std::size_t capacity = kCapacity - here("").size();
    EXPECT_EQ(prepare(std::string(capacity, 'y')), 0);
    EXPECT_EQ(std::string(m_out).size(), kCapacity);
    EXPECT_EQ(prepare(std::string(capacity + 1, 'y')), -1);
}

TEST_F(RecordFolderTest, AFolderThatCannotBeMadeLeavesThePathEmpty)
{
    writeFile(here("file"), "");
    testing::internal::CaptureStderr();
    EXPECT_EQ(prepare("file/sub/r.bin"), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "mkdir error: Not a directory\n");
    EXPECT_STREQ(m_out, "");
    EXPECT_EQ(m_log.take().back(), errorLine("Error occurs in createDirectory:file/sub/"));
}

TEST_F(RecordFolderTest, ADeletedFolderCannotBeResolved)
{
    std::filesystem::create_directory(here("gone"));
    std::filesystem::current_path(here("gone"));
    std::filesystem::remove(here("gone"));
    EXPECT_EQ(prepare("r.bin"), -1);
    EXPECT_EQ(m_log.take().back(), errorLine("get full path name failed!./"));
}

TEST_F(RecordFolderTest, NothingIsWrittenBehindThePath)
{
    std::fill(m_out, m_out + sizeof(m_out), '?');
    ASSERT_EQ(createRecordFolder("rec.bin", m_out, kCapacity), 0);
    const std::size_t length = here("rec.bin").size();
    EXPECT_EQ(std::string(m_out + length, 2), std::string("\0?", 2));
}

}  // namespace
}  // namespace nubrix
