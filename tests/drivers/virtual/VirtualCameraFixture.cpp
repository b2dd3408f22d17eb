#include "tests/drivers/virtual/VirtualCameraFixture.h"

#include <chrono>
#include <future>
#include <utility>

namespace nubrix::virtual_camera {

void VirtualCameraTest::useScenario(const std::string &json)
{
    const auto parsed = parseScenario(json, ".");
    const auto *error = std::get_if<ScenarioError>(&parsed);
    ASSERT_EQ(error, nullptr) << error->text("scenario");
    m_driver = std::make_unique<VirtualDriver>();
    ASSERT_EQ(m_driver->initializeWith(std::get<Scenario>(parsed), "scenario"), 0);
}

void VirtualCameraTest::useDefault()
{
    m_driver = std::make_unique<VirtualDriver>();
    ASSERT_EQ(m_driver->initializeWith(Scenario(), ""), 0);
}

NubrixBaseDevice *VirtualCameraTest::open(const std::string &uri)
{
    NubrixBaseDevice *device = nullptr;
    EXPECT_EQ(m_driver->openDevice(uri.c_str(), &device), 0);
    return device;
}

NubrixBaseDevice &VirtualCameraTest::openSmall(int frameRate)
{
    NubrixBaseDevice &device = *open();
    for (const unsigned int streamType :
         {NUBRIX_STREAM_COLOR, NUBRIX_STREAM_DEPTH, NUBRIX_STREAM_IR, NUBRIX_STREAM_LIGHT_IR})
        setMode(device, streamType, 320, 240, frameRate);
    return device;
}

NubrixBaseDevice &VirtualCameraTest::openFreePacing()
{
    useScenario(kFree);
    return openSmall();
}

std::vector<typedefNubrixeviceAttribute> VirtualCameraTest::list()
{
    std::vector<typedefNubrixeviceAttribute> records(60);
    auto count = static_cast<unsigned int>(records.size());
    EXPECT_EQ(m_driver->getDeviceList(records.data(), &count), 0);
    records.resize(count);
    return records;
}

void VirtualCameraTest::setMode(NubrixBaseDevice &device, unsigned int type, int width, int height,
                                int frameRate)
{
    const typedefNubrixFrameMode *modes = nullptr;
    unsigned int count = 0;
    ASSERT_EQ(device.getSupportFrameMode(type, &modes, &count), 0);
    for (unsigned int i = 0; i < count; ++i) {
        if (modes[i].width == width && modes[i].height == height &&
            modes[i].frameRate == frameRate) {
            ASSERT_EQ(device.setFrameMode(type, modes[i], false), 0);
            return;
        }
    }
    FAIL() << "there is no mode " << width << "x" << height << "@" << frameRate;
}

std::vector<Received> VirtualCameraTest::run(TestStream &stream, std::size_t count)
{
    stream.sink().clear();
    EXPECT_EQ(stream.start(), 0);
    EXPECT_TRUE(stream.sink().await(count));
    EXPECT_EQ(stream.stop(), 0);
    auto frames = stream.sink().frames();
    frames.resize(count);
    return frames;
}

void VirtualCameraTest::expectThatItWaits(const std::function<void()> &end,
                                          const std::function<void()> &release)
{
    auto ended = std::async(std::launch::async, end);
    EXPECT_EQ(ended.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    release();
    EXPECT_EQ(ended.wait_for(kDeadline), std::future_status::ready);
}

}  // namespace nubrix::virtual_camera
