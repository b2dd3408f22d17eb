#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

#include "tests/TemporaryFolder.h"
#include "tests/drivers/virtual/FirmwareBytes.h"
#include "tests/tools/ToolProcess.h"

namespace nubrix::tool {
namespace {

using testing::HasSubstr;

constexpr const char *kUri = "usb:virtual-VIRT0001";

class UpgradeCommandTest : public testing::Test {
protected:
    /// An image of version 3.1.4 with this many blocks of 4096 bytes.
    std::string image(std::size_t blocks)
    {
        return m_folder.file("camera.fw", firmwareImage(std::string(blocks * 4096, 'f'), 3, 1, 4));
    }

    TemporaryFolder m_folder;
};

TEST_F(UpgradeCommandTest, WritesNewFirmware)
{
    const ToolResult result = runVirtual({"upgrade", kUri, image(20)});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "usb:virtual-VIRT0001: firmware 1.0.0 -> 3.1.4\n");
    EXPECT_EQ(result.err, "");
}

TEST_F(UpgradeCommandTest, JsonHasTheSame)
{
    const ToolResult result = runVirtual({"upgrade", kUri, image(2), "--json"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.json(), nlohmann::json({{"uri", kUri},
                                             {"status", 0},
                                             {"firmware_before", "1.0.0"},
                                             {"firmware_after", "3.1.4"}}));
}

TEST_F(UpgradeCommandTest, ShowsItsProgressOnATerminal)
{
    ToolProcess::Options options;
    options.onTerminal = true;
    ToolProcess tool(virtualCommand({"upgrade", kUri, image(20)}), options);
    const ToolResult result = tool.finish();
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("100 %"));
}

TEST_F(UpgradeCommandTest, AnInterruptedUpgradeIsReportedWithTheOldFirmware)
{
    const std::string scenario =
        m_folder.file("cut.json", R"({"faults": [{"type": "upgrade_cut", "at_block": 13}]})");
    const ToolResult result = runVirtual({"upgrade", kUri, image(20)}, scenario);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("the connection was cut at block 13 of 20; the camera keeps "
                                      "firmware 1.0.0\n"));
    EXPECT_THAT(result.err, HasSubstr("nubrix: the upgrade failed at 57 % (status -9); the camera "
                                      "has firmware 1.0.0\n"));
}

TEST_F(UpgradeCommandTest, AFileThatIsNoImageIsRejected)
{
    const std::string file = m_folder.file("photo.bmp", "BM" + std::string(100, 'x'));
    const ToolResult result = runVirtual({"upgrade", kUri, file});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("\"" + file + "\" is no firmware image\n"));
    EXPECT_THAT(result.err, HasSubstr("deviceStartUpgradeOffLine (" + file + ")"));
    EXPECT_THAT(result.err, HasSubstr("status -4"));
}

TEST_F(UpgradeCommandTest, NeedsACameraAndAFile)
{
    EXPECT_EQ(runVirtual({"upgrade"}).status, 2);
    EXPECT_EQ(runVirtual({"upgrade", kUri}).status, 2);
    const ToolResult result = runVirtual({"upgrade", "usb:nobody", image(1)});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("no such camera"));
}

TEST_F(UpgradeCommandTest, ContinuesAfterOneCtrlC)
{
    ToolProcess::Options options;
    options.onTerminal = true;
    ToolProcess tool(virtualCommand({"upgrade", kUri, image(1500)}), options);
    ASSERT_TRUE(tool.waitForOutput("6 %"));
    tool.signal(SIGINT);
    const ToolResult result = tool.finish();
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("the upgrade continues; press Ctrl-C again to abort it"));
    EXPECT_THAT(result.out, HasSubstr("-> 3.1.4"));
}

}  // namespace
}  // namespace nubrix::tool
