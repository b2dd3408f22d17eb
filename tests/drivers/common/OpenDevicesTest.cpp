#include "common/DriverParts.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace nubrix
