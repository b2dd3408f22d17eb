// What the tests of the virtual camera say: a driver with a scenario, opened cameras, streams.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/drivers/FakePool.h"
#include "virtual/VirtualDriver.h"

namespace nubrix {

/// A stream of an opened device with a pool and a sink of its own.
class TestStream {
public:
    TestStream(NubrixBaseDevice &device, unsigned int type, int poolLimit = 10);
    ~TestStream();

    /// Does what the library does before each start, then starts. The result is start's.
    int start();
    int stop() { return m_stream->stop(); }

    NubrixBaseStream *operator->() { return m_stream; }
    FrameSink &sink() { return m_sink; }
    FakePool &pool() { return m_pool; }

private:
    NubrixBaseDevice &m_device;
    FakePool m_pool;
    FrameSink m_sink;
    NubrixBaseStream *m_stream = nullptr;
};

class VirtualCameraTest : public testing::Test {
protected:
    static constexpr const char *kFirstUri = "usb:virtual-VIRT0001";

    /// A driver that was initialised with the scenario's text.
    void useScenario(const std::string &json);
    /// A driver that was initialised without one.
    void useDefault();

    NubrixBaseDevice *open(const std::string &uri = kFirstUri);
    std::vector<typedefNubrixeviceAttribute> list();
    /// Changes the mode of a stream; fails the test when it cannot be.
    static void setMode(NubrixBaseDevice &device, unsigned int type, int width, int height,
                        int frameRate);

    std::unique_ptr<VirtualDriver> m_driver;
};

}  // namespace nubrix
