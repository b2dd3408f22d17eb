#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/ToolProcess.h"

namespace nubrix::tool {
namespace {

using testing::HasSubstr;

TEST(ModesCommandTest, EveryStreamShowsItsCurrentAndItsSupportedModes)
{
    const ToolResult result = runVirtual({"modes"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("usb:virtual-VIRT0001\n  color, now 640x480@30 RGB888\n"));
    EXPECT_THAT(result.out, HasSubstr("  depth, now 640x480@30 depth 12.4\n"));
    EXPECT_THAT(result.out, HasSubstr("  ir, now 640x480@30 grey 8\n"));
    EXPECT_THAT(result.out, HasSubstr("  light-ir, now 640x480@30 grey 8\n"));
    EXPECT_THAT(result.out, HasSubstr("    1280x800 depth 12.4 @ 5, 15, 30, 60\n"));
    EXPECT_EQ(result.err, "");
}

TEST(ModesCommandTest, JsonHasEveryMode)
{
    const ToolResult result = runVirtual({"modes", "usb:virtual-VIRT0001", "--json"});
    EXPECT_EQ(result.status, 0);
    const nlohmann::json report = result.json();
    EXPECT_EQ(report["uri"], "usb:virtual-VIRT0001");
    ASSERT_EQ(report["streams"].size(), 4U);
    const nlohmann::json &depth = report["streams"][1];
    EXPECT_EQ(depth["type"], "depth");
    EXPECT_EQ(
        depth["current"],
        nlohmann::json::parse(R"({"width":640,"height":480,"fps":30,"format":"depth 12.4"})"));
    for (const int fps : {5, 15, 30, 60}) {
        const nlohmann::json mode = {
            {"width", 1280}, {"height", 800}, {"fps", fps}, {"format", "depth 12.4"}};
        EXPECT_THAT(depth["supported"], testing::Contains(mode));
    }
}

TEST(ModesCommandTest, AnUnknownCameraIsAFailureWithTheReason)
{
    const ToolResult result = runVirtual({"modes", "usb:nobody"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err,
              "nubrix: openDevice (usb:nobody): no such camera (status -4, error 0x80300208); "
              "run 'nubrix list' for those that are attached\n");
}

}  // namespace
}  // namespace nubrix::tool
