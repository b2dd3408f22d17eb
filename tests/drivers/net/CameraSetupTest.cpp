#include "net/CameraSetup.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <limits>

#include "tests/drivers/net/NetFixture.h"
#include "tests/drivers/net/OddCamera.h"

namespace nubrix {
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
    /// What starting depth says.
    Refusal startOf(const SimulatedCameraSettings &settings)
    {
        const auto camera = serve(settings);
        const OpenCamera device = open();
        PixelStream stream(*device, NUBRIX_STREAM_DEPTH);
        testing::internal::CaptureStderr();
        const int status = stream.start();
        stream.stop();
        return {status, testing::internal::GetCapturedStderr()};
    }
};

TEST_F(CameraSetupTest, DepthIsScaledByTheCoordinateAlongTheAxisOfView)
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

TEST_F(CameraSetupTest, AnInvalidValueCountsOnlyWhereItsFlagIsSet)
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

TEST_F(CameraSetupTest, ACameraIsSetToDistancesAlongTheAxisOfView)
{
    SimulatedCameraSettings settings = depthCamera();
    redescribe(settings, {{"<EnumEntry Name=\"CalibratedC\"><Value>0</Value></EnumEntry>",
                           "<EnumEntry Name=\"DisparityC\"><Value>0</Value></EnumEntry>"
                           "<EnumEntry Name=\"CalibratedC\"><Value>1</Value></EnumEntry>"}});
    EXPECT_EQ(depthOf(settings), 1000U);
}

TEST_F(CameraSetupTest, WhatIsNoDistanceIsNotDeliveredAsDepth)
{
    SimulatedCameraSettings settings = depthCamera();
    redescribe(settings, {{"\"CalibratedC\"", "\"DisparityC\""}});
    Refusal refusal = startOf(settings);
    EXPECT_EQ(refusal.status, -8);
    EXPECT_THAT(refusal.line,
                HasSubstr("net:127.0.0.1 depth cannot show depth: its Scan3dOutputMode is "
                          "DisparityC and cannot be set to CalibratedC"));
    redescribe(settings, {{"\"Millimeter\"", "\"Pixel\""}});
    refusal = startOf(settings);
    EXPECT_EQ(refusal.status, -8);
    EXPECT_THAT(refusal.line, HasSubstr("its Scan3dDistanceUnit is Pixel"));
}

TEST_F(CameraSetupTest, AScaleThatMakesNoSenseIsRefused)
{
    SimulatedCameraSettings settings = depthCamera();
    for (const float scale : {0.0F, -0.25F, std::numeric_limits<float>::quiet_NaN()}) {
        settings.coordinateScale = scale;
        const Refusal refusal = startOf(settings);
        EXPECT_EQ(refusal.status, -8) << scale;
        EXPECT_THAT(refusal.line, HasSubstr("cannot show depth: a count is ")) << scale;
    }
}

}  // namespace
}  // namespace nubrix
