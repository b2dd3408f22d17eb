// The examples that run for long or change a camera: the service, slow work, the upgrade, the
// application's own test.
#include <signal.h>

#include <cstdio>
#include <set>

#include "tests/drivers/virtual/FirmwareBytes.h"
#include "tests/examples/ExampleFixture.h"

namespace nubrix {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

class ServiceTest : public ExampleTest {
protected:
    /// What systemd finds wrong with a unit; its program is the example, as it is not installed.
    std::string problemsOf(std::string unit) const
    {
        const std::string installed = "/usr/local/bin/nubrix-service";
        const std::size_t at = unit.find("ExecStart=" + installed);
        if (at == std::string::npos)
            return "it does not start the installed program";
        unit.replace(at, 10 + installed.size(),
                     std::string("ExecStart=\"") + paths::kBin + "/examples/service\"");
        const std::string file = m_folder.file("nubrix-service.service", unit);
        // Other units of the machine may have problems of their own.
        return ToolProcess({"systemd-analyze", "verify", "--recursive-errors=no", file})
            .finish()
            .err;
    }
};

// Every frame is delivered, so that one comes between the two for certain.
TEST_F(ServiceTest, SurvivesUnpluggingLogsEachAndEndsOnRequest)
{
    const std::string unplugged = scenario(R"({"pacing": "free", "faults": [
        {"type": "unplug", "at_frame": 10, "stream": "depth"}, {"type": "plug", "after_ms": 200},
        {"type": "unplug", "at_frame": 20, "stream": "depth"}, {"type": "plug", "after_ms": 200}]})");
    ToolProcess service(onVirtualCamera("service", {}, unplugged));
    ASSERT_TRUE(service.waitForOutput("measuring with usb:virtual-VIRT0001", 3))
        << service.finish().err;
    ASSERT_TRUE(service.waitForOutput(" mm\n", 3)) << service.finish().err;
    service.signal(SIGTERM);
    const ToolResult result = service.finish();
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(linesContaining(result.err, "usb:virtual-VIRT0001 left"), SizeIs(2)) << result.err;
    EXPECT_THAT(linesContaining(result.err, "the camera is gone: unplugged"), SizeIs(2))
        << result.err;
    EXPECT_THAT(linesContaining(result.err, "usb:virtual-VIRT0001 arrived"), SizeIs(2))
        << result.err;
    EXPECT_THAT(result.err, EndsWith("stopped\n"));
}

TEST_F(ServiceTest, WaitsForACamera)
{
    const std::string late = scenario(R"({"cameras": [{"serial": "LATE", "plugged": false,
        "faults": [{"type": "plug", "at_ms": 1500}]}]})");
    ToolProcess service(onVirtualCamera("service", {}, late));
    ASSERT_TRUE(service.waitForOutput("measuring with usb:virtual-LATE")) << service.finish().err;
    service.signal(SIGINT);
    const ToolResult result = service.finish();
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_LE(linesContaining(result.err, "no camera is attached").size(), 1U) << result.err;
}

TEST_F(ServiceTest, LogsAReasonOnceHoweverOftenItTries)
{
    ToolProcess service(onVirtualCamera("service", {}, scenario(R"({"faults": [
        {"type": "open_fail", "attempt": 1, "count": 4, "status": -2}]})")));
    ASSERT_TRUE(service.waitForOutput("measuring with ")) << service.finish().err;
    service.signal(SIGINT);
    const ToolResult result = service.finish();
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(linesContaining(result.err, "another application has the camera"), SizeIs(1))
        << result.err;
}

TEST_F(ServiceTest, ItsUnitIsOneThatSystemdTakes)
{
    if (ToolProcess({"systemd-analyze", "--version"}).finish().status != 0)
        GTEST_SKIP() << "systemd is not installed";
    const std::string unit = readFile(std::string(paths::kExamples) + "/nubrix-service.service");
    EXPECT_EQ(problemsOf(unit), "");
    EXPECT_THAT(problemsOf(unit + "[Service]\nRestrat=always\n"), HasSubstr("Restrat"));
}

class SlowWorkerTest : public ExampleTest {};

// A recording of 250 frames/s, of which a busy machine loses none before they reach the queue. The
// work takes 150 ms for each, and ends long before the recording does.
TEST_F(SlowWorkerTest, EveryFrameIsWorkedOnOrCountedAsDropped)
{
    std::vector<SentRecord> records;
    for (unsigned int i = 0; i < 10000; ++i)
        records.push_back(smallRecord(StreamType::kDepth, i, i * 4000ULL));
    const ToolResult result = run("slow_worker", {"10"}, recordingScenario(records));
    ASSERT_EQ(result.status, 0) << result.err;
    const Words worked = linesWith(result.out, "worked on frame ");
    EXPECT_THAT(worked, SizeIs(10));
    EXPECT_THAT(std::set<std::string>(worked.begin(), worked.end()), SizeIs(10))
        << "no frame twice";
    const std::size_t at = result.out.find(worked.back()) + worked.back().size();
    unsigned int came = 0;
    unsigned int dropped = 0;
    unsigned int kept = 0;
    ASSERT_EQ(std::sscanf(result.out.c_str() + at,
                          "%u frames came, %u were dropped from the queue, %u are kept", &came,
                          &dropped, &kept),
              3)
        << result.out;
    EXPECT_GT(dropped, 0U);
    EXPECT_GE(came, 10 + dropped);
    EXPECT_LE(came, 10 + dropped + 2) << "2 frames may wait in the queue";
    EXPECT_EQ(kept, 5U);
    EXPECT_THAT(result.out,
                HasSubstr("lost: " + std::to_string(dropped) + " dropped from the queue"));
}

TEST_F(SlowWorkerTest, WhatTheWorkThrowsReachesTheProgram)
{
    const ToolResult result = run("slow_worker", {"1000"},
                                  scenario(R"({"faults": [{"type": "unplug", "at_frame": 12}]})"));
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, HasSubstr("worked on frame "));
    EXPECT_THAT(result.err, HasSubstr("the camera is gone"));
}

class UpgradeFirmwareTest : public ExampleTest {
protected:
    const std::string m_image =
        m_folder.file("camera.fw", firmwareImage(std::string(20000, 'x'), 7, 1, 3));
};

TEST_F(UpgradeFirmwareTest, ShowsTheProgressAndBothVersions)
{
    const ToolResult result = run("upgrade_firmware", {"usb:virtual-VIRT0001", m_image});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(linesWith(result.out, "before: firmware "), SizeIs(1));
    EXPECT_THAT(result.out, Not(HasSubstr("before: firmware 7.1.3")));
    EXPECT_LT(result.out.find("\n5 %\n"), result.out.find("\n100 %\n"));
    EXPECT_THAT(result.out, EndsWith("\n100 %\nnow: firmware 7.1.3\n"));
}

TEST_F(UpgradeFirmwareTest, AFileThatIsNoFirmwareIsRefused)
{
    const ToolResult result =
        run("upgrade_firmware", {"usb:virtual-VIRT0001", m_folder.file("camera.fw", "nothing")});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, Not(HasSubstr("now:")));
    EXPECT_THAT(result.err, HasSubstr("camera.fw"));
}

TEST_F(UpgradeFirmwareTest, AfterAPulledCableItIsToBeRepeated)
{
    const ToolResult result =
        run("upgrade_firmware", {"usb:virtual-VIRT0001", m_image},
            scenario(R"({"faults": [{"type": "upgrade_cut", "at_block": 2}]})"));
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("upgrade it again"));
}

class OwnTestTest : public ExampleTest {};

TEST_F(OwnTestTest, PassesOnItsScenario)
{
    const ToolResult result = run("own_test", {}, std::string(paths::kExamples) + "/own_test.json");
    EXPECT_EQ(result.status, 0) << result.out << result.err;
    EXPECT_THAT(linesWith(result.out, "passed: "), SizeIs(5));
    EXPECT_THAT(result.out, Not(HasSubstr("FAILED")));
}

TEST_F(OwnTestTest, FailsWhereTheCameraDoesSomethingElse)
{
    const ToolResult result = run("own_test", {}, scenario(R"({"pacing": "free", "faults": [
        {"type": "drop", "at_frame": 10, "count": 4, "stream": "depth"},
        {"type": "unplug", "at_frame": 40, "stream": "depth"}]})"));
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(linesWith(result.out, "FAILED: "), SizeIs(2)) << result.out;
    EXPECT_THAT(linesWith(result.out, "passed: "), SizeIs(3)) << result.out;
}

}  // namespace
}  // namespace nubrix
