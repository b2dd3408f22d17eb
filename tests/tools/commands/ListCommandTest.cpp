#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/tools/commands/LibraryFolder.h"

namespace nubrix::tool {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class ListCommandTest : public testing::Test {
protected:
    ToolResult list(const Words &options = {}) const { return m_folder.run("list", options); }
    std::string in(const std::string &name) const { return m_folder.file(name); }

    LibraryFolder m_folder;
};

TEST_F(ListCommandTest, TheVirtualCameraIsListed)
{
    const ToolResult result = runVirtual({"list"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out,
              "usb:virtual-VIRT0001\n"
              "  serial number  VIRT0001\n"
              "  product        Nubrix Virtual Camera\n"
              "  transport      usb\n"
              "  state          connected\n");
    EXPECT_EQ(result.err, "");
}

TEST_F(ListCommandTest, JsonHasTheSameAndTheDrivers)
{
    const ToolResult result = runVirtual({"list", "--json"});
    EXPECT_EQ(result.status, 0);
    const nlohmann::json report = result.json();
    ASSERT_EQ(report["cameras"].size(), 1U);
    const nlohmann::json &camera = report["cameras"][0];
    EXPECT_EQ(camera["uri"], "usb:virtual-VIRT0001");
    EXPECT_EQ(camera["serial_number"], "VIRT0001");
    EXPECT_EQ(camera["product"], "Nubrix Virtual Camera");
    EXPECT_EQ(camera["transport"], "usb");
    EXPECT_EQ(camera["state"], "connected");
    EXPECT_EQ(camera["vendor_id"], 0x1209);
    EXPECT_EQ(camera["product_id"], 1);
    ASSERT_EQ(report["drivers"].size(), 2U);
    EXPECT_EQ(report["drivers"][0]["name"], "libNubrixUvcDriver.so");
    EXPECT_EQ(report["drivers"][0]["loaded"], true);
    EXPECT_THAT(report["drivers"][0]["path"], EndsWith("/nubrix/virtual/libNubrixUvcDriver.so"));
    EXPECT_EQ(report["drivers"][1]["name"], "libNubrixNetDriver.so");
    EXPECT_EQ(report["drivers"][1]["loaded"], false);
    EXPECT_THAT(report["drivers"][1]["reason"], HasSubstr("no such file"));
}

TEST_F(ListCommandTest, WithoutPluginsItNamesTheMissingFiles)
{
    const ToolResult result = list();
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out,
              "no camera found\n"
              "  libNubrixUvcDriver.so: not loaded: " +
                  in("libNubrixUvcDriver.so") +
                  ": no such file\n"
                  "  libNubrixNetDriver.so: not loaded: " +
                  in("libNubrixNetDriver.so") + ": no such file\n");
    EXPECT_EQ(result.err, "");
}

TEST_F(ListCommandTest, WithoutPluginsJsonHasNoCameras)
{
    const nlohmann::json report = list({"--json"}).json();
    EXPECT_EQ(report["cameras"], nlohmann::json::array());
    EXPECT_EQ(report["drivers"][0]["loaded"], false);
    EXPECT_EQ(report["drivers"][0]["reason"], in("libNubrixUvcDriver.so") + ": no such file");
}

TEST_F(ListCommandTest, APluginThatIsNoLibraryIsReportedWithTheLoadersMessage)
{
    m_folder.file("libNubrixUvcDriver.so", std::string(1000, 'x'));
    const ToolResult result = list();
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("libNubrixUvcDriver.so: not loaded: " +
                                      in("libNubrixUvcDriver.so") + ": invalid ELF header\n"));
}

TEST_F(ListCommandTest, APluginWithoutItsEntryIsReported)
{
    m_folder.copyLibraryTo("libNubrixNetDriver.so");  // a valid library, but no driver
    const ToolResult result = list();
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out,
                HasSubstr("libNubrixNetDriver.so: not loaded: " + in("libNubrixNetDriver.so") +
                          ": it has no function \"driverInstance\"\n"));
}

TEST_F(ListCommandTest, TextsOfACameraAreCleanedForTheTerminal)
{
    std::filesystem::copy_file(paths::kRudeDriver, in("libNubrixUvcDriver.so"));
    const std::string serial = "S?[2J??\xe6\xb7\xb1" + std::string(53, 'x');
    const std::string product = "P??????\xf0\x9f\x93\xb7" + std::string(117, 'x');
    const ToolResult result = list();
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, StartsWith("usb:?xxx"));
    EXPECT_THAT(result.out, HasSubstr("\n  serial number  " + serial + "\n"));
    EXPECT_THAT(result.out, HasSubstr("\n  product        " + product + "\n"));
    const nlohmann::json camera = list({"--json"}).json()["cameras"][0];
    EXPECT_EQ(camera["serial_number"], serial);
    EXPECT_EQ(camera["product"], product);
    EXPECT_THAT(camera["location"].get<std::string>(), StartsWith("1-2?xxx"));
}

/// A scenario with a camera FIRST, and a camera LATE that arrives so many milliseconds later.
std::string arrivingAfter(int ms)
{
    return R"({"cameras": ["FIRST", {"serial": "LATE", "plugged": false,
                                     "faults": [{"type": "plug", "at_ms": )" +
           std::to_string(ms) + "}]}]}";
}

ToolResult listOnTerminal(const std::string &scenario)
{
    ToolProcess::Options terminal;
    terminal.onTerminal = true;
    return ToolProcess(virtualCommand({"list"}, scenario), terminal).finish();
}

bool hasLate(const ToolResult &result)
{
    return result.out.find("virtual-LATE") != std::string::npos;
}

TEST_F(ListCommandTest, OnATerminalCamerasThatArriveAreAdded)
{
    const std::string scenario = m_folder.file("late.json", arrivingAfter(300));
    // On a busy machine, the camera may arrive after the end.
    const ToolResult result = untilUndisturbed([&] { return listOnTerminal(scenario); }, hasLate);
    EXPECT_EQ(result.status, 0);
    const std::string state =
        "\r\n  product        Nubrix Virtual Camera\r\n  transport      usb\r\n"
        "  state          connected\r\n";
    EXPECT_EQ(result.out, "usb:virtual-FIRST\r\n  serial number  FIRST" + state +
                              "usb:virtual-LATE\r\n  serial number  LATE" + state);
}

TEST_F(ListCommandTest, InAPipeTheListIsThatOfTheStart)
{
    const std::string scenario = m_folder.file("late.json", arrivingAfter(700));
    // On a busy machine, the start may take that long.
    const ToolResult result =
        untilUndisturbed([&] { return runVirtual({"list"}, scenario); },
                         [](const ToolResult &each) { return !hasLate(each); });
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, StartsWith("usb:virtual-FIRST\n"));
    EXPECT_FALSE(hasLate(result)) << result.out;
}

TEST_F(ListCommandTest, OnATerminalThePluginsAreNamedWhenNoCameraArrives)
{
    const ToolResult result = listOnTerminal(m_folder.file("none.json", R"({"cameras": 0})"));
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, StartsWith("no camera found\r\n  libNubrixUvcDriver.so: loaded from"));
}

TEST_F(ListCommandTest, OnATerminalCtrlCIsNoFailure)
{
    ToolProcess::Options terminal;
    terminal.onTerminal = true;
    ToolProcess list(virtualCommand({"list"}), terminal);
    ASSERT_TRUE(list.waitForOutput("connected"));
    list.type("\x03");
    EXPECT_EQ(list.finish().status, 0);
}

TEST_F(ListCommandTest, TheLogIsSilentWithoutVerbose)
{
    std::filesystem::copy_file(std::string(paths::kLib) + "/nubrix/libNubrixLogDriver.so",
                               in("libNubrixLogDriver.so"));
    m_folder.file("libNubrixUvcDriver.so", "broken");
    EXPECT_EQ(list().err, "");
    const ToolResult verbose = list({"--verbose"});
    EXPECT_THAT(verbose.err, HasSubstr("Nubrix SDK Version 2.0.182"));
    EXPECT_THAT(verbose.out, Not(HasSubstr("Nubrix SDK")));
}

TEST_F(ListCommandTest, ALogThatTheUserHasConfiguredIsNotChanged)
{
    ToolProcess::Options run;
    run.environment = {"NUBRIX_LOG_CONSOLE=1", "NUBRIX_LOG_LEVEL=1"};
    const ToolResult result = ToolProcess(virtualCommand({"list"}), run).finish();
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.err, HasSubstr("Nubrix SDK Version 2.0.182"));
}

}  // namespace
}  // namespace nubrix::tool
