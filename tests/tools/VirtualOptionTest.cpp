// The option --virtual: the tool starts itself again, which is impossible under an emulator.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/Paths.h"
#include "tests/TemporaryFolder.h"
#include "tests/tools/ToolProcess.h"

namespace nubrix::tool {
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

/// The tool in a folder without other programs.
class SeparateToolTest : public testing::Test {
protected:
    SeparateToolTest() { std::filesystem::copy_file(std::string(paths::kBin) + "/nubrix", tool); }

    ToolResult run(const Words &words) const
    {
        Words command = {tool};
        command.insert(command.end(), words.begin(), words.end());
        ToolProcess::Options options;
        options.environment = {std::string("LD_LIBRARY_PATH=") + paths::kLib};
        return ToolProcess(command, options).finish();
    }

private:
    TemporaryFolder m_folder;

protected:
    const std::string tool = m_folder.path() / "nubrix";
};

TEST_F(SeparateToolTest, AMissingLauncherIsReported)
{
    const ToolResult result = run({"--virtual", "list"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "nubrix: cannot run " + tool + "-virtual: No such file or directory\n");
}

TEST_F(SeparateToolTest, AMissingSimulatorIsReportedWithTheMissingPackage)
{
    const ToolResult result = run({"simulate", "--depth"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "nubrix: there is no " + tool +
                              "-simulate: this tool was built without Aravis (libaravis-dev), "
                              "which it needs\n");
}

TEST_F(SeparateToolTest, TheSimulatorGetsItsArgumentsUnchanged)
{
    std::ofstream(tool + "-simulate") << "#!/bin/sh\nprintf '<%s>' \"$@\"\nexit 7\n";
    std::filesystem::permissions(tool + "-simulate", std::filesystem::perms::owner_all);
    const ToolResult result = run({"simulate", "--depth", "--address", "127.0.0.1", "a b", "--help",
                                   "--json", "--verbose", "--virtual"});
    EXPECT_EQ(result.out,
              "<--depth><--address><127.0.0.1><a b><--help><--json><--verbose><--virtual>");
    EXPECT_EQ(result.status, 7);
}

}  // namespace
}  // namespace nubrix::tool
