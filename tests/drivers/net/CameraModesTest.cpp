#include "net/CameraModes.h"

#include <gtest/gtest.h>

#include <limits>

#include "nubrix/types.h"
#include "tests/drivers/net/NetFixture.h"

namespace nubrix::net {
namespace {

constexpr std::uint32_t kMono8 = 0x01080001;
constexpr std::uint32_t kMono16 = 0x01100007;
constexpr std::uint32_t kCoord3d = 0x011000b8;
constexpr std::uint32_t kRgb8 = 0x02180014;
constexpr std::uint32_t kMono12Packed = 0x010c0006;

/// "Component:Format" of what is chosen for a stream, an empty text for none.
std::string chosen(unsigned int streamType, const std::vector<AvailableFormat> &available,
                   const std::string &wanted = "", bool mono16IsDepth = false)
{
    StreamModes modes;
    modes.streamType = streamType;
    chooseFormat(modes, available, wanted, mono16IsDepth);
    return modes.format == nullptr ? "" : modes.component + ":" + modes.format->name;
}

const std::vector<AvailableFormat> kThreeDimensional = {
    {"Range", kMono16},     {"Intensity", kMono8}, {"Intensity", kMono16},
    {"Confidence", kMono8}, {"Intensity", kRgb8},  {"Disparity", kMono16}};

TEST(CameraModesTest, ComponentsOfTheStandardBecomeTheirStreams)
{
    EXPECT_EQ(chosen(NUBRIX_STREAM_DEPTH, kThreeDimensional), "Range:Mono16");
    EXPECT_EQ(chosen(NUBRIX_STREAM_IR, kThreeDimensional), "Intensity:Mono8");
    EXPECT_EQ(chosen(NUBRIX_STREAM_COLOR, kThreeDimensional), "Intensity:RGB8");
}

TEST(CameraModesTest, DisparitiesAndConfidencesAreNoStreams)
{
    const std::vector<AvailableFormat> available = {
        {"Disparity", kCoord3d}, {"Disparity", kMono16}, {"Confidence", kMono8}};
    EXPECT_EQ(chosen(NUBRIX_STREAM_DEPTH, available), "");
    EXPECT_EQ(chosen(NUBRIX_STREAM_IR, available), "");
}

TEST(CameraModesTest, ANamedFormatIsTakenFromAComponentOfItsKind)
{
    EXPECT_EQ(chosen(NUBRIX_STREAM_IR, kThreeDimensional, "Mono16"), "Intensity:Mono16");
    EXPECT_EQ(chosen(NUBRIX_STREAM_DEPTH, kThreeDimensional, "Mono16"), "Range:Mono16");
    EXPECT_EQ(chosen(NUBRIX_STREAM_DEPTH, kThreeDimensional, "Coord3D_C16"), "");
}

TEST(CameraModesTest, ANamedComponentIsTakenForAnyStream)
{
    EXPECT_EQ(chosen(NUBRIX_STREAM_IR, kThreeDimensional, "Confidence:Mono8"), "Confidence:Mono8");
    EXPECT_EQ(chosen(NUBRIX_STREAM_IR, kThreeDimensional, "Range:Mono16"), "Range:Mono16");
    EXPECT_EQ(chosen(NUBRIX_STREAM_IR, kThreeDimensional, "Range:Mono8"), "");
    EXPECT_EQ(chosen(NUBRIX_STREAM_IR, kThreeDimensional, ":Mono8"), "");
}

TEST(CameraModesTest, WithoutComponentsTheFormatDecides)
{
    const std::vector<AvailableFormat> available = {
        {"", kMono12Packed}, {"", kMono16}, {"", kMono8}};
    EXPECT_EQ(chosen(NUBRIX_STREAM_DEPTH, available), "");
    EXPECT_EQ(chosen(NUBRIX_STREAM_DEPTH, available, "", true), ":Mono16");
    EXPECT_EQ(chosen(NUBRIX_STREAM_DEPTH, available, "Mono16"), ":Mono16");
    EXPECT_EQ(chosen(NUBRIX_STREAM_IR, {{"", kMono16}}), ":Mono16");
    EXPECT_EQ(chosen(NUBRIX_STREAM_IR, {{"", kMono16}}, "", true), "");
    EXPECT_EQ(chosen(NUBRIX_STREAM_COLOR, available), "");
}

RegionOffset offset(const Sensor &sensor, unsigned short width, unsigned short height,
                    const char *format, unsigned int stream)
{
    return offsetOf(sensor, {0, width, height, 30}, *findPixelFormat(format, stream));
}

TEST(RegionTest, ARegionIsCentredAsFarAsTheStepsAllow)
{
    const RegionOffset found = offset({652, 500, 4, 8}, 640, 480, "Mono8", NUBRIX_STREAM_IR);
    EXPECT_EQ(found.x, 4);
    EXPECT_EQ(found.y, 8);
}

TEST(RegionTest, ARegionThatCannotBeMovedIsAtTheCorner)
{
    EXPECT_EQ(offset({652, 500, 0, 0}, 640, 480, "Mono8", NUBRIX_STREAM_IR).x, 0);
    EXPECT_EQ(offset({640, 480, 1, 1}, 640, 480, "Mono8", NUBRIX_STREAM_IR).y, 0);
    EXPECT_EQ(offset({640, 480, 1, 1}, 800, 600, "Mono8", NUBRIX_STREAM_IR).x, 0);
}

TEST(RegionTest, ColoursThatRepeatEveryTwoPixelsKeepTheirPattern)
{
    const Sensor sensor = {646, 486, 1, 3};
    const RegionOffset grey = offset(sensor, 640, 480, "Mono8", NUBRIX_STREAM_IR);
    EXPECT_EQ(grey.x, 3);
    EXPECT_EQ(grey.y, 3);
    const RegionOffset mosaic = offset(sensor, 640, 472, "BayerRG8", NUBRIX_STREAM_COLOR);
    EXPECT_EQ(mosaic.x, 2);
    EXPECT_EQ(mosaic.y, 6);
    const RegionOffset shared = offset(sensor, 640, 480, "YUV422_8", NUBRIX_STREAM_COLOR);
    EXPECT_EQ(shared.x, 2);
    EXPECT_EQ(shared.y, 3);
}

class CameraRegionTest : public NetTest {
protected:
    struct Centre {
        float x;
        float y;
        std::int64_t offsetX;  // that the camera has after a start; -1: none
        std::int64_t offsetY;
    };
    static std::int64_t offset(NubrixBaseDevice &device, const std::string &name)
    {
        std::vector<unsigned char> request = {0, 0, static_cast<unsigned char>(name.size()), 0};
        request.insert(request.end(), name.begin(), name.end());
        std::int64_t value = -1;
        unsigned int size = sizeof value;
        device.propertyTranspraentTransmission(request.data(),
                                               static_cast<unsigned int>(request.size()),
                                               reinterpret_cast<unsigned char *>(&value), &size);
        return value;
    }
    Centre centreOf(const SimulatedCameraSettings &settings)
    {
        const auto camera = serve(settings);
        const OpenCamera device = open();
        const typedefNubrixFrameMode mode = {NUBRIX_PIXEL_DEPTH_14_2, 640, 480, 30};
        EXPECT_EQ(device->setFrameMode(NUBRIX_STREAM_DEPTH, mode, false), 0);
        PixelStream stream(*device, NUBRIX_STREAM_DEPTH);
        EXPECT_EQ(stream.start(), 0);
        stream.stop();
        float intrinsics[4] = {};
        unsigned int size = sizeof intrinsics;
        EXPECT_EQ(device->getProperty(kPropertyIntrinsics + NUBRIX_STREAM_DEPTH, intrinsics, &size),
                  0);
        return {intrinsics[2], intrinsics[3], offset(*device, "OffsetX"),
                offset(*device, "OffsetY")};
    }
    static SimulatedCameraSettings largerCamera()
    {
        SimulatedCameraSettings settings = depthCamera();
        settings.width = 652;
        settings.height = 500;
        settings.principalU = 325.5F;
        settings.principalV = 249.5F;
        return settings;
    }
};

TEST_F(CameraRegionTest, ThePrincipalPointIsRelativeToTheRegion)
{
    SimulatedCameraSettings settings = largerCamera();
    redescribe(settings, {{"<Integer Name=\"OffsetX\"><pValue>OffsetXReg</pValue><Min>0</Min>"
                           "<pMax>SensorWidth</pMax><Inc>2</Inc>",
                           "<Integer Name=\"OffsetX\"><pValue>OffsetXReg</pValue><Min>0</Min>"
                           "<pMax>SensorWidth</pMax><Inc>4</Inc>"}});
    const Centre centre = centreOf(settings);
    EXPECT_EQ(centre.offsetX, 4);
    EXPECT_EQ(centre.offsetY, 10);
    EXPECT_FLOAT_EQ(centre.x, 325.5F - 4);
    EXPECT_FLOAT_EQ(centre.y, 249.5F - 10);
}

TEST_F(CameraRegionTest, ThePrincipalPointStaysWhereRegionsCannotBeMoved)
{
    SimulatedCameraSettings settings = largerCamera();
    redescribe(settings,
               {{"Name=\"OffsetX\"", "Name=\"OtherX\""}, {"Name=\"OffsetY\"", "Name=\"OtherY\""}});
    const Centre centre = centreOf(settings);
    EXPECT_EQ(centre.offsetX, -1);
    EXPECT_FLOAT_EQ(centre.x, 325.5F);
    EXPECT_FLOAT_EQ(centre.y, 249.5F);
}

TEST(RegionTest, ExtremeStepsDoNoHarm)
{
    const int most = std::numeric_limits<int>::max();
    const PixelFormat &mosaic = *findPixelFormat("BayerRG8", NUBRIX_STREAM_COLOR);
    const typedefNubrixFrameMode mode = {NUBRIX_PIXEL_RGB888, 1, 1, 30};
    const RegionOffset found = offsetOf({most, most, most, 1}, mode, mosaic);
    EXPECT_EQ(found.x, 0);
    EXPECT_EQ(found.y, (most - 1) / 2 / 2 * 2);
}

}  // namespace
}  // namespace nubrix::net
