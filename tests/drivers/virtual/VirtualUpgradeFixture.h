// The fixture of upgrade tests: images, and an upgrader for which the test acts as the library.
#pragma once

#include <gmock/gmock.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "tests/TemporaryFolder.h"
#include "tests/drivers/virtual/FirmwareBytes.h"
#include "tests/drivers/virtual/VirtualCameraFixture.h"
#include "tests/fakes/HangGuard.h"
#include "virtual/VirtualUpgrade.h"

namespace nubrix::virtual_camera {

constexpr std::size_t kFirmwareBytes = 10000;  // three blocks

inline std::string firmware()
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
    /// The status of the next upgrade that ends.
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
    /// Destroys the upgrader as the library does when the camera is closed.
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
    std::vector<int> m_progress;  // written by the upgrade's thread
    std::function<void(int)> m_atProgress;
    std::function<void()> m_atFinish;
    bool m_passEventsOn = true;
    std::atomic<bool> m_returned{false};  // set at the end of m_atFinish
    std::mutex m_apiLock;                 // guards m_upgrader once events arrive

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

}  // namespace nubrix::virtual_camera
