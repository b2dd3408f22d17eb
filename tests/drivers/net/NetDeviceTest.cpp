#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>

#include "tests/drivers/net/NetFixture.h"

namespace nubrix::net {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class NetDeviceTest : public NetTest {
protected:
    void SetUp() override
    {
        NetTest::SetUp();
        if (!IsSkipped())
            connect(depthCamera());
    }
    void TearDown() override
    {
        m_open.reset();
        NetTest::TearDown();
    }

    void connect(const SimulatedCameraSettings &settings)
    {
        m_open.reset();
        m_camera.reset();
        m_camera = serve(settings);
        m_open = std::make_unique<OpenCamera>(driver(), "net:127.0.0.1");
        ASSERT_TRUE(*m_open);
        m_device = &**m_open;
    }
    std::vector<typedefNubrixFrameMode> modesOf(unsigned int stream)
    {
        const typedefNubrixFrameMode *modes = nullptr;
        unsigned int count = 0;
        EXPECT_EQ(m_device->getSupportFrameMode(stream, &modes, &count), 0);
        return {modes, modes + count};
    }
    /// The bytes of a request to a feature.
    static std::vector<unsigned char> request(int operation, int type, const std::string &name,
                                              const void *value = nullptr, std::size_t size = 0)
    {
        std::vector<unsigned char> bytes = {static_cast<unsigned char>(operation),
                                            static_cast<unsigned char>(type),
                                            static_cast<unsigned char>(name.size()), 0};
        bytes.insert(bytes.end(), name.begin(), name.end());
        const auto *first = static_cast<const unsigned char *>(value);
        bytes.insert(bytes.end(), first, first + size);
        return bytes;
    }
    int pass(std::vector<unsigned char> in, void *out, unsigned int *size)
    {
        return m_device->propertyTranspraentTransmission(in.data(),
                                                         static_cast<unsigned int>(in.size()),
                                                         static_cast<unsigned char *>(out), size);
    }

    std::unique_ptr<SimulatedCamera> m_camera;
    std::unique_ptr<OpenCamera> m_open;
    NubrixBaseDevice *m_device = nullptr;  // of m_open
};

TEST_F(NetDeviceTest, TheVersionRecordIsTheCameras)
{
    NubrixVersions versions = {};
    unsigned int size = sizeof versions;
    ASSERT_EQ(m_device->getProperty(NUBRIX_PROPERTY_VERSION, &versions, &size), 0);
    EXPECT_EQ(size, 82U);
    EXPECT_STREQ(versions.serialNumber, "N1");
    unsigned short hardware[3] = {};
    std::memcpy(hardware, versions.hardware, sizeof hardware);
    EXPECT_THAT(hardware, ElementsAre(1, 0, 2));
    size = 81;
    EXPECT_EQ(m_device->getProperty(NUBRIX_PROPERTY_VERSION, &versions, &size), -4);
}

TEST_F(NetDeviceTest, AVersionThatDoesNotFitTheRecordIsLimited)
{
    SimulatedCameraSettings settings = depthCamera();
    settings.version = "v65537.3.65536";
    connect(settings);
    NubrixVersions versions = {};
    unsigned int size = sizeof versions;
    ASSERT_EQ(m_device->getProperty(NUBRIX_PROPERTY_VERSION, &versions, &size), 0);
    unsigned short hardware[3] = {};
    std::memcpy(hardware, versions.hardware, sizeof hardware);
    EXPECT_THAT(hardware, ElementsAre(65535, 3, 65535));
}

TEST_F(NetDeviceTest, StreamsFollowFromThePixelFormats)
{
    ASSERT_FALSE(modesOf(NUBRIX_STREAM_DEPTH).empty());
    EXPECT_EQ(modesOf(NUBRIX_STREAM_DEPTH).front().pixelFormat, unsigned{NUBRIX_PIXEL_DEPTH_14_2});
    EXPECT_EQ(modesOf(NUBRIX_STREAM_IR).front().pixelFormat, unsigned{NUBRIX_PIXEL_GREY16});
    EXPECT_EQ(modesOf(NUBRIX_STREAM_COLOR).front().pixelFormat, unsigned{NUBRIX_PIXEL_RGB888});
    EXPECT_EQ(m_device->getSupportFrameMode(NUBRIX_STREAM_LIGHT_IR, nullptr, nullptr), -4);
}

TEST_F(NetDeviceTest, AStreamThatTheCameraDoesNotHaveCannotBeCreated)
{
    SimulatedCameraSettings settings = depthCamera();
    settings.formats = {kMono8};
    connect(settings);
    NubrixBaseStream *stream = nullptr;
    EXPECT_EQ(m_device->createStream(NUBRIX_STREAM_DEPTH, &stream), -8);
    EXPECT_EQ(m_device->createStream(3, &stream), -4);
    EXPECT_EQ(stream, nullptr);
    EXPECT_EQ(m_device->getCurrentFrameMode(NUBRIX_STREAM_DEPTH), nullptr);
}

TEST_F(NetDeviceTest, TheSettingsOfASerialNumberChooseTheFormat)
{
    write("[network]\n[N1]\ndepth=\"Mono16\"\nir=\"Mono8\"\n");
    m_open.reset();
    m_driver.reset();
    SimulatedCameraSettings settings = depthCamera();
    settings.formats = {kCoord3d, kMono16, kMono8};
    connect(settings);
    EXPECT_EQ(modesOf(NUBRIX_STREAM_IR).front().pixelFormat, unsigned{NUBRIX_PIXEL_GREY8});
    PixelStream stream(*m_device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    EXPECT_TRUE(stream.sink().await(1));
}

TEST_F(NetDeviceTest, ModesAreTheSizesOfTheCameraAtItsRates)
{
    SimulatedCameraSettings settings = depthCamera();
    settings.width = 1280;
    settings.height = 960;
    settings.smallestWidth = 600;
    settings.smallestHeight = 400;
    settings.frameRate = 24;
    connect(settings);
    const auto modes = modesOf(NUBRIX_STREAM_DEPTH);
    const auto has = [&](int width, int height, int rate) {
        return std::any_of(modes.begin(), modes.end(), [&](const auto &mode) {
            return mode.width == width && mode.height == height && mode.frameRate == rate;
        });
    };
    EXPECT_TRUE(has(1280, 960, 60));
    EXPECT_TRUE(has(640, 480, 30));
    EXPECT_TRUE(has(640, 480, 24));
    EXPECT_FALSE(has(320, 240, 30));
    EXPECT_FALSE(has(1920, 1080, 30));
    EXPECT_EQ(modes.front().width, 1280);
    const typedefNubrixFrameMode *found = m_device->getCurrentFrameMode(NUBRIX_STREAM_DEPTH);
    EXPECT_EQ(found->width, 1280);
    EXPECT_EQ(found->frameRate, 24);
}

TEST_F(NetDeviceTest, WidthsAreEvenWherePixelsShareColours)
{
    SimulatedCameraSettings settings = depthCamera();
    settings.width = 643;
    settings.formats = {kYuyv, kMono8};
    connect(settings);
    EXPECT_EQ(modesOf(NUBRIX_STREAM_IR).front().width, 643);
    ASSERT_FALSE(modesOf(NUBRIX_STREAM_COLOR).empty());
    for (const typedefNubrixFrameMode &mode : modesOf(NUBRIX_STREAM_COLOR))
        EXPECT_EQ(mode.width, 640);
}

TEST_F(NetDeviceTest, AnUnavailableModeIsRefusedWithTheNearestOne)
{
    testing::internal::CaptureStderr();
    EXPECT_EQ(
        m_device->setFrameMode(NUBRIX_STREAM_DEPTH, {NUBRIX_PIXEL_DEPTH_14_2, 641, 480, 30}, false),
        -4);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("net:127.0.0.1 depth: width 641 is not available for 641x480 at 30 "
                          "frames/s, the nearest mode is 640x480 at 30 frames/s"));
}

TEST_F(NetDeviceTest, IntrinsicsComeFromTheCamera)
{
    float intrinsics[4] = {};
    unsigned int size = sizeof intrinsics;
    ASSERT_EQ(m_device->getProperty(0x5600 + NUBRIX_STREAM_DEPTH, intrinsics, &size), 0);
    EXPECT_THAT(intrinsics, ElementsAre(577.5F, 577.5F, 319.5F, 239.5F));
}

TEST_F(NetDeviceTest, PropertiesStandForFeatures)
{
    double exposure = 12345;
    unsigned int size = sizeof exposure;
    ASSERT_EQ(m_device->setProperty(0x5c00, &exposure, sizeof exposure), 0);
    exposure = 0;
    ASSERT_EQ(m_device->getProperty(0x5c00, &exposure, &size), 0);
    EXPECT_EQ(exposure, 12345.0);
    EXPECT_EQ(size, 8U);
    const std::string name = "left";
    ASSERT_EQ(m_device->setProperty(0x5c0b, name.data(), 4), 0);
    char user[16] = {};
    size = sizeof user;
    ASSERT_EQ(m_device->getProperty(0x5c0b, user, &size), 0);
    EXPECT_EQ(std::string(user, size), name);
    EXPECT_EQ(m_device->setProperty(0x5c0d, nullptr, 0), 0);         // DeviceReset
    EXPECT_EQ(m_device->getProperty(0x5c0d, user, &size), -4);       // a command
    EXPECT_EQ(m_device->getProperty(0x5c01, &exposure, &size), -8);  // no gain
    EXPECT_EQ(m_device->getProperty(0x5c0e, &exposure, &size), -8);  // no such id
    EXPECT_EQ(m_device->setProperty(0x5c00, &exposure, sizeof exposure - 1), -4);
}

TEST_F(NetDeviceTest, AnyFeatureIsReadAndWrittenByItsName)
{
    std::int64_t number = 0;
    unsigned int size = sizeof number;
    ASSERT_EQ(pass(request(0, 0, "Width"), &number, &size), 0);
    EXPECT_EQ(number, 640);
    char text[32] = {};
    size = sizeof text;
    ASSERT_EQ(pass(request(0, 2, "PixelFormat"), text, &size), 0);
    EXPECT_EQ(std::string(text, size), "Coord3D_C16");
    ASSERT_EQ(pass(request(1, 2, "PixelFormat", "RGB8", 4), nullptr, nullptr), 0);
    size = sizeof text;
    ASSERT_EQ(pass(request(0, 2, "PixelFormat"), text, &size), 0);
    EXPECT_EQ(std::string(text, size), "RGB8");
    double rate = 15;
    ASSERT_EQ(pass(request(1, 1, "AcquisitionFrameRate", &rate, sizeof rate), nullptr, nullptr), 0);
    rate = 0;
    size = sizeof rate;
    ASSERT_EQ(pass(request(0, 1, "AcquisitionFrameRate"), &rate, &size), 0);
    EXPECT_NEAR(rate, 15, 0.01);
    EXPECT_EQ(pass(request(1, 3, "DeviceReset"), nullptr, nullptr), 0);
}

TEST_F(NetDeviceTest, TextsOfTheCameraAreCleaned)
{
    ASSERT_EQ(pass(request(1, 2, "DeviceUserID", "a\x1b[2Jb", 6), nullptr, nullptr), 0);
    char text[32] = {};
    unsigned int size = sizeof text;
    ASSERT_EQ(pass(request(0, 2, "DeviceUserID"), text, &size), 0);
    EXPECT_EQ(std::string(text, size), "a?[2Jb");
}

TEST_F(NetDeviceTest, InvalidRequestsAreRefused)
{
    std::int64_t number = 0;
    unsigned int size = sizeof number;
    EXPECT_EQ(pass(request(0, 0, "NoSuchFeature"), &number, &size), -8);
    EXPECT_EQ(pass(request(0, 1, "DeviceUserID"), &number, &size), -4);
    EXPECT_EQ(pass(request(2, 0, "Width"), &number, &size), -4);
    EXPECT_EQ(pass(request(0, 4, "Width"), &number, &size), -4);
    EXPECT_EQ(pass(request(0, 0, ""), &number, &size), -4);
    EXPECT_EQ(pass({0, 0, 200, 0, 'W'}, &number, &size), -4);
    EXPECT_EQ(pass({0, 0}, &number, &size), -4);
    const std::int64_t tooMuch = 100000;
    EXPECT_EQ(pass(request(1, 0, "Width", &tooMuch, sizeof tooMuch), nullptr, nullptr), -4);
    EXPECT_EQ(pass(request(1, 0, "Width", &tooMuch, 4), nullptr, nullptr), -4);
    size = 4;
    EXPECT_EQ(pass(request(0, 0, "Width"), &number, &size), -4);
    EXPECT_EQ(size, 8U);
    EXPECT_EQ(pass(request(0, 0, "Width"), nullptr, &size), -4);
}

}  // namespace
}  // namespace nubrix::net
