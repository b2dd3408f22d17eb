#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/commands/LibraryFolder.h"

namespace nubrix::tool {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

TEST(UsageTest, TheVersionHasStatus0)
{
    const ToolResult result = runTool({"--version"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "nubrix " NUBRIX_TEST_VERSION "\n");
}

TEST(UsageTest, HelpHasStatus0)
{
    const ToolResult result = runTool({"--help"});
    EXPECT_EQ(result.status, 0);
    for (const char *word : {"list", "modes", "stream", "props", "--virtual", "--scenario FILE",
                             "--verbose", "Exit status: 0 done, 1 failed, 2 wrong use"})
        EXPECT_THAT(result.out, HasSubstr(word));
    EXPECT_EQ(result.err, "");
}

TEST(UsageTest, EveryCommandHasHelpOfItsOwn)
{
    const std::vector<std::pair<std::string, Words>> commands = {
        {"list", {"--json"}},
        {"modes", {"URI", "--json"}},
        {"stream",
         {"URI", "--json", "--streams LIST", "--mode WxH@FPS", "--seconds N", "--frames N",
          "--callback", "--poll", "--save DIR", "Ctrl-C"}},
        {"props", {"URI", "--json", "--flag-mode N"}},
        {"export",
         {"FILE", "--out DIR", "--png", "--ply", "--bmp", "--every N", "--json", "--depth-unit MM",
          "--color-format NAME", "--fx PIXELS", "timestamps.csv"}}};
    for (const auto &[command, words] : commands) {
        const ToolResult result = runTool({command, "--help"});
        EXPECT_EQ(result.status, 0);
        for (const std::string &word : words)
            EXPECT_THAT(result.out, HasSubstr(word)) << command;
    }
}

TEST(UsageTest, TheHelpIsDescribedAsDataByAHiddenOption)
{
    EXPECT_THAT(runTool({"--help"}).out, testing::Not(HasSubstr("--describe")));
    const ToolResult result = runTool({"--describe"});
    EXPECT_EQ(result.status, 0) << result.err;
    const nlohmann::json described = result.json();
    EXPECT_EQ(described["version"], NUBRIX_TEST_VERSION);
    for (const nlohmann::json &command : described["commands"]) {
        const std::string name = command["name"];
        if (name == "simulate")  // its help is that of another program
            continue;
        const std::string help = runTool({name, "--help"}).out;
        EXPECT_THAT(help, HasSubstr(command["footer"].get<std::string>()));
        EXPECT_THAT(command["footer"].get<std::string>(), HasSubstr("Examples:\n  nubrix "));
        for (const nlohmann::json &option : command["options"])
            EXPECT_THAT(help, HasSubstr(option["names"].empty() ? option["argument"]
                                                                : option["names"].back()));
    }
}

TEST(UsageTest, WrongUseGivesStatus2AndSaysWhy)
{
    struct Case {
        Words words;
        const char *text;
    };
    const std::vector<Case> cases = {
        {{}, "a command is missing"},
        {{"fly"}, "fly"},
        {{"list", "modes"}, "modes"},
        {{"list", "--fast"}, "--fast"},
        {{"modes", "a", "b"}, "b"},
        {{"--scenario", "/dev/null", "list"}, "--virtual"},
        {{"--virtual", "--scenario", "/nowhere/x.json", "list"}, "/nowhere/x.json"},
        {{"stream", "--streams", "color,audio"}, "there is no stream 'audio'"},
        {{"stream", "--streams", "color,"}, "missing"},
        {{"stream", "--streams", ""}, "missing"},
        {{"stream", "--mode", "640x480"}, "640x480@30"},
        {{"stream", "--mode", "big"}, "'big' is not a mode"},
        {{"stream", "--seconds", "0"}, "--seconds"},
        {{"stream", "--seconds", "-1"}, "--seconds"},
        {{"stream", "--seconds", "soon"}, "--seconds"},
        {{"stream", "--seconds", "nan"}, "--seconds"},
        {{"stream", "--seconds", "inf"}, "--seconds"},
        {{"stream", "--frames", "0"}, "--frames"},
        {{"stream", "--frames", "-5"}, "--frames"},
        {{"stream", "--frames", "1.5"}, "--frames"},
        {{"stream", "--frames", "1", "--seconds", "1"}, "excludes"},
        {{"stream", "--poll", "--callback"}, "excludes"},
        {{"stream", "--save"}, "--save"},
    };
    for (const Case &each : cases) {
        const ToolResult result = runTool(each.words);
        EXPECT_EQ(result.status, 2) << each.text;
        EXPECT_THAT(result.err, HasSubstr(each.text));
        EXPECT_THAT(result.out, IsEmpty());
    }
}

TEST(UsageTest, WithoutACameraEveryCommandButListFails)
{
    const LibraryFolder withoutPlugins;
    for (const char *command : {"modes", "stream", "props"}) {
        const ToolResult result = withoutPlugins.run(command);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err,
                  "nubrix: openDevice: no camera is attached (status -4, error 0x80300104); "
                  "attach one, then run 'nubrix list'\n");
    }
}

TEST(UsageTest, AReportThatCannotBeWrittenIsAFailure)
{
    ToolProcess::Options run;
    run.output = "/dev/full";
    const ToolResult result = ToolProcess(virtualCommand({"list"}), run).finish();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "nubrix: cannot write to standard output\n");
}

}  // namespace
}  // namespace nubrix::tool
