#include "common/DriverParts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/fakes/FakeDevice.h"
#include "tests/fakes/FakeDriver.h"

namespace nubrix {
namespace {

class OpenDevicesTest : public testing::Test {
protected:
    NubrixBaseDevice *open()
    {
        NubrixBaseDevice *device = nullptr;
        EXPECT_EQ(m_open.keep(std::make_unique<FakeDevice>(m_driver, "camera"), &device), kDone);
        return device;
    }

    FakeDriver m_driver;
    OpenDevices<FakeDevice> m_open;
};

TEST_F(OpenDevicesTest, ADeviceIsClosedOnce)
{
    NubrixBaseDevice *const device = open();
    ASSERT_NE(device, nullptr);
    NubrixBaseDevice *handle = device;
    EXPECT_EQ(m_open.close(&handle), kDone);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(m_open.close(&handle), kBadArgument);
    EXPECT_EQ(m_open.close(nullptr), kBadArgument);
    handle = device;
    EXPECT_EQ(m_open.close(&handle), kBadArgument);
    EXPECT_EQ(handle, device);
}

TEST_F(OpenDevicesTest, ManyMayOpenAndCloseAtOnce)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this] {
            for (int k = 0; k < 100; ++k) {
                NubrixBaseDevice *device = open();
                EXPECT_EQ(m_open.close(&device), kDone);
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
}

const auto kCopy = [](int entry, int &record) { record = entry; };

TEST(RecordListTest, FillsUpToTheCapacity)
{
    const std::vector<int> entries = {5, 6, 7};
    for (const unsigned int capacity : {0U, 2U, 3U, 4U}) {
        std::vector<int> records(4, -1);
        unsigned int count = capacity;
        EXPECT_EQ(listRecords([&] { return entries; }, kCopy, records.data(), &count), kDone);
        EXPECT_EQ(count, std::min(capacity, 3U));
        for (std::size_t i = 0; i < records.size(); ++i)
            EXPECT_EQ(records[i], i < count ? entries[i] : -1);
    }
}

TEST(RecordListTest, TheCountIsZeroWheneverItFails)
{
    std::vector<int> records(4);
    const auto none = []() -> std::vector<int> { throw std::bad_alloc(); };
    const auto one = [] { return std::vector<int>{1, 2}; };
    const auto refuse = [](int entry, int & /*record*/) {
        if (entry == 2)
            throw std::runtime_error("no");
    };
    unsigned int count = 60;
    EXPECT_EQ(listRecords(none, kCopy, records.data(), &count), kFailed);
    EXPECT_EQ(count, 0U);
    count = 60;
    EXPECT_EQ(listRecords(one, refuse, records.data(), &count), kFailed);
    EXPECT_EQ(count, 0U);
    count = 60;
    EXPECT_EQ(listRecords(one, kCopy, static_cast<int *>(nullptr), &count), kBadArgument);
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(listRecords(one, kCopy, records.data(), nullptr), kBadArgument);
}

TEST(StateCallbackTest, PassesCleanTexts)
{
    std::string passed;
    StateCallback callback;
    callback.set(
        [](const char *uri, const char *serial, const char *location, unsigned int, void *user) {
            *static_cast<std::string *>(user) = std::string(uri) + serial + location;
        },
        &passed);
    callback.notify("u\x1b", "s\x9b", "l\xc2\x9b", true);
    EXPECT_EQ(passed, "u?s?l?");
}

void takeOne(const char *, const char *, const char *, unsigned int, void *user)
{
    EXPECT_EQ(*static_cast<int *>(user), 1);
}

void takeTwo(const char *, const char *, const char *, unsigned int, void *user)
{
    EXPECT_EQ(*static_cast<int *>(user), 2);
}

TEST(StateCallbackTest, IsChangedTogetherWithItsUser)
{
    StateCallback callback;
    int one = 1;
    int two = 2;
    callback.set(&takeOne, &one);
    std::thread changing([&] {
        for (int i = 0; i < 2000; ++i) {
            callback.set(&takeTwo, &two);
            callback.set(&takeOne, &one);
        }
    });
    for (int i = 0; i < 2000; ++i)
        callback.notify("uri", "serial", "location", true);
    changing.join();
}

}  // namespace
}  // namespace nubrix
