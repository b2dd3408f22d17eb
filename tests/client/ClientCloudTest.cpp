#include <cmath>
#include <string>
#include <vector>

#include "tests/client/ClientFixture.h"
#include "tests/record/RecordBytes.h"

namespace nubrix {
namespace {

using client::Intrinsics;
using client::pointCloud;

class ClientCloudTest : public ClientTest {};

TEST_F(ClientCloudTest, APixelIsAPointInMetres)
{
    Camera camera = Session().open();
    const Frame frame = camera.start(StreamType::kDepth).next(kLong);
    const Intrinsics optics = camera.intrinsics(StreamType::kDepth);
    const auto points = pointCloud(frame, optics);
    ASSERT_EQ(points.size(), 640U * 480);
    for (int y = 0; y < 480; y += 13) {
        for (int x = 0; x < 640; x += 13) {
            const typedefNubrixPoint3D &point = points[static_cast<std::size_t>(y * 640 + x)];
            const double z = frame.millimetres(x, y) / 1000;
            ASSERT_NEAR(point.z, z, 1e-6);
            ASSERT_NEAR(point.x, z * (x - 319.5) / 520, 1e-6);
            ASSERT_NEAR(point.y, z * (y - 239.5) / 520, 1e-6);
        }
    }
}

TEST_F(ClientCloudTest, EveryFormatOfDepthsGivesMetres)
{
    SentRecord record;
    for (const unsigned int depth : {0U, 1000U, 2000U, 4000U})
        appendLittle(record.pixels, depth, 2);
    record.width = 2;
    record.height = 2;
    const std::string path = m_folder.file("depths.bin", bytesOf(std::vector<SentRecord>{record}));
    const struct {
        NubrixPixelFormat format;
        float unit;  // millimetres
    } formats[] = {{NUBRIX_PIXEL_DEPTH_12_4, 1 / 16.0F},
                   {NUBRIX_PIXEL_DEPTH_13_3, 1 / 8.0F},
                   {NUBRIX_PIXEL_DEPTH_14_2, 1 / 4.0F},
                   {NUBRIX_PIXEL_DEPTH_MM, 1}};
    for (const auto &each : formats) {
        const Frame frame = client::Recording(path, each.format).frames()[0];
        EXPECT_EQ(frame.millimetresPerUnit(), static_cast<double>(each.unit));
        const auto points = pointCloud(frame, {2, 2, 0.5F, 0.5F});
        ASSERT_EQ(points.size(), 4U);
        EXPECT_EQ(points[0].z, 0);
        EXPECT_FLOAT_EQ(points[1].z, each.unit);
        EXPECT_FLOAT_EQ(points[3].z, 4 * each.unit);
        EXPECT_FLOAT_EQ(points[3].x, each.unit);
        EXPECT_FLOAT_EQ(points[3].y, each.unit);
    }
}

TEST_F(ClientCloudTest, OtherFramesHaveNoPoints)
{
    Camera camera = Session().open();
    const Intrinsics optics = camera.intrinsics(StreamType::kDepth);
    const Frame color = camera.start(StreamType::kColor).next(kLong);
    EXPECT_THROW(pointCloud(color, optics), client::Unsupported);
    EXPECT_THROW(pointCloud(Frame(), optics), Error);
    const Frame depth = camera.start(StreamType::kDepth).next(kLong);
    EXPECT_EQ(depth.millimetresPerUnit(), 1 / 16.0);
    EXPECT_THROW(color.millimetresPerUnit(), client::Unsupported);
    // The library would take those of a camera of its own.
    EXPECT_THROW(pointCloud(depth, {0, 520, 319.5F, 239.5F}), Error);
    EXPECT_THROW(pointCloud(depth, {520, 520, 319.5F, std::nanf("")}), Error);
}

}  // namespace
}  // namespace nubrix
