#include "common/SettingsFiles.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "tests/TemporaryFolder.h"

namespace nubrix {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

TEST(SettingsFilesTest, TheAdministratorsFileIsTheLastOne)
{
    const std::string folder =
        std::filesystem::read_symlink("/proc/self/exe").parent_path().string();
    const std::vector<std::string> files = settingsFiles("nubrixTest.ini");
    ASSERT_EQ(files.size(), 2U);
    EXPECT_TRUE(std::filesystem::equivalent(std::filesystem::path(files[0]).parent_path(), folder))
        << files[0];
    EXPECT_EQ(std::filesystem::path(files[0]).filename(), "nubrixTest.ini");
    EXPECT_EQ(files[1], "/etc/nubrix/nubrixTest.ini");
}

TEST(SettingsFilesTest, AFileThatDoesNotExistIsNoFault)
{
    const TemporaryFolder folder;
    EXPECT_EQ(settingsFault(folder.file("none.ini")), "");
    EXPECT_EQ(settingsFault(folder.file("none/none.ini")), "");
    EXPECT_EQ(settingsFault(""), "");
}

TEST(SettingsFilesTest, AFileThatCannotBeReadIsAFault)
{
    // Not even root reads a folder as a file.
    const TemporaryFolder folder;
    EXPECT_EQ(settingsFault(folder.path()), "cannot be read: Is a directory");
    std::filesystem::create_symlink("circle.ini", folder.file("circle.ini"));
    EXPECT_THAT(settingsFault(folder.file("circle.ini")), StartsWith("cannot be read: "));
}

TEST(SettingsFilesTest, EntriesNeedASection)
{
    const TemporaryFolder folder;
    const auto faultOf = [&](const std::string &text) {
        return settingsFault(folder.file("test.ini", text));
    };
    for (const char *valid : {"", "\n", "[network]\n", "[network]\nDiscovery=0", "no entry\n"})
        EXPECT_EQ(faultOf(valid), "") << valid;
    EXPECT_EQ(faultOf("Discovery=0\n"), "has entries, but no section");
    EXPECT_EQ(faultOf(std::string("[network]\n\0Discovery=0\n", 23)), "is not a text file");
}

TEST(SettingsFilesTest, ALongFileIsReadToItsEnd)
{
    const TemporaryFolder folder;
    const std::string text(10000, 'x');
    EXPECT_EQ(readTextFile(folder.file("long.ini", text)).text, text);
}

}  // namespace
}  // namespace nubrix
