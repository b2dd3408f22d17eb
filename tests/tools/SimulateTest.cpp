// nubrix simulate from the view of other programs, in a network of its own.
#include <gmock/gmock.h>
#include <signal.h>

#include <algorithm>
#include <cstdlib>

#include "ToolProcess.h"
#include "tests/Paths.h"

namespace nubrix {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr const char *kReady = "Ctrl-C ends it\n";

class SimulateTest : public testing::Test {
protected:
    void SetUp() override
    {
        if (const char *reason = std::getenv("NUBRIX_NO_NETWORK"))
            GTEST_SKIP() << "no network of one's own: " << reason;
    }

    static Words simulator(const Words &words = {})
    {
        return programCommand("nubrix-simulate", words);
    }
    static ToolResult run(const Words &words) { return ToolProcess(simulator(words)).finish(); }

    /// Runs another client, which does not use this library, and returns its output.
    static std::string client(const Words &words = {})
    {
        Words command = {paths::kArvTool};
        command.insert(command.end(), words.begin(), words.end());
        const ToolResult result = ToolProcess(command).finish();
        return result.out + result.err;
    }
    static std::string features(const std::string &address, const Words &names)
    {
        Words words = {"-a", address, "control"};
        words.insert(words.end(), names.begin(), names.end());
        return client(words);
    }
};

/// Tests that run the other client.
class SimulateClientTest : public SimulateTest {
protected:
    void SetUp() override
    {
        SimulateTest::SetUp();
        if (!IsSkipped() && std::string(paths::kArvTool).empty())
            GTEST_SKIP() << "there is no arv-tool-0.8 (package aravis-tools-cli)";
    }
};

TEST_F(SimulateClientTest, AnyClientFindsTheCamera)
{
    ToolProcess camera(simulator());
    ASSERT_TRUE(camera.waitForOutput(kReady));
    EXPECT_THAT(client(), HasSubstr("Nubrix-SimulatedCamera-SIM1 (127.0.0.1)\n"));
}

TEST_F(SimulateClientTest, DepthAndColourAreOfferedWithoutAskingForThem)
{
    ToolProcess camera(simulator());
    ASSERT_TRUE(camera.waitForOutput(
        "SIM1 serves depth, color at 640x480@30 on 127.0.0.1, port 3956; Ctrl-C ends it\n"));
    EXPECT_THAT(
        features("127.0.0.1",
                 {"DeviceVendorName", "DeviceSerialNumber", "PixelFormat", "Width", "Height"}),
        AllOf(HasSubstr("DeviceVendorName = Nubrix\n"), HasSubstr("DeviceSerialNumber = SIM1\n"),
              HasSubstr("PixelFormat = Coord3D_C16\n"), HasSubstr("Width = 640 "),
              HasSubstr("Height = 480 ")));
    EXPECT_THAT(features("127.0.0.1", {"PixelFormat=RGB8"}), HasSubstr("PixelFormat = RGB8\n"));
    EXPECT_THAT(features("127.0.0.1", {"PixelFormat=Mono8"}), Not(HasSubstr("= Mono8")));
}

TEST_F(SimulateClientTest, TheGeometryOfTheRoomIsReported)
{
    ToolProcess camera(simulator({"--mode", "1280x800@15"}));
    ASSERT_TRUE(camera.waitForOutput(kReady));
    // 13/16 of the width, the centre of the image, sixteenths of a millimetre.
    EXPECT_THAT(
        features("127.0.0.1", {"Scan3dFocalLength", "Scan3dPrincipalPointU",
                               "Scan3dPrincipalPointV", "Scan3dCoordinateScale"}),
        AllOf(HasSubstr("Scan3dFocalLength = 1040 "), HasSubstr("Scan3dPrincipalPointU = 639.5 "),
              HasSubstr("Scan3dPrincipalPointV = 399.5 "),
              HasSubstr("Scan3dCoordinateScale = 0.0625 ")));
}

TEST_F(SimulateClientTest, OptionsChooseWhatItIs)
{
    ToolProcess camera(
        simulator({"--ir", "--serial", "LEFT", "--address", "127.0.0.2", "--mode", "320x240@15"}));
    ASSERT_TRUE(
        camera.waitForOutput("LEFT serves ir at 320x240@15 on 127.0.0.2, port 3956; Ctrl-C"));
    EXPECT_THAT(features("127.0.0.2",
                         {"DeviceSerialNumber", "PixelFormat", "Width", "AcquisitionFrameRate"}),
                AllOf(HasSubstr("= LEFT\n"), HasSubstr("= Mono8\n"), HasSubstr("Width = 320 "),
                      HasSubstr("AcquisitionFrameRate = 15")));
}

TEST_F(SimulateClientTest, EachAddressHasACameraOfItsOwn)
{
    ToolProcess left(simulator({"--serial", "LEFT"}));
    ToolProcess right(simulator({"--serial", "RIGHT", "--address", "127.0.0.2"}));
    ASSERT_TRUE(left.waitForOutput(kReady));
    ASSERT_TRUE(right.waitForOutput(kReady));
    EXPECT_THAT(features("127.0.0.1", {"DeviceSerialNumber"}), HasSubstr("= LEFT\n"));
    EXPECT_THAT(features("127.0.0.2", {"DeviceSerialNumber"}), HasSubstr("= RIGHT\n"));
}

TEST_F(SimulateTest, CtrlCEndsItCleanly)
{
    for (const int number : {SIGINT, SIGTERM}) {
        ToolProcess camera(simulator());
        ASSERT_TRUE(camera.waitForOutput(kReady));
        camera.signal(number);
        const ToolResult result = camera.finish();
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 1) << result.out;
        EXPECT_THAT(result.err, IsEmpty());
    }
}

TEST_F(SimulateTest, APortThatIsTakenIsReportedWithTheRemedy)
{
    ToolProcess camera(simulator());
    ASSERT_TRUE(camera.waitForOutput(kReady));
    const ToolResult second = run({});
    EXPECT_EQ(second.status, 1);
    EXPECT_THAT(second.out, IsEmpty());
    EXPECT_THAT(second.err, AllOf(StartsWith("nubrix simulate: port 3956 of 127.0.0.1 is taken"),
                                  HasSubstr("nubrix doctor")));
}

TEST_F(SimulateTest, AnAddressOfAnotherMachineIsReportedWithTheRemedy)
{
    const ToolResult result = run({"--address", "192.0.2.77"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, AllOf(HasSubstr("192.0.2.77 is no address of this machine"),
                                  HasSubstr("ip address add")));
}

TEST_F(SimulateTest, AnUnsupportedModeIsReportedWithTheNearest)
{
    const ToolResult result = run({"--mode", "640x481@30"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("height 481 is not offered with width 640 (offered: 400, "
                                      "480); nearest mode: 640x480@30"));
}

TEST_F(SimulateTest, WrongUseIsRefused)
{
    for (const Words &words :
         {Words({"--mode", "big"}), Words({"--address", "here"}), Words({"--serial", ""}),
          Words({"--serial", "1234567890123456"}), Words({"--sound"})}) {
        const ToolResult result = run(words);
        EXPECT_EQ(result.status, 2) << words.front();
        EXPECT_THAT(result.err, Not(IsEmpty()));
    }
}

TEST_F(SimulateTest, TheDoctorNamesWhoHoldsThePort)
{
    ToolProcess camera(simulator());
    ASSERT_TRUE(camera.waitForOutput(kReady));
    const nlohmann::json report = runTool({"doctor", "--json"}).json();
    for (const nlohmann::json &check : report["checks"]) {
        if (check["name"] == "port 3956") {
            EXPECT_THAT(check["text"], HasSubstr("is a camera on this machine, at 127.0.0.1"));
            return;
        }
    }
    FAIL() << report;
}

}  // namespace
}  // namespace nubrix
