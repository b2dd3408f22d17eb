// The point clouds, read by another program and compared with the frames that they are made of.
#include <cstdio>
#include <cstring>
#include <sstream>

#include "tests/examples/ExampleFixture.h"

namespace nubrix {
namespace {

using testing::AllOf;
using testing::HasSubstr;

struct PlySummary {
    unsigned int points = 0;
    double nearest = 0;
    double farthest = 0;
    std::string others;  // the properties next to x, y and z
};

class CloudsTest : public ExampleTest {
protected:
    PlySummary summary() const
    {
        PlySummary all;
        std::istringstream read(readBy(paths::kReadPly, m_file));
        read >> all.points >> all.nearest >> all.farthest;
        std::getline(read, all.others);
        return all;
    }
    /// What follows the header.
    std::string body() const
    {
        static const std::string kEnd = "end_header\n";
        const std::string file = readFile(m_file);
        const std::size_t end = file.find(kEnd);
        return end == std::string::npos ? "" : file.substr(end + kEnd.size());
    }
    static typedefNubrixPoint3D point(const std::string &bytes, std::size_t at)
    {
        typedefNubrixPoint3D point = {};
        if (at + sizeof(point) <= bytes.size())
            std::memcpy(&point, bytes.data() + at, sizeof(point));
        return point;
    }
    /// Expects the point that a pinhole camera sees at a pixel, in metres.
    static void expectPoint(const typedefNubrixPoint3D &point, int x, int y, double millimetres)
    {
        constexpr double kFocalLength = 520;  // of the virtual camera at this size
        const double z = millimetres / 1000;
        ASSERT_NEAR(point.z, z, 1e-6) << x << ", " << y;
        ASSERT_NEAR(point.x, z * (x - 319.5) / kFocalLength, 1e-6) << x << ", " << y;
        ASSERT_NEAR(point.y, z * (y - 239.5) / kFocalLength, 1e-6) << x << ", " << y;
    }
    const std::string m_file = m_folder.file("cloud.ply");
};

TEST_F(CloudsTest, EveryPixelIsAPoint)
{
    const ToolResult result = run("point_cloud", {m_file});
    ASSERT_EQ(result.status, 0) << result.err;
    unsigned int points = 0;
    unsigned int index = 0;
    ASSERT_EQ(std::sscanf(result.out.c_str(), "%u points of frame %u in", &points, &index), 2);
    EXPECT_EQ(points, static_cast<unsigned int>(kWidth * kHeight));
    EXPECT_EQ(summary().points, points);
    EXPECT_EQ(summary().others, "");
    const Frame frame = sceneFrame(StreamType::kDepth, index);
    ASSERT_EQ(frame.index(), index);
    const std::string bytes = body();
    ASSERT_EQ(bytes.size(), points * sizeof(typedefNubrixPoint3D));
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const auto pixel = static_cast<std::size_t>(y * kWidth + x);
            ASSERT_NO_FATAL_FAILURE(expectPoint(point(bytes, pixel * sizeof(typedefNubrixPoint3D)),
                                                x, y, frame.millimetres(x, y)));
        }
    }
}

TEST_F(CloudsTest, AFileThatCannotBeWrittenIsNamed)
{
    for (const char *example : {"point_cloud", "coloured_cloud"}) {
        const std::string file = m_folder.file("nowhere/cloud.ply");
        const ToolResult result = run(example, {file});
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.err, HasSubstr(file + " cannot be written"));
    }
}

// The colour frame comes three frames later: it must wait for its depth frame.
TEST_F(CloudsTest, TheForegroundHasTheColoursOfTheSameMoment)
{
    constexpr double kLimit = 2100;
    const ToolResult result = run("coloured_cloud", {m_file, "2100"}, scenario(R"({"faults": [
        {"type": "drop", "at_frame": 0, "count": 3, "stream": "color"}]})"));
    ASSERT_EQ(result.status, 0) << result.err;
    unsigned int points = 0;
    unsigned int index = 0;
    ASSERT_EQ(std::sscanf(result.out.c_str(), "%u of %*u points of frame %u", &points, &index), 2);
    const PlySummary summary = this->summary();
    EXPECT_EQ(summary.points, points);
    EXPECT_LE(summary.farthest, kLimit / 1000);
    EXPECT_THAT(summary.others, AllOf(HasSubstr("red"), HasSubstr("green"), HasSubstr("blue")));

    const Frame depth = sceneFrame(StreamType::kDepth, index);
    const Frame color = sceneFrame(StreamType::kColor, index);
    ASSERT_GE(index, 3U);
    ASSERT_EQ(color.index(), index);
    const auto colors = color.image<RGB888Pixel>();
    const std::string bytes = body();
    std::size_t at = 0;
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            if (depth.millimetres(x, y) > kLimit)
                continue;
            ASSERT_NO_FATAL_FAILURE(expectPoint(point(bytes, at), x, y, depth.millimetres(x, y)));
            at += sizeof(typedefNubrixPoint3D);
            ASSERT_LE(at + 3, bytes.size());
            ASSERT_EQ(std::memcmp(bytes.data() + at, &colors(x, y), 3), 0) << x << ", " << y;
            at += 3;
        }
    }
    EXPECT_EQ(at, bytes.size());
    EXPECT_EQ(at, points * 15U);
    EXPECT_GT(points, 1000U);
}

TEST_F(CloudsTest, AtFiveFramesPerSecondTheMomentIsLonger)
{
    const ToolResult result = run("coloured_cloud", {m_file}, recordingScenario(slowRecords()));
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr(" of 64 points of frame "));
}

TEST_F(CloudsTest, EndsWithTheReasonWhenNoFramesFitTogether)
{
    const ToolResult result =
        run("coloured_cloud", {m_file}, recordingScenario(recordsOfDifferentMoments()));
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("none of colour and depth fit together"));
}

}  // namespace
}  // namespace nubrix
