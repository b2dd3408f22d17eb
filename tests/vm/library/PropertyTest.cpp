#include <fcntl.h>
#include <linux/v4l2-controls.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <cstring>

#include "CameraFixture.h"

namespace nubrix::vm {

namespace {

constexpr unsigned char kSet = 0x01;
constexpr unsigned char kGet = 0x81;
constexpr unsigned char kExtensionUnit = 2;  // of the software camera

class Properties : public CameraFixture {};

}  // namespace

TEST_F(Properties, TheVersionIsThatOfTheUsbDescriptor)
{
    NubrixVersions versions = {};
    ASSERT_EQ(m_context->getVersion(open(), &versions), 0);
    EXPECT_EQ(versions.firmware[0], 1);
    EXPECT_EQ(versions.firmware[1], 2);
    EXPECT_EQ(versions.firmware[2], 3);
    const std::string serial = versions.serialNumber;
    EXPECT_EQ(serial, "SOFT0001");
}

TEST_F(Properties, AControlOfTheKernelIsReadAndWritten)
{
    NubrixDevice *camera = open();
    for (const int wanted : {200, 7}) {
        ASSERT_EQ(m_context->setDeviceProperty(camera, V4L2_CID_BRIGHTNESS, &wanted, 4), 0);
        int value = 0;
        unsigned int size = 4;
        ASSERT_EQ(m_context->getDeviceProperty(camera, V4L2_CID_BRIGHTNESS, &value, &size), 0);
        EXPECT_EQ(size, 4U);
        EXPECT_EQ(value, wanted);
    }
    int value = 0;
    unsigned int size = 4;
    EXPECT_EQ(m_context->getDeviceProperty(camera, V4L2_CID_CONTRAST, &value, &size), -8);
}

TEST_F(Properties, TheExtensionUnitKeepsWhatIsWrittenToIt)
{
    NubrixDevice *camera = open();
    std::array<unsigned char, 14> set = {
        kSet, kExtensionUnit, 2, 0, 8, 0, 'n', 'u', 'b', 'r', 'i', 'x', 1, 2};
    std::array<unsigned char, 8> out = {};
    unsigned int size = out.size();
    ASSERT_EQ(m_context->propertyTranspraentTransmission(camera, set.data(), set.size(), out.data(),
                                                         &size),
              0);
    std::array<unsigned char, 6> get = {kGet, kExtensionUnit, 2, 0, 0, 0};
    size = out.size();
    ASSERT_EQ(m_context->propertyTranspraentTransmission(camera, get.data(), get.size(), out.data(),
                                                         &size),
              0);
    EXPECT_EQ(size, 8U);
    EXPECT_EQ(std::memcmp(out.data(), set.data() + 6, 8), 0);
    get[2] = 9;
    EXPECT_NE(m_context->propertyTranspraentTransmission(camera, get.data(), get.size(), out.data(),
                                                         &size),
              0);
}

// The node's path comes from the test's script.
TEST_F(Properties, ADescriptorOfTheApplicationStreamsAndStaysOpen)
{
    const char *node = std::getenv("DEPTH_NODE");
    ASSERT_NE(node, nullptr);
    const int descriptor = ::open(node, O_RDWR | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(descriptor, 0);
    NubrixDevice *camera = nullptr;
    ASSERT_EQ(m_context->openDevice2(0x1209, 0x0001, static_cast<unsigned int>(descriptor), node,
                                     &camera),
              0);
    NubrixStream *depth = stream(camera, NUBRIX_STREAM_DEPTH);
    ASSERT_NE(depth, nullptr);
    readRightFrame(depth, "depth");
    EXPECT_EQ(m_context->closeDevice(camera), 0);
    EXPECT_NE(::fcntl(descriptor, F_GETFD), -1);
    ::close(descriptor);
}

}  // namespace nubrix::vm
