// The distance at the middle, and the list of cameras.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>

#include "tests/drivers/virtual/ImageWriter.h"
#include "tests/examples/ExampleFixture.h"

namespace nubrix {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

class DistanceAtMiddleTest : public ExampleTest {
protected:
    /// The median of the true depths that the example looks at.
    static double trueDistance(const client::Camera &camera, unsigned int index)
    {
        std::array<double, 25> depths{};
        for (int i = 0; i < 25; ++i) {
            depths[static_cast<std::size_t>(i)] =
                trueDepth(camera, index, kWidth / 2 - 2 + i % 5, kHeight / 2 - 2 + i / 5);
        }
        std::sort(depths.begin(), depths.end());
        return depths[12];
    }
    /// A scenario of 8 x 8 depths of 1 mm each, of which the middle ones are as given.
    std::string imageScenario(const std::vector<std::uint16_t> &middle) const
    {
        std::vector<std::uint8_t> samples;
        for (std::size_t i = 0; i < 64; ++i) {
            const std::size_t row = i / 8;
            const std::size_t column = i % 8;
            const bool isMiddle = row >= 2 && row < 7 && column >= 2 && column < 7;
            const unsigned int depth = isMiddle ? middle[(row - 2) * 5 + column - 2] : 9;
            samples.push_back(static_cast<std::uint8_t>(depth & 0xFF));
            samples.push_back(static_cast<std::uint8_t>(depth >> 8));
        }
        writePng(m_folder.file("a.depth.png"), 8, 8, 16, 0, samples);
        return scenario(R"({"source": "images", "pacing": "free", "images": {"folder": "."}})");
    }
};

TEST_F(DistanceAtMiddleTest, IsTheTrueOneInEachFrame)
{
    const ToolResult result = run("distance_at_middle", {"5"});
    ASSERT_EQ(result.status, 0) << result.err;
    const Words lines = linesWith(result.out, "frame ");
    ASSERT_THAT(lines, SizeIs(5));
    const client::Camera camera = client::Session().open();
    for (const std::string &line : lines) {
        unsigned int index = 0;
        double distance = 0;
        ASSERT_EQ(std::sscanf(line.c_str(), "frame %u: %lf mm", &index, &distance), 2) << line;
        EXPECT_NEAR(distance, trueDistance(camera, index), 1 / 32.0 + 0.005) << line;
    }
}

TEST_F(DistanceAtMiddleTest, HolesDoNotCount)
{
    std::vector<std::uint16_t> middle(25, 0);
    middle[0] = 700;
    middle[6] = 800;
    middle[24] = 60000;
    const ToolResult result = run("distance_at_middle", {"1"}, imageScenario(middle));
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, EndsWith(": 800.00 mm\n"));
}

TEST_F(DistanceAtMiddleTest, IsNotInventedWhereNothingWasMeasured)
{
    const ToolResult result =
        run("distance_at_middle", {"1"}, imageScenario(std::vector<std::uint16_t>(25, 0)));
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, EndsWith(": nothing was measured\n"));
}

TEST_F(DistanceAtMiddleTest, WithoutACameraTheRemedyIsNamed)
{
    const ToolResult result = run("distance_at_middle", {}, scenario(R"({"cameras": 0})"));
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, AllOf(HasSubstr("no camera is attached"), HasSubstr("nubrix list")));
}

class ListCamerasTest : public ExampleTest {
protected:
    const std::string m_two = scenario(R"({"cameras": [
        {"serial": "LEFT", "faults": [{"type": "open_fail", "status": -2}]}, "RIGHT"]})");
};

TEST_F(ListCamerasTest, ShowsEveryModeAndTheVersions)
{
    const ToolResult result = run("list_cameras");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("usb:virtual-VIRT0001  Nubrix Virtual Camera, serial number "
                                      "VIRT0001\n    firmware "));
    for (const char *stream : {"color ", "depth ", "ir ", "light-ir "})
        EXPECT_THAT(linesWith(result.out, std::string("    ") + stream), SizeIs(16)) << stream;
    EXPECT_THAT(result.out, HasSubstr("\n    depth 1280 x 800, 15 frames/s, pixel format 1\n"));
    EXPECT_THAT(result.out, HasSubstr("\n    color 640 x 480, 30 frames/s, pixel format 0\n"));
}

TEST_F(ListCamerasTest, OneThatCannotBeOpenedDoesNotHideTheOthers)
{
    const ToolResult result = run("list_cameras", {}, m_two);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("another application has the camera"));
    EXPECT_THAT(linesWith(result.out, "usb:virtual-"), SizeIs(2));
    EXPECT_THAT(linesWith(result.out, "    depth "), SizeIs(16));
}

TEST_F(ListCamerasTest, TheOneWithASerialNumberIsFound)
{
    const ToolResult result = run("list_cameras", {"RIGHT"}, m_two);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, AllOf(HasSubstr("serial number RIGHT"), Not(HasSubstr("LEFT"))));
    EXPECT_THAT(linesWith(result.out, "    depth "), SizeIs(16));
}

TEST_F(ListCamerasTest, OneThatIsNotAttachedIsAFailure)
{
    const ToolResult result = run("list_cameras", {"MIDDLE"}, m_two);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("nubrix doctor"));
}

}  // namespace
}  // namespace nubrix
