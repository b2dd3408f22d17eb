#include "config/LayeredIni.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "tests/TemporaryFolder.h"

namespace nubrix {
namespace {

namespace fs = std::filesystem;

class LayeredIniTest : public testing::Test {
protected:
    LayeredIniTest()
    {
        for (const char *folder : {"etc", "usr", "usr/lib", "usrlocal", "opt"})
            fs::create_directory(m_folder.file(folder));
        m_folders.administrator = m_folder.file("etc/");
        m_folders.packages = fs::canonical(m_folder.path()).string() + "/usr/";
    }

    /// Reads the entry "Key" of the section "S" of a file, with 7 in place of a missing one.
    int read(const std::string &file) const
    {
        return LayeredIni(m_folder.file(file), "S", m_folders).readInt("Key", 7);
    }
    std::string content(const std::string &file) const { return readFile(m_folder.file(file)); }

    TemporaryFolder m_folder;
    SettingsFolders m_folders;
};

TEST_F(LayeredIniTest, TheFolderOfTheAdministratorIsThatOfTheSystem)
{
    EXPECT_EQ(SettingsFolders().administrator, "/etc/nubrix/");
    EXPECT_EQ(SettingsFolders().packages, "/usr/");
}

TEST_F(LayeredIniTest, AMissingEntryIsWrittenWithItsDefault)
{
    EXPECT_EQ(read("opt/a.ini"), 7);
    EXPECT_EQ(content("opt/a.ini"), "[S]\nKey=7\n");
    EXPECT_EQ(read("usrlocal/a.ini"), 7) << "only the start of its name is that of the folder";
    EXPECT_EQ(content("usrlocal/a.ini"), "[S]\nKey=7\n");
}

TEST_F(LayeredIniTest, TheAdministratorsEntryOverridesTheFiles)
{
    m_folder.file("opt/a.ini", "[S]\nKey=1\n");
    m_folder.file("etc/a.ini", "[S]\nKey=2\n");
    EXPECT_EQ(read("opt/a.ini"), 2);
    EXPECT_EQ(content("opt/a.ini"), "[S]\nKey=1\n");
    EXPECT_EQ(content("etc/a.ini"), "[S]\nKey=2\n");
}

TEST_F(LayeredIniTest, AnEntryThatOneFileHasCounts)
{
    m_folder.file("opt/a.ini", "[S]\nKey=1\n");
    m_folder.file("etc/a.ini", "[S]\nOther=2\n[T]\nKey=3\n");
    EXPECT_EQ(read("opt/a.ini"), 1);
    EXPECT_EQ(content("etc/a.ini"), "[S]\nOther=2\n[T]\nKey=3\n") << "which is never written";
    m_folder.file("opt/a.ini", "[S]\nOther=1\n");
    m_folder.file("etc/a.ini", "[S]\nKey=2\n");
    EXPECT_EQ(read("opt/a.ini"), 2);
    EXPECT_EQ(content("opt/a.ini"), "[S]\nKey=7\nOther=1\n") << "filled up as without the other";
}

TEST_F(LayeredIniTest, NothingIsWrittenBelowTheFolderOfPackages)
{
    EXPECT_EQ(read("usr/lib/a.ini"), 7);
    EXPECT_EQ(read("usr/a.ini"), 7);
    EXPECT_FALSE(fs::exists(m_folder.file("usr/lib/a.ini")));
    EXPECT_FALSE(fs::exists(m_folder.file("usr/a.ini")));
    m_folder.file("usr/lib/a.ini", "[S]\nOther=1\n");
    EXPECT_EQ(read("usr/lib/a.ini"), 7);
    EXPECT_EQ(content("usr/lib/a.ini"), "[S]\nOther=1\n");
    m_folder.file("usr/lib/a.ini", "[S]\nKey=1\n");
    EXPECT_EQ(read("usr/lib/a.ini"), 1) << "it is read all the same";
    m_folder.file("etc/a.ini", "[S]\nKey=2\n");
    EXPECT_EQ(read("usr/lib/a.ini"), 2);
}

TEST_F(LayeredIniTest, ALinkIntoTheFolderOfPackagesCountsAsTheFolder)
{
    fs::create_directory_symlink("usr/lib", m_folder.file("lib"));
    EXPECT_EQ(read("lib/a.ini"), 7);
    EXPECT_EQ(read("opt/../usr/lib/a.ini"), 7);
    EXPECT_FALSE(fs::exists(m_folder.file("usr/lib/a.ini")));
    fs::create_directory_symlink("../opt", m_folder.file("usr/opt"));
    EXPECT_EQ(read("usr/opt/a.ini"), 7);
    EXPECT_EQ(content("opt/a.ini"), "[S]\nKey=7\n");
}

TEST_F(LayeredIniTest, AFileWithoutAFolderIsInTheCurrentOne)
{
    const fs::path before = fs::current_path();
    fs::current_path(m_folder.file("usr/lib"));
    EXPECT_EQ(LayeredIni("a.ini", "S", m_folders).readInt("Key", 7), 7);
    EXPECT_FALSE(fs::exists("a.ini"));
    fs::current_path(m_folder.file("opt"));
    EXPECT_EQ(LayeredIni("a.ini", "S", m_folders).readInt("Key", 7), 7);
    EXPECT_TRUE(fs::exists("a.ini"));
    fs::current_path(before);
}

TEST_F(LayeredIniTest, AFolderThatDoesNotExistMeansTheDefault)
{
    EXPECT_EQ(read("none/a.ini"), 7);
    m_folder.file("etc/a.ini", "[S]\nKey=2\n");
    EXPECT_EQ(read("none/a.ini"), 2);
}

}  // namespace
}  // namespace nubrix
