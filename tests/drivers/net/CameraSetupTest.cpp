#include "net/CameraSetup.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <thread>
#include <utility>

#include "tests/drivers/net/NetFixture.h"

namespace nubrix::net {
namespace {

using testing::HasSubstr;

class CameraSetupTest : public NetTest {
protected:
    /// The first depth of the first frame of a camera whose counts are 1000.
    unsigned int depthOf(const SimulatedCameraSettings &settings)
    {
        const SimulatedCamera camera(settings, [](std::uint32_t, std::uint32_t, void *data,
                                                  unsigned int width, unsigned int height) {
            std::fill_n(static_cast<std::uint16_t *>(data), width * height,
                        static_cast<std::uint16_t>(1000));
        });
        const OpenCamera device = open();
        PixelStream stream(*device, NUBRIX_STREAM_DEPTH);
        EXPECT_EQ(stream.start(), 0);
        if (!stream.sink().await(1))
            return ~0U;
        stream.stop();
        std::uint16_t depth = 0;
        std::memcpy(&depth, stream.sink().frames().front().pixels.data(), sizeof depth);
        return depth;
    }

    struct Refusal {
        int status;
        std::string line;
    };
    /// The status and the log of starting depth.
    Refusal startOf(const SimulatedCameraSettings &settings)
    {
        const auto camera = serve(settings);
        const OpenCamera device = open();
        const signed char rate = settings.frameRate < 1 ? 1 : 30;
        const typedefNubrixFrameMode mode = {NUBRIX_PIXEL_DEPTH_14_2, 640, 480, rate};
        EXPECT_EQ(device->setFrameMode(NUBRIX_STREAM_DEPTH, mode, false), 0);
        PixelStream stream(*device, NUBRIX_STREAM_DEPTH);
        testing::internal::CaptureStderr();
        const int status = stream.start();
        stream.stop();
        return {status, testing::internal::GetCapturedStderr()};
    }
};

TEST_F(CameraSetupTest, DepthIsScaledByTheCoordinateAlongTheOpticalAxis)
{
    SimulatedCameraSettings settings = depthCamera();
    settings.coordinate = 0;
    settings.coordinateScale = 0.5F;
    settings.coordinateOffset = 10;
    EXPECT_EQ(depthOf(settings), 4U * (1000 / 2 + 10));
}

TEST_F(CameraSetupTest, DepthInInchesBecomesMillimetres)
{
    SimulatedCameraSettings settings = depthCamera();
    settings.coordinateScale = 0.1F;
    settings.coordinateOffset = 1;
    redescribe(settings, {{"EnumEntry Name=\"Millimeter\"", "EnumEntry Name=\"Inch\""}});
    EXPECT_EQ(depthOf(settings), 10262U);  // 101 inches
}

TEST_F(CameraSetupTest, AnInvalidValueIsUsedOnlyWhenItsFlagIsSet)
{
    SimulatedCameraSettings settings = depthCamera();
    settings.invalidValue = 1000;
    EXPECT_EQ(depthOf(settings), 0U);
    const std::string feature = "<FloatReg Name=\"Scan3dInvalidDataValue\">";
    redescribe(settings, {{feature,
                           "<Boolean Name=\"Scan3dInvalidDataFlag\"><Value>0</Value>"
                           "</Boolean>" +
                               feature}});
    EXPECT_EQ(depthOf(settings), 1000U);
}

TEST_F(CameraSetupTest, ACameraIsSetToDistancesAlongTheOpticalAxis)
{
    SimulatedCameraSettings settings = depthCamera();
    redescribe(settings, {{"<EnumEntry Name=\"CalibratedC\"><Value>0</Value></EnumEntry>",
                           "<EnumEntry Name=\"DisparityC\"><Value>0</Value></EnumEntry>"
                           "<EnumEntry Name=\"CalibratedC\"><Value>1</Value></EnumEntry>"}});
    EXPECT_EQ(depthOf(settings), 1000U);
}

TEST_F(CameraSetupTest, OtherUnitsThanDistancesAreNotDeliveredAsDepth)
{
    SimulatedCameraSettings settings = depthCamera();
    redescribe(settings, {{"\"CalibratedC\"", "\"DisparityC\""}});
    Refusal refusal = startOf(settings);
    EXPECT_EQ(refusal.status, -8);
    EXPECT_THAT(refusal.line,
                HasSubstr("net:127.0.0.1 depth cannot deliver depth: its Scan3dOutputMode is "
                          "DisparityC and cannot be set to CalibratedC"));
    redescribe(settings, {{"\"Millimeter\"", "\"Pixel\""}});
    refusal = startOf(settings);
    EXPECT_EQ(refusal.status, -8);
    EXPECT_THAT(refusal.line, HasSubstr("its Scan3dDistanceUnit is Pixel"));
}

TEST_F(CameraSetupTest, AnInvalidScaleIsRefused)
{
    SimulatedCameraSettings settings = depthCamera();
    for (const float scale : {0.0F, -0.25F, std::numeric_limits<float>::quiet_NaN()}) {
        settings.coordinateScale = scale;
        const Refusal refusal = startOf(settings);
        EXPECT_EQ(refusal.status, -8) << scale;
        EXPECT_THAT(refusal.line, HasSubstr("cannot deliver depth: a count is ")) << scale;
    }
}

TEST_F(CameraSetupTest, ACameraThatRoundsTheSizeIsRefused)
{
    SimulatedCameraSettings settings = depthCamera();
    settings.width = 1280;
    redescribe(settings,
               {{"<Integer Name=\"Width\"><pValue>WidthReg</pValue>",
                 "<IntConverter Name=\"WidthInSteps\"><FormulaTo>FROM</FormulaTo>"
                 "<FormulaFrom>TO &amp; 3840</FormulaFrom><pValue>WidthReg</pValue>"
                 "</IntConverter><Integer Name=\"Width\"><pValue>WidthInSteps</pValue>"}});
    const Refusal refusal = startOf(settings);
    EXPECT_EQ(refusal.status, -4);
    EXPECT_THAT(refusal.line,
                HasSubstr("depth 640x480 at 30 frames/s Coord3D_C16 is not available, "
                          "the camera delivers 512x480 Coord3D_C16"));
}

TEST_F(CameraSetupTest, ACameraThatAnnouncesTooSmallFramesIsRefused)
{
    SimulatedCameraSettings settings = depthCamera();
    redescribe(settings, {{"0xff) / 8<", "0xff) / 16<"}});
    const Refusal refusal = startOf(settings);
    EXPECT_EQ(refusal.status, -4);
    EXPECT_THAT(refusal.line, HasSubstr("the camera announces frames of 307200 bytes, 640x480 at "
                                        "30 frames/s has 614400"));
}

TEST_F(CameraSetupTest, ACameraThatAnnouncesTooLargeFramesIsRefused)
{
    for (const auto &[size, bytes] :
         {std::pair<std::string, std::string>("0xf0000000", "4026531840"),
          {"0x7fffffff", "2147483647"},
          {"614400 + 1048577", "1662977"}}) {
        SimulatedCameraSettings settings = depthCamera();
        redescribe(settings, {{"0xff) / 8<", "0xff) / 8 * 0 + " + size + "<"}});
        const Refusal refusal = startOf(settings);
        EXPECT_EQ(refusal.status, -4);
        EXPECT_THAT(refusal.line, HasSubstr("the camera announces frames of " + bytes +
                                            " bytes, 640x480 at 30 frames/s has 614400"));
        EXPECT_THAT(refusal.line,
                    HasSubstr("no more than 1048576 bytes of other data may come with them"));
    }
}

TEST_F(CameraSetupTest, ACameraMaySendAMebibyteOfChunkDataWithAFrame)
{
    SimulatedCameraSettings settings = depthCamera();
    redescribe(settings, {{"0xff) / 8<", "0xff) / 8 + 1048576<"}});
    EXPECT_EQ(startOf(settings).status, 0);
}

TEST_F(CameraSetupTest, ACameraWhoseFeaturesDependOnThemselvesIsRefusedWithTheReason)
{
    SimulatedCameraSettings settings = depthCamera();
    redescribe(settings, {{"<Integer Name=\"Width\"><pValue>WidthReg</pValue>",
                           "<Integer Name=\"Width\"><pValue>Height</pValue>"},
                          {"<Integer Name=\"Height\"><pValue>HeightReg</pValue>",
                           "<Integer Name=\"Height\"><pValue>Width</pValue>"}});
    const auto camera = serve(settings);
    NubrixBaseDevice *device = nullptr;
    testing::internal::CaptureStderr();
    EXPECT_EQ(driver().openDevice("net:127.0.0.1", &device), -1);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("depend on themselves"));
}

TEST_F(CameraSetupTest, ExtremeBoundsOfACameraDoNoHarm)
{
    const std::string width = "<Integer Name=\"Width\"><pValue>WidthReg</pValue>";
    const std::string least = "<Min>-9223372036854775808</Min>";
    for (const std::string &odd : {least, std::string("<Min>-2147483648</Min>"),
                                   std::string("<Inc>9223372036854775807</Inc>")}) {
        SimulatedCameraSettings settings = depthCamera();
        redescribe(settings, {{width, width + odd}});
        const auto camera = serve(settings);
        const OpenCamera device = open();
        EXPECT_TRUE(device) << odd;
    }
}

TEST_F(CameraSetupTest, ARateThatTheCameraDoesNotAcceptIsReported)
{
    SimulatedCameraSettings settings = depthCamera();
    settings.frameRate = 0.25;
    const std::string usual = "<pValue>FramePeriodReg</pValue><Min>1000</Min><Max>10000000</Max>";
    redescribe(settings,
               {{usual, "<pValue>FramePeriodReg</pValue><Min>4000000</Min><Max>10000000</Max>"}});
    const Refusal refusal = startOf(settings);
    EXPECT_EQ(refusal.status, 0);
    EXPECT_THAT(refusal.line,
                HasSubstr("depth is set to 1 frames/s, but the camera delivers 0.25"));
}

TEST(NumberTest, ANumberHasADecimalPointInEveryLocale)
{
    if (std::getenv("LOCPATH") != nullptr) {
        ASSERT_NE(std::setlocale(LC_NUMERIC, "tr_TR.UTF-8"), nullptr);
        ASSERT_EQ(std::to_string(0.5), "0,500000");
    }
    EXPECT_EQ(numberText(0.25), "0.25");
    EXPECT_EQ(numberText(29.97003), "29.97");
    EXPECT_EQ(numberText(-1e300), "-1e+300");
    EXPECT_EQ(numberText(std::numeric_limits<double>::quiet_NaN()), "nan");
    std::setlocale(LC_NUMERIC, "C");
}

TEST_F(CameraSetupTest, TriggersThatAreOnStayOn)
{
    const auto camera = serve(depthCamera());
    const OpenCamera device = open();
    ASSERT_EQ(device->setProperty(0x5c08, "On", 2), 0);
    ASSERT_EQ(device->setProperty(0x5c09, "Software", 8), 0);
    PixelStream stream(*device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    char mode[8] = {};
    unsigned int size = sizeof mode;
    ASSERT_EQ(device->getProperty(0x5c08, mode, &size), 0);
    EXPECT_EQ(std::string(mode, size), "On");
    EXPECT_EQ(stream.sink().count(), 0U);
    std::size_t triggers = 0;
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    while (stream.sink().count() < 3 && std::chrono::steady_clock::now() < end) {
        ASSERT_EQ(device->setProperty(0x5c0a, nullptr, 0), 0);
        ++triggers;
        // On a busy machine, the frame of a trigger may be lost.
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
    stream.stop();
    EXPECT_GE(stream.sink().count(), 3U);
    EXPECT_LE(stream.sink().count(), triggers);
}

TEST_F(CameraSetupTest, ACameraOnThisMachineStreamsAlsoWhenPacketSocketsAreAskedFor)
{
    write("[network]\npacketSocket=true\n");
    EXPECT_EQ(depthOf(depthCamera()), 1000U);
}

}  // namespace
}  // namespace nubrix::net
