#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/ToolProcess.h"

namespace nubrix::tool {
namespace {

using testing::HasSubstr;

TEST(PropsCommandTest, TheVersionsAndTheFlagModeAreShown)
{
    const ToolResult result = runVirtual({"props"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("usb:virtual-VIRT0001\n  sdk               "));
    EXPECT_THAT(result.out, HasSubstr("\n  serial_number     VIRT0001\n"));
    EXPECT_THAT(result.out, HasSubstr("\n  stream flag mode  1\n"));
}

TEST(PropsCommandTest, JsonHasTheSame)
{
    const ToolResult result = runVirtual({"props", "--json"});
    EXPECT_EQ(result.status, 0);
    const nlohmann::json report = result.json();
    EXPECT_EQ(report["uri"], "usb:virtual-VIRT0001");
    EXPECT_EQ(report["version"]["serial_number"], "VIRT0001");
    EXPECT_THAT(report["version"]["firmware"].get<std::string>(),
                testing::MatchesRegex("[0-9]+[.][0-9]+[.][0-9]+"));
    EXPECT_EQ(report["stream_flag_mode"], 1);
}

TEST(PropsCommandTest, TheFlagModeIsWrittenAndReadBack)
{
    for (const int mode : {1, 2, 3, 4}) {
        const ToolResult result =
            runVirtual({"props", "--flag-mode", std::to_string(mode), "--json"});
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.json()["stream_flag_mode"], mode);
    }
}

TEST(PropsCommandTest, AFlagModeThatDoesNotExistIsWrongUse)
{
    for (const char *mode : {"0", "5", "-1", "x", ""}) {
        const ToolResult result = runVirtual({"props", "--flag-mode", mode});
        EXPECT_EQ(result.status, 2) << mode;
        EXPECT_THAT(result.err, HasSubstr("--flag-mode"));
        EXPECT_EQ(result.out, "");
    }
}

TEST(PropsCommandTest, AnUnknownCameraIsAFailureWithTheReason)
{
    const ToolResult result = runVirtual({"props", "usb:nobody", "--json"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("no such camera (status -4, error 0x80300208)"));
}

}  // namespace
}  // namespace nubrix::tool
