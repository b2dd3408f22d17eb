// nubrix photo and nubrix cloud: the files that they write, read by other programs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <vector>

#include "tests/Paths.h"
#include "tests/TemporaryFolder.h"
#include "tests/drivers/virtual/ImageWriter.h"
#include "tests/tools/ToolProcess.h"

namespace nubrix::tool {
namespace {

using testing::AllOf;
using testing::HasSubstr;

class PhotoAndCloudTest : public testing::Test {
protected:
    TemporaryFolder m_folder;
};

TEST_F(PhotoAndCloudTest, APhotoIsTheColourFrame)
{
    const std::string file = m_folder.file("photo.bmp");
    const ToolResult result = runVirtual({"photo", "--out", file, "--json"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.json()["width"], 640);
    std::istringstream read(readBy(paths::kReadBitmap, file));
    int width = 0;
    int height = 0;
    std::string pixels;
    read >> width >> height >> pixels;
    EXPECT_EQ(width, 640);
    EXPECT_EQ(height, 480);
    ASSERT_EQ(pixels.size(), 640U * 480 * 6);
    // The wall of the room is blue, the carpet red.
    const auto at = [&](int x, int y) {
        const std::string hex = pixels.substr(static_cast<std::size_t>(y * 640 + x) * 6, 6);
        return std::strtol(hex.c_str(), nullptr, 16);
    };
    const long wall = at(150, 100);
    EXPECT_GT(wall & 0xff, wall >> 16);
    const long carpet = at(350, 430);
    EXPECT_GT(carpet >> 16, carpet & 0xff);
}

TEST_F(PhotoAndCloudTest, APhotoHasEveryPixelOfTheFrame)
{
    constexpr unsigned int kWidth = 64;  // photos have no padding: a width that needs none
    constexpr unsigned int kHeight = 37;
    const std::vector<std::uint8_t> pixels = colorPattern(kWidth, kHeight, 5);
    writePng(m_folder.file("a.color.png"), kWidth, kHeight, 8, 2, pixels);
    const std::string scenario =
        m_folder.file("images.json", R"({"source": "images", "images": {"folder": "."}})");
    const std::string file = m_folder.file("photo.bmp");
    const ToolResult result = runVirtual({"photo", "--out", file}, scenario);
    ASSERT_EQ(result.status, 0) << result.err;
    std::string expected = std::to_string(kWidth) + " " + std::to_string(kHeight) + " ";
    for (const std::uint8_t byte : pixels) {
        char hex[3];
        std::snprintf(hex, sizeof(hex), "%02x", byte);
        expected += hex;
    }
    EXPECT_EQ(readBy(paths::kReadBitmap, file), expected + "\n");
}

TEST_F(PhotoAndCloudTest, APhotoThatCannotBeSavedIsAFailureWithTheFile)
{
    const ToolResult result = runVirtual({"photo", "--out", m_folder.file("missing/photo.bmp")});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("photo (" + m_folder.file("missing/photo.bmp") + ")"));
}

TEST_F(PhotoAndCloudTest, ACloudHasThePointsOfTheRoomInMetres)
{
    const std::string file = m_folder.file("cloud.ply");
    const ToolResult result = runVirtual({"cloud", "--out", file, "--json"});
    ASSERT_EQ(result.status, 0) << result.err;
    std::istringstream read(readBy(paths::kReadPly, file));
    std::size_t points = 0;
    double nearest = 0;
    double farthest = 0;
    read >> points >> nearest >> farthest;
    EXPECT_EQ(points, result.json()["points"]);
    EXPECT_EQ(points, 640U * 480) << "the room is closed";
    EXPECT_GT(nearest, 1);
    EXPECT_LT(farthest, 4.1);
    const std::string content = readFile(file);
    EXPECT_THAT(content.substr(0, 400),
                AllOf(HasSubstr("comment millimetres / 1000, x right, y down, z away"),
                      HasSubstr("comment fx 520, fy 520, cx 319.5, cy 239.5 pixels\n")));
}

TEST_F(PhotoAndCloudTest, AColouredCloudHasTheOppositeAxes)
{
    const std::string file = m_folder.file("cloud.ply");
    const ToolResult result = runVirtual({"cloud", "--rgba", "--out", file});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "saved " + file + ", 307200 points\n");
    std::istringstream read(readBy(paths::kReadPly, file));
    std::size_t points = 0;
    double least = 0;
    double greatest = 0;
    std::string names;
    read >> points >> least >> greatest;
    std::getline(read, names);
    EXPECT_LT(greatest, -1);
    EXPECT_GT(least, -4.1);
    EXPECT_EQ(names, " red green blue");
}

TEST_F(PhotoAndCloudTest, AScaleThatIsNotAboveZeroIsWrongUse)
{
    EXPECT_EQ(runVirtual({"cloud", "--out", "x.ply", "--scale", "0"}).status, 2);
    EXPECT_EQ(runVirtual({"cloud"}).status, 2);
    EXPECT_EQ(runVirtual({"photo"}).status, 2);
}

}  // namespace
}  // namespace nubrix::tool
