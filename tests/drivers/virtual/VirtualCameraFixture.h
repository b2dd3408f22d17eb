// Vocabulary of the tests of the virtual camera: a driver with a scenario, opened cameras, streams.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
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

    /// Creates a driver with the scenario of this text.
    void useScenario(const std::string &json);
    /// Creates a driver without a scenario.
    void useDefault();

    NubrixBaseDevice *open(const std::string &uri = kFirstUri);
    /// Opens the first camera with small frames, which suit slow machines.
    NubrixBaseDevice &openSmall(int frameRate = 60);
    /// Opens the first camera of a new driver with free pacing and small frames.
    NubrixBaseDevice &openFreePacing();
    std::vector<typedefNubrixeviceAttribute> list();
    /// Changes the mode of a stream; fails the test when the mode is missing.
    static void setMode(NubrixBaseDevice &device, unsigned int type, int width, int height,
                        int frameRate);
    /// The first `count` frames of a run of the stream.
    static std::vector<Received> run(TestStream &stream, std::size_t count);
    static std::uint64_t stampOf(const typedefNubrixFrame &record)
    {
        return (std::uint64_t{record.timestampHigh} << 32U) | record.timestampLow;
    }
    /// Expects that `end` does not return before `release` has been called.
    static void expectThatItWaits(const std::function<void()> &end,
                                  const std::function<void()> &release);

    std::unique_ptr<VirtualDriver> m_driver;
};

}  // namespace nubrix::virtual_camera
