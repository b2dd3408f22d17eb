// The tool starting itself again, which cannot be done under an emulator.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ToolProcess.h"
#include "tests/TemporaryFolder.h"

namespace nubrix {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

TEST(VirtualOptionTest, TheCommandRunsOnTheVirtualCamera)
{
    const ToolResult result = runTool({"--virtual", "list"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("VIRT0001"));
    EXPECT_EQ(result.err, "");
}

TEST(VirtualOptionTest, TheCommandKeepsItsOptionsAndItsExitStatus)
{
    const ToolResult json = runTool({"--virtual", "--verbose", "list", "--json"});
    EXPECT_EQ(json.status, 0);
    EXPECT_EQ(json.json()["cameras"].size(), 1U);
    EXPECT_THAT(json.err, Not(IsEmpty()));
    EXPECT_EQ(runTool({"--virtual", "modes", "usb:nobody"}).status, 1);
    EXPECT_EQ(runTool({"--virtual", "fly"}).status, 2);
}

TEST(VirtualOptionTest, TheScenarioReachesTheCamera)
{
    const TemporaryFolder folder;
    const std::string file = folder.file("two.json", R"({"cameras": 2})");
    const ToolResult result = runTool({"--virtual", "--scenario", file, "list", "--json"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.json()["cameras"].size(), 2U);
}

TEST(VirtualOptionTest, AToolWithoutItsLauncherSaysSo)
{
    const TemporaryFolder folder;
    const std::string tool = folder.path() / "nubrix";
    std::filesystem::copy_file(NUBRIX_TEST_BIN "/nubrix", tool);
    ToolProcess::Options run;
    run.environment = {"LD_LIBRARY_PATH=" NUBRIX_TEST_LIB};
    const ToolResult result = ToolProcess({tool, "--virtual", "list"}, run).finish();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "nubrix: cannot run " + tool + "-virtual: No such file or directory\n");
}

}  // namespace
}  // namespace nubrix
