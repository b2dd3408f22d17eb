// An upgrade of a virtual camera, with the test in the library's place.
#include "virtual/VirtualUpgrade.h"

#include <gmock/gmock.h>
#include <zlib.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/TemporaryFolder.h"
#include "tests/drivers/virtual/VirtualCameraFixture.h"
#include "tests/record/RecordBytes.h"
#include "virtual/FirmwareImage.h"

namespace nubrix {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

constexpr std::size_t kFirmwareBytes = 10000;  // three blocks

std::string imageOf(const std::string &firmware, unsigned int major = 2, unsigned int minor = 5)
{
    std::string bytes = "NUBRIXFW";
    appendLittle(bytes, major, 2);
    appendLittle(bytes, minor, 2);
    appendLittle(bytes, 7, 2);
    appendLittle(bytes, 0, 2);
    appendLittle(bytes, firmware.size(), 4);
    appendLittle(bytes,
                 crc32(0, reinterpret_cast<const unsigned char *>(firmware.data()),
                       static_cast<unsigned int>(firmware.size())),
                 4);
    appendLittle(bytes, 0, 8);
    return bytes + firmware;
}

std::string firmware()
{
    std::string bytes;
    for (std::size_t i = 0; i < kFirmwareBytes; ++i)
        bytes += static_cast<char>(i * 31 + i / 251);
    return bytes;
}

class VirtualUpgradeTest : public VirtualCameraTest {
protected:
    void begin(const std::string &scenario = R"({"pacing": "free"})")
    {
        useScenario(scenario);
        m_device = open();
        m_upgrader.reset(m_device->createUpgradeIntance());
        m_driver->setDeviceStateCallback(onState, this);
    }
    ~VirtualUpgradeTest() override
    {
        m_upgrader.reset();
        m_driver.reset();
    }

    int start(const std::string &image)
    {
        const std::string path = m_folder.file("camera.fw", image);
        return startFile(path.c_str());
    }
    int startFile(const char *path)
    {
        const typedefNubrixUpgradeCallbacks callbacks = {onProgress, onFinished, this};
        return m_upgrader->deviceStartUpgradeOffLine(&callbacks, path);
    }
    /// The status of the upgrade that ends next.
    int awaitFinished()
    {
        std::unique_lock<std::mutex> lock(m_lock);
        EXPECT_TRUE(m_changed.wait_for(lock, kDeadline, [this] { return !m_finished.empty(); }));
        if (m_finished.empty())
            return 12345;
        const int status = m_finished.front();
        m_finished.clear();
        return status;
    }
    /// As the library does when the camera is closed.
    void dropUpgrader()
    {
        std::unique_ptr<NubrixBaseUpgrade> gone;
        const std::lock_guard<std::mutex> api(m_apiLock);
        gone.swap(m_upgrader);
    }
    bool awaitEvents(std::size_t count)
    {
        std::unique_lock<std::mutex> lock(m_lock);
        return m_changed.wait_for(lock, kDeadline, [&] { return m_passedOn.size() >= count; });
    }
    bool awaitKept(std::size_t count)
    {
        std::unique_lock<std::mutex> lock(m_lock);
        return m_changed.wait_for(lock, kDeadline, [&] { return m_kept.size() >= count; });
    }
    std::vector<unsigned int> passedOn()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_passedOn;
    }
    std::vector<unsigned int> kept()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_kept;
    }
    std::string version()
    {
        NubrixVersions versions = {};
        unsigned int size = sizeof versions;
        EXPECT_EQ(m_device->getProperty(NUBRIX_PROPERTY_VERSION, &versions, &size), 0);
        return FirmwareImage::versionText(
            {versions.firmware[0], versions.firmware[1], versions.firmware[2]});
    }

    TemporaryFolder m_folder;
    NubrixBaseDevice *m_device = nullptr;
    std::unique_ptr<NubrixBaseUpgrade> m_upgrader;
    std::vector<int> m_progress;  // of the upgrade's thread
    std::function<void(int)> m_atProgress;
    std::function<void()> m_atFinish;
    bool m_passEventsOn = true;
    std::atomic<bool> m_returned{false};  // from m_atFinish
    std::mutex m_apiLock;                 // m_upgrader, once events come

private:
    static void onState(const char *uri, const char *serial, const char *location,
                        unsigned int state, void *user)
    {
        auto &test = *static_cast<VirtualUpgradeTest *>(user);
        if (!test.m_passEventsOn)
            return;
        const std::lock_guard<std::mutex> api(test.m_apiLock);
        if (!test.m_upgrader)
            return;
        EXPECT_EQ(test.m_upgrader->getDeviceLocation(), location);
        EXPECT_EQ(test.m_upgrader->getDeviceSerialNumber(), serial);
        test.m_upgrader->onDeviceStateChange(uri, serial, location, state);
        const bool keeps = test.m_upgrader->isUpgradeState();
        const std::lock_guard<std::mutex> lock(test.m_lock);
        (keeps ? test.m_kept : test.m_passedOn).push_back(state);
        test.m_changed.notify_all();
    }
    static void onProgress(NubrixDevice * /*device*/, int percent, void *user)
    {
        auto &test = *static_cast<VirtualUpgradeTest *>(user);
        test.m_progress.push_back(percent);
        if (test.m_atProgress)
            test.m_atProgress(percent);
    }
    static void onFinished(NubrixDevice * /*device*/, int status, void *user)
    {
        auto &test = *static_cast<VirtualUpgradeTest *>(user);
        if (test.m_atFinish)
            test.m_atFinish();
        const std::lock_guard<std::mutex> lock(test.m_lock);
        test.m_finished.push_back(status);
        test.m_changed.notify_all();
    }

    std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<int> m_finished;  // everything below is under m_lock
    std::vector<unsigned int> m_kept;
    std::vector<unsigned int> m_passedOn;
};

TEST_F(VirtualUpgradeTest, ChangesTheVersion)
{
    begin();
    EXPECT_EQ(version(), "1.0.0");
    ASSERT_EQ(start(imageOf(firmware())), 0);
    EXPECT_EQ(awaitFinished(), 0);
    EXPECT_EQ(version(), "2.5.7");
    EXPECT_THAT(m_progress, ElementsAre(5, 31, 58, 85, 95, 100));
}

TEST_F(VirtualUpgradeTest, KeepsTheEventsOfItsRebootAndNoOthers)
{
    begin();
    ASSERT_EQ(start(imageOf(firmware())), 0);
    ASSERT_EQ(awaitFinished(), 0);
    ASSERT_TRUE(awaitKept(2));
    EXPECT_THAT(kept(), ElementsAre(NUBRIX_DEVICE_DISCONNECTED, NUBRIX_DEVICE_CONNECTED));
    EXPECT_TRUE(passedOn().empty());
    EXPECT_EQ(list().size(), 1U);
}

TEST_F(VirtualUpgradeTest, TakesItsTimeInRealTime)
{
    begin("{}");
    ASSERT_EQ(start(imageOf(firmware())), 0);
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
    ASSERT_EQ(start(imageOf(firmware())), 0);
    ASSERT_EQ(awaitFinished(), 0);
    EXPECT_EQ(statusMeanwhile, -2);
    EXPECT_EQ(stream.stop(), 0);
    stream.sink().clear();
    ASSERT_EQ(stream.start(), 0);
    EXPECT_TRUE(stream.sink().await(1));
}

TEST_F(VirtualUpgradeTest, ThatIsCutLeavesTheOldVersionAndSaysWhere)
{
    for (const std::string block : {"0", "1", "2"}) {
        begin(R"({"pacing": "free", "faults": [{"type": "upgrade_cut", "at_block": )" + block +
              "}]}");
        CaptureStderr();
        ASSERT_EQ(start(imageOf(firmware())), 0);
        EXPECT_EQ(awaitFinished(), -9);
        EXPECT_EQ(GetCapturedStderr(),
                  "nubrix virtual camera: upgrade of usb:virtual-VIRT0001: the connection was cut "
                  "at block " +
                      block + " of 3; the camera keeps firmware 1.0.0\n");
        EXPECT_EQ(version(), "1.0.0");
        EXPECT_EQ(list().size(), 1U);
        // The second attempt is not cut.
        ASSERT_EQ(start(imageOf(firmware())), 0);
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
        ASSERT_EQ(start(imageOf(firmware())), 0);
        EXPECT_EQ(awaitFinished(), status);
    }
    GetCapturedStderr();
}

TEST_F(VirtualUpgradeTest, RefusesFilesThatAreNoSoundImage)
{
    begin();
    const std::string good = imageOf(firmware());
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
        {imageOf(""), "should hold 0 bytes"},
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
            second = start(imageOf(firmware()));
    };
    ASSERT_EQ(start(imageOf(firmware())), 0);
    EXPECT_EQ(awaitFinished(), 0);
    EXPECT_EQ(second, -2);
}

TEST_F(VirtualUpgradeTest, OfACameraThatIsUnpluggedEndsAndTheEventIsPassedOn)
{
    begin(R"({"pacing": "free", "faults": [
        {"type": "unplug", "at_frame": 3, "stream": "depth"}]})");
    TestStream stream(*m_device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(awaitEvents(1));
    EXPECT_THAT(passedOn(), ElementsAre(NUBRIX_DEVICE_DISCONNECTED));
    EXPECT_EQ(start(imageOf(firmware())), -9);
}

TEST_F(VirtualUpgradeTest, IsBrokenOffWhenItsUpgraderGoes)
{
    begin();
    m_passEventsOn = false;  // so that it waits for the event of the reboot
    std::atomic<bool> left{false};
    m_atProgress = [&](int percent) { left = percent == 85; };
    CaptureStderr();
    ASSERT_EQ(start(imageOf(firmware())), 0);
    while (!left)
        std::this_thread::yield();
    m_upgrader.reset();
    EXPECT_EQ(awaitFinished(), -1);
    EXPECT_THAT(GetCapturedStderr(),
                HasSubstr("it was broken off; the camera keeps firmware 1.0.0"));
    EXPECT_EQ(version(), "1.0.0");
    EXPECT_EQ(list().size(), 1U);  // it is plugged in again
}

TEST_F(VirtualUpgradeTest, IsBrokenOffWhenItsDriverGoes)
{
    begin();
    m_passEventsOn = false;
    CaptureStderr();
    ASSERT_EQ(start(imageOf(firmware())), 0);
    m_driver.reset();
    EXPECT_EQ(awaitFinished(), -1);
    GetCapturedStderr();
    EXPECT_EQ(start(imageOf(firmware())), -9);
}

TEST_F(VirtualUpgradeTest, MayEndItselfWhenItHasFinished)
{
    begin();
    m_atFinish = [this] { dropUpgrader(); };
    ASSERT_EQ(start(imageOf(firmware())), 0);
    EXPECT_EQ(awaitFinished(), 0);
    EXPECT_EQ(m_upgrader, nullptr);
}

TEST_F(VirtualUpgradeTest, MayEndItselfWhileItRuns)
{
    begin();
    m_atProgress = [this](int percent) {
        if (percent == 31)
            dropUpgrader();
    };
    CaptureStderr();
    ASSERT_EQ(start(imageOf(firmware())), 0);
    EXPECT_EQ(awaitFinished(), -1);
    EXPECT_THAT(GetCapturedStderr(), HasSubstr("it was broken off"));
    EXPECT_EQ(version(), "1.0.0");
}

TEST_F(VirtualUpgradeTest, MayBeStartedAgainWhenItHasFinished)
{
    begin();
    int again = 12345;
    bool first = true;
    m_atFinish = [&] {
        if (std::exchange(first, false))
            again = start(imageOf(firmware(), 3));
    };
    ASSERT_EQ(start(imageOf(firmware())), 0);
    EXPECT_EQ(awaitFinished(), 0);
    for (const auto until = std::chrono::steady_clock::now() + kDeadline;
         version() != "3.5.7" && std::chrono::steady_clock::now() < until;)
        std::this_thread::yield();
    EXPECT_EQ(version(), "3.5.7");
    m_upgrader.reset();  // waits for both
    EXPECT_EQ(again, 0);
}

TEST_F(VirtualUpgradeTest, GoesWhenTheCallbackThatStartedTheNextOneHasReturned)
{
    begin();
    bool first = true;
    std::promise<void> isOver;
    m_atFinish = [&] {
        if (!std::exchange(first, false)) {
            isOver.set_value();
            return;
        }
        EXPECT_EQ(start(imageOf(firmware(), 3)), 0);
        isOver.get_future().wait();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));  // be late
        m_returned = true;
    };
    ASSERT_EQ(start(imageOf(firmware())), 0);
    EXPECT_EQ(awaitFinished(), 0);  // of the second
    m_upgrader.reset();
    EXPECT_TRUE(m_returned);
}

TEST_F(VirtualUpgradeTest, ItsDriverWaitsForTheCallbackThatEndedIt)
{
    begin();
    std::promise<void> hasEnded;
    std::promise<void> mayReturn;
    m_atFinish = [&] {
        dropUpgrader();
        hasEnded.set_value();
        mayReturn.get_future().wait();
        m_returned = true;
    };
    ASSERT_EQ(start(imageOf(firmware())), 0);
    ASSERT_EQ(hasEnded.get_future().wait_for(kDeadline), std::future_status::ready);
    auto gone = std::async(std::launch::async, [&] { m_driver.reset(); });
    EXPECT_EQ(gone.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    mayReturn.set_value();
    ASSERT_EQ(gone.wait_for(kDeadline), std::future_status::ready);
    EXPECT_TRUE(m_returned);
}

TEST_F(VirtualUpgradeTest, ItsDriverWaitsForACallbackThatUsesIt)
{
    begin();
    std::promise<void> isFinishing;
    std::promise<void> mayGoOn;
    m_atFinish = [&] {
        isFinishing.set_value();
        mayGoOn.get_future().wait();
        EXPECT_FALSE(m_upgrader->isUpgradeState());
        m_returned = true;
    };
    ASSERT_EQ(start(imageOf(firmware())), 0);
    ASSERT_EQ(isFinishing.get_future().wait_for(kDeadline), std::future_status::ready);
    auto gone = std::async(std::launch::async, [&] { m_driver.reset(); });
    EXPECT_EQ(gone.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    mayGoOn.set_value();
    ASSERT_EQ(gone.wait_for(kDeadline), std::future_status::ready);
    EXPECT_TRUE(m_returned);
    EXPECT_EQ(awaitFinished(), 0);
}

TEST_F(VirtualUpgradeTest, WaitsForItsCallbackWhenItGoesFromElsewhere)
{
    begin();
    std::promise<void> isFinishing;
    std::promise<void> mayGoOn;
    m_atFinish = [&] {
        isFinishing.set_value();
        mayGoOn.get_future().wait();
        EXPECT_EQ(list().size(), 1U);
        m_returned = true;
    };
    ASSERT_EQ(start(imageOf(firmware())), 0);
    ASSERT_EQ(isFinishing.get_future().wait_for(kDeadline), std::future_status::ready);
    auto gone = std::async(std::launch::async, [&] { dropUpgrader(); });
    EXPECT_EQ(gone.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    mayGoOn.set_value();
    ASSERT_EQ(gone.wait_for(kDeadline), std::future_status::ready);
    EXPECT_TRUE(m_returned);
    EXPECT_EQ(awaitFinished(), 0);
}

TEST_F(VirtualUpgradeTest, NeedsNoCallbacks)
{
    begin();
    const std::string path = m_folder.file("camera.fw", imageOf(firmware()));
    ASSERT_EQ(m_upgrader->deviceStartUpgradeOffLine(nullptr, path.c_str()), 0);
    for (const auto until = std::chrono::steady_clock::now() + kDeadline;
         version() != "2.5.7" && std::chrono::steady_clock::now() < until;)
        std::this_thread::yield();
    EXPECT_EQ(version(), "2.5.7");
}

}  // namespace
}  // namespace nubrix
