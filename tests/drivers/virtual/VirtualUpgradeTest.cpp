// Upgrades of a virtual camera.
#include "virtual/VirtualUpgrade.h"

#include "tests/drivers/virtual/VirtualUpgradeFixture.h"

namespace nubrix::virtual_camera {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

TEST_F(VirtualUpgradeTest, ChangesTheVersion)
{
    begin();
    EXPECT_EQ(version(), "1.0.0");
    ASSERT_EQ(start(firmwareImage(firmware())), 0);
    EXPECT_EQ(awaitFinished(), 0);
    EXPECT_EQ(version(), "2.5.7");
    EXPECT_THAT(m_progress, ElementsAre(5, 31, 58, 85, 95, 100));
}

TEST_F(VirtualUpgradeTest, ConsumesTheEventsOfItsRebootAndNoOthers)
{
    begin();
    ASSERT_EQ(start(firmwareImage(firmware())), 0);
    ASSERT_EQ(awaitFinished(), 0);
    ASSERT_TRUE(awaitKept(2));
    EXPECT_THAT(kept(), ElementsAre(NUBRIX_DEVICE_DISCONNECTED, NUBRIX_DEVICE_CONNECTED));
    EXPECT_TRUE(passedOn().empty());
    EXPECT_EQ(list().size(), 1U);
}

TEST_F(VirtualUpgradeTest, WorksInRealTime)
{
    begin("{}");
    ASSERT_EQ(start(firmwareImage(firmware())), 0);
    EXPECT_EQ(awaitFinished(), 0);
    EXPECT_EQ(version(), "2.5.7");
}

TEST_F(VirtualUpgradeTest, EndsTheStreamsAndLetsThemStartAgain)
{
    begin();
    TestStream stream(*m_device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(stream.sink().await(1));
    int statusMeanwhile = 0;
    TestStream other(*m_device, NUBRIX_STREAM_IR);
    m_atProgress = [&](int percent) {
        if (percent == 5)
            statusMeanwhile = other.start();
    };
    ASSERT_EQ(start(firmwareImage(firmware())), 0);
    ASSERT_EQ(awaitFinished(), 0);
    EXPECT_EQ(statusMeanwhile, -2);
    EXPECT_EQ(stream.stop(), 0);
    stream.sink().clear();
    ASSERT_EQ(stream.start(), 0);
    EXPECT_TRUE(stream.sink().await(1));
}

TEST_F(VirtualUpgradeTest, ThatIsCutKeepsTheOldVersionAndReportsWhere)
{
    for (const std::string block : {"0", "1", "2"}) {
        begin(R"({"pacing": "free", "faults": [{"type": "upgrade_cut", "at_block": )" + block +
              "}]}");
        CaptureStderr();
        ASSERT_EQ(start(firmwareImage(firmware())), 0);
        EXPECT_EQ(awaitFinished(), -9);
        EXPECT_EQ(GetCapturedStderr(),
                  "nubrix virtual camera: upgrade of usb:virtual-VIRT0001: the connection was cut "
                  "at block " +
                      block + " of 3; the camera keeps firmware 1.0.0\n");
        EXPECT_EQ(version(), "1.0.0");
        EXPECT_EQ(list().size(), 1U);
        // The fault cuts one upgrade only.
        ASSERT_EQ(start(firmwareImage(firmware())), 0);
        EXPECT_EQ(awaitFinished(), 0);
        EXPECT_EQ(version(), "2.5.7");
        m_upgrader.reset();
        m_driver.reset();
    }
}

TEST_F(VirtualUpgradeTest, ThatIsCutTwiceWorksTheThirdTime)
{
    begin(R"({"pacing": "free", "faults": [{"type": "upgrade_cut", "at_block": 1, "count": 2}]})");
    CaptureStderr();
    for (const int status : {-9, -9, 0}) {
        ASSERT_EQ(start(firmwareImage(firmware())), 0);
        EXPECT_EQ(awaitFinished(), status);
    }
    GetCapturedStderr();
}

TEST_F(VirtualUpgradeTest, RefusesInvalidImages)
{
    begin();
    const std::string good = firmwareImage(firmware());
    std::string damaged = good;
    damaged[500] ^= 1;
    std::string unknown = good;
    unknown[30] = 1;
    const std::vector<std::pair<std::string, std::string>> files = {
        {"", "is no firmware image"},
        {good.substr(0, 31), "is no firmware image"},
        {"x" + good, "is no firmware image"},
        {unknown, "has a header of an unknown kind"},
        {good.substr(0, good.size() - 1), "should hold 10000 bytes of firmware, and holds 9999"},
        {good + "x", "should hold 10000 bytes of firmware, and holds 10001"},
        {firmwareImage(""), "should hold 0 bytes"},
        {damaged, "is damaged: its checksum does not match"}};
    for (const auto &[bytes, text] : files) {
        CaptureStderr();
        EXPECT_EQ(start(bytes), -4);
        EXPECT_THAT(GetCapturedStderr(), HasSubstr(text));
    }
    CaptureStderr();
    EXPECT_EQ(startFile(m_folder.file("missing").c_str()), -4);
    EXPECT_EQ(startFile(m_folder.path().c_str()), -4);
    EXPECT_EQ(startFile(nullptr), -4);
    EXPECT_THAT(GetCapturedStderr(), HasSubstr("cannot be read: No such file or directory"));
    EXPECT_EQ(version(), "1.0.0");
}

TEST_F(VirtualUpgradeTest, RunsOneAtATime)
{
    begin();
    int second = 0;
    m_atProgress = [&](int percent) {
        if (percent == 5)
            second = start(firmwareImage(firmware()));
    };
    ASSERT_EQ(start(firmwareImage(firmware())), 0);
    EXPECT_EQ(awaitFinished(), 0);
    EXPECT_EQ(second, -2);
}

TEST_F(VirtualUpgradeTest, OfAnUnpluggedCameraIsRefusedAndTheEventIsPassedOn)
{
    begin(R"({"pacing": "free", "faults": [
        {"type": "unplug", "at_frame": 3, "stream": "depth"}]})");
    TestStream stream(*m_device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(awaitEvents(1));
    EXPECT_THAT(passedOn(), ElementsAre(NUBRIX_DEVICE_DISCONNECTED));
    EXPECT_EQ(start(firmwareImage(firmware())), -9);
}

TEST_F(VirtualUpgradeTest, NeedsNoCallbacks)
{
    begin();
    const std::string path = m_folder.file("camera.fw", firmwareImage(firmware()));
    ASSERT_EQ(m_upgrader->deviceStartUpgradeOffLine(nullptr, path.c_str()), 0);
    EXPECT_TRUE(eventually([&] { return version() == "2.5.7"; }));
}

}  // namespace
}  // namespace nubrix::virtual_camera
