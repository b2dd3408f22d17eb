#include "base/LibraryFolder.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "tests/Paths.h"
#include "tests/fakes/SystemCalls.h"

namespace nubrix {
namespace {

TEST(LibraryFolderTest, ItIsTheFolderOfTheCode)
{
    const std::string folder = libraryFolder();
    ASSERT_FALSE(folder.empty());
    EXPECT_EQ(folder.back(), '/');
    EXPECT_TRUE(std::filesystem::equivalent(folder, paths::kBin)) << folder;
}

std::string folderOf(const char *name, int found = 1)
{
    SystemCalls calls;
    calls.dladdr = [=](const void *, Dl_info *info) {
        info->dli_fname = name;
        return found;
    };
    const SystemCallsInForce inForce(calls);
    return libraryFolder();
}

TEST(LibraryFolderTest, ItIsNamedAsTheLoaderNamesIt)
{
    EXPECT_EQ(folderOf("/opt/camera/libNubrix.so.2"), "/opt/camera/");
    EXPECT_EQ(folderOf("../lib/libNubrix.so.2"), "../lib/");
    EXPECT_EQ(folderOf("libNubrix.so.2"), "./");
}

TEST(LibraryFolderTest, ItIsEmptyWhenTheLoaderDoesNotKnow)
{
    EXPECT_EQ(folderOf("/opt/libNubrix.so.2", 0), "");
    EXPECT_EQ(folderOf(nullptr), "");
}

}  // namespace
}  // namespace nubrix
