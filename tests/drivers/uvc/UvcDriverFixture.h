// A driver in a mocked system, and its reports of cameras that are attached and detached.
#pragma once

#include <gmock/gmock.h>

#include <atomic>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/drivers/FakePool.h"
#include "tests/drivers/uvc/FakeNode.h"
#include "tests/drivers/uvc/MockedUdev.h"
#include "uvc/NodeWorker.h"
#include "uvc/UvcDriver.h"

namespace nubrix::uvc {

class UvcDriverTest : public testing::Test {
protected:
    struct Reported {
        std::string text;  // "+usb:1-2 serial location"
        std::size_t listed;
    };

    void start()
    {
        driver = std::make_unique<UvcDriver>(
            [this](const std::string & /*path*/, std::unique_ptr<NodeIo> &node) {
                if (openError != 0)
                    return openError;
                node = std::make_unique<FakeNode>(camera);
                return 0;
            });
        m_driver = driver.get();
        driver->setDeviceStateCallback(&UvcDriverTest::take, this);
        ASSERT_EQ(driver->initialize(), 0);
    }
    void TearDown() override { driver.reset(); }

    std::vector<typedefNubrixeviceAttribute> list()
    {
        std::vector<typedefNubrixeviceAttribute> records(60);
        unsigned int count = 60;
        EXPECT_EQ(m_driver->getDeviceList(records.data(), &count), 0);
        records.resize(count);
        return records;
    }
    std::vector<std::string> uris()
    {
        std::vector<std::string> all;
        for (const auto &record : list())
            all.emplace_back(record.uri);
        return all;
    }
    /// Waits for this many reports; false after the deadline.
    bool await(std::size_t count)
    {
        std::unique_lock<std::mutex> lock(m_lock);
        return m_reported.wait_for(lock, kDeadline, [&] { return m_all.size() >= count; });
    }
    std::vector<std::string> reports()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        std::vector<std::string> texts;
        for (const Reported &each : m_all)
            texts.push_back(each.text);
        return texts;
    }
    std::size_t listedWhenTold(std::size_t i)
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_all[i].listed;
    }
    void plug(const std::string &busPath, unsigned int number)
    {
        system.addUsb(busPath, "A: serial=S" + std::to_string(number) + "\n");
        system.addNode(busPath, number);
    }

    void forgetTold()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_all.clear();
    }
    /// The threads of the driver; the mocked system has its own.
    static std::size_t threads()
    {
        std::size_t count = 0;
        for (const auto &task : std::filesystem::directory_iterator("/proc/self/task")) {
            std::string name;
            std::getline(std::ifstream(task.path() / "comm"), name);
            count += name.rfind("nubrix-usb", 0) == 0 ? 1 : 0;
        }
        return count;
    }
    /// Waits for this number of threads: a thread has its name, and is gone once joined, a moment
    /// later.
    static bool awaitThreads(std::size_t count)
    {
        const auto end = std::chrono::steady_clock::now() + kDeadline;
        while (threads() != count) {
            if (std::chrono::steady_clock::now() > end)
                return false;
            std::this_thread::yield();
        }
        return true;
    }

    const CallDeadline unhurried{std::chrono::hours(1)};  // no call reaches it on a busy machine
    MockedUdev system;
    FakeCamera camera;
    int openError = 0;
    std::function<void()> onReport;  // set before the event
    std::atomic<int> inside{0};      // callbacks
    std::unique_ptr<UvcDriver> driver;

private:
    static void take(const char *uri, const char *serial, const char *location, unsigned int state,
                     void *user)
    {
        auto &self = *static_cast<UvcDriverTest *>(user);
        ++self.inside;
        const std::size_t listed = self.list().size();  // as the library does
        if (self.onReport)
            self.onReport();
        const std::lock_guard<std::mutex> lock(self.m_lock);
        self.m_all.push_back({(state == NUBRIX_DEVICE_CONNECTED ? "+" : "-") + std::string(uri) +
                                  " " + serial + " " + location,
                              listed});
        self.m_reported.notify_all();
        --self.inside;
    }

    UvcDriver *m_driver = nullptr;  // for callbacks, also during its destruction
    std::mutex m_lock;
    std::condition_variable m_reported;
    std::vector<Reported> m_all;  // under m_lock
};

}  // namespace nubrix::uvc
