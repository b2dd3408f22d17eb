// What the tests of the virtual camera say: a driver with a scenario, opened cameras, streams.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tests/drivers/TestStream.h"
#include "virtual/VirtualDriver.h"

namespace nubrix::virtual_camera {

class VirtualCameraTest : public testing::Test {
protected:
    static constexpr const char *kFirstUri = "usb:virtual-VIRT0001";
    static constexpr const char *kFree = R"({"pacing": "free"})";

    /// A driver that was initialised with the scenario's text.
    void useScenario(const std::string &json);
    /// A driver that was initialised without one.
    void useDefault();

    NubrixBaseDevice *open(const std::string &uri = kFirstUri);
    /// Opens the first camera with small images, which suit slow machines.
    NubrixBaseDevice &openSmall(int frameRate = 60);
    std::vector<typedefNubrixeviceAttribute> list();
    /// Changes the mode of a stream; fails the test when it cannot be.
    static void setMode(NubrixBaseDevice &device, unsigned int type, int width, int height,
                        int frameRate);
    /// `end` returns when something else has been released, not before.
    static void expectThatItWaits(const std::function<void()> &end,
                                  const std::function<void()> &release);

    std::unique_ptr<VirtualDriver> m_driver;
};

}  // namespace nubrix::virtual_camera
