// The tool on a network camera that another process simulates.
#include <gmock/gmock.h>
#include <signal.h>

#include <cmath>
#include <cstdlib>
#include <optional>
#include <sstream>

#include "ImageFile.h"
#include "ToolProcess.h"
#include "tests/Paths.h"
#include "tests/TemporaryFolder.h"
#include "virtual/Scene.h"

namespace nubrix {
namespace {

using testing::AllOf;
using testing::HasSubstr;

constexpr const char *kUri = "net:127.0.0.1";
constexpr int kWidth = 320;
constexpr int kHeight = 240;
constexpr std::uint32_t kFewFrames = 200;

class NetworkCameraTest : public testing::Test {
protected:
    void SetUp() override
    {
        if (const char *reason = std::getenv("NUBRIX_NO_NETWORK"))
            GTEST_SKIP() << "no network of one's own: " << reason;
        m_camera.emplace(programCommand(
            "nubrix-simulate",
            {"--depth", "--color", "--ir", "--serial", "ROOM", "--mode", "320x240@30"}));
        ASSERT_TRUE(m_camera->waitForOutput("Ctrl-C ends it\n"));
    }

    static ToolResult runOnCamera(const std::string &command, const Words &words = {})
    {
        Words all = {command, kUri};
        all.insert(all.end(), words.begin(), words.end());
        return runWhereFound(all, "error 0x80300208");  // there is no such camera
    }
    /// On a busy machine the camera may answer after the command's timeout: then it runs once more.
    static ToolResult runWhereFound(const Words &words, const std::string &notFound)
    {
        return untilUndisturbed([&] { return runTool(words); },
                                [&](const ToolResult &result) {
                                    return (result.out + result.err).find(notFound) ==
                                           std::string::npos;
                                });
    }
    std::string file(const std::string &name) const { return m_folder.file(name); }

private:
    TemporaryFolder m_folder;
    std::optional<ToolProcess> m_camera;
};

/// The first frame whose pixels are all close enough to the true depth.
template <class IsNear>
std::optional<std::uint32_t> frameWhere(IsNear isNear)
{
    const auto fits = [&](std::uint32_t frame) {
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                if (!isNear(x, y, virtual_camera::sceneDepthMm(kWidth, kHeight, frame, x, y)))
                    return false;
            }
        }
        return true;
    };
    for (std::uint32_t frame = 0; frame < kFewFrames; ++frame) {
        if (fits(frame))
            return frame;
    }
    return std::nullopt;
}

TEST_F(NetworkCameraTest, ItIsListedAsOneOfTheNetwork)
{
    const nlohmann::json cameras =
        runWhereFound({"list", "--json"}, R"("cameras": [])").json()["cameras"];
    ASSERT_EQ(cameras.size(), 1U) << cameras;
    EXPECT_EQ(cameras[0]["uri"], kUri);
    EXPECT_EQ(cameras[0]["serial_number"], "ROOM");
    EXPECT_EQ(cameras[0]["transport"], "network");
    EXPECT_THAT(cameras[0]["location"], HasSubstr("127.0.0.1"));
}

TEST_F(NetworkCameraTest, EachStreamRuns)
{
    for (const char *stream : {"depth", "color", "ir"}) {
        const ToolResult result =
            runOnCamera("stream", {"--streams", stream, "--frames", "10", "--json"});
        ASSERT_EQ(result.status, 0) << stream << result.err;
        EXPECT_EQ(result.json()["streams"][0]["frames"], 10) << result.out;
    }
}

TEST_F(NetworkCameraTest, SavedDepthIsTheTrueDepthAtEveryPixel)
{
    const ToolResult result =
        runOnCamera("stream", {"--streams", "depth", "--frames", "3", "--save", file("saved")});
    ASSERT_EQ(result.status, 0) << result.err;
    for (const char *name : {"saved/depth-first.png", "saved/depth-last.png"}) {
        const ImageFile image = readImage(file(name));
        ASSERT_TRUE(image.isGrey16());
        ASSERT_EQ(image.width, static_cast<unsigned int>(kWidth));
        ASSERT_EQ(image.height, static_cast<unsigned int>(kHeight));
        // The camera sends sixteenths, the file has quarters of a millimetre: each rounds by half a
        // unit.
        EXPECT_TRUE(frameWhere([&](int x, int y, double truth) {
            const double depth = image.samples[static_cast<std::size_t>(y * kWidth + x)] / 4.0;
            return std::abs(depth - truth) <= 0.125 + 0.03125;
        })) << name;
    }
}

TEST_F(NetworkCameraTest, ACloudIsTheRoomInItsGeometry)
{
    const ToolResult result = runOnCamera("cloud", {"--out", file("cloud.ply")});
    ASSERT_EQ(result.status, 0) << result.err;
    std::istringstream points(readBy(paths::kReadPoints, file("cloud.ply")));
    struct Point {
        double x;
        double y;
        double z;
    };
    std::vector<Point> cloud;
    for (Point point = {}; points >> point.x >> point.y >> point.z;)
        cloud.push_back(point);
    ASSERT_EQ(cloud.size(), static_cast<std::size_t>(kWidth * kHeight)) << "the room is closed";
    const CameraIntrinsics lens = virtual_camera::PinholeCamera(kWidth, kHeight).intrinsics();
    EXPECT_TRUE(frameWhere([&](int x, int y, double truth) {
        const Point &point = cloud[static_cast<std::size_t>(y * kWidth + x)];
        const double right = (x - double{lens.cx}) / double{lens.fx} * truth;
        const double down = (y - double{lens.cy}) / double{lens.fy} * truth;
        return std::abs(point.z - truth) < 1 && std::abs(point.x - right) < 1 &&
               std::abs(point.y - down) < 1;
    }));
}

TEST_F(NetworkCameraTest, ARecordingIsComplete)
{
    const ToolResult recorded = untilUndisturbed(
        [&] {
            return runOnCamera("record", {"--streams", "depth", "--mode", "320x240@5", "--out",
                                          file("room.bin"), "--frames", "8", "--json"});
        },
        [](const ToolResult &result) {
            return result.err.find("are missing") == std::string::npos;
        });
    ASSERT_EQ(recorded.status, 0) << recorded.err;
    const ToolResult inspected = runTool({"inspect", file("room.bin"), "--json"});
    ASSERT_EQ(inspected.status, 0) << inspected.err;
    EXPECT_GE(inspected.json()["records"], 8);
    EXPECT_EQ(inspected.json()["streams"]["depth"]["gaps"], 0) << inspected.out;
}

TEST_F(NetworkCameraTest, APhotoIsTaken)
{
    const ToolResult result = runOnCamera("photo", {"--out", file("photo.bmp")});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_GT(readFile(file("photo.bmp")).size(), 3U * kWidth * kHeight);
}

TEST_F(NetworkCameraTest, ASecondClientLearnsThatTheCameraIsTaken)
{
    ASSERT_EQ(runOnCamera("modes").status, 0);
    ToolProcess::Options terminal;
    terminal.onTerminal = true;
    ToolProcess first(toolCommand({"stream", kUri, "--streams", "depth"}), terminal);
    ASSERT_TRUE(first.waitForOutput("frames/s")) << "the table shows once the stream runs";
    const ToolResult second = runOnCamera("stream", {"--streams", "depth", "--frames", "1"});
    EXPECT_EQ(second.status, 1);
    EXPECT_THAT(second.err, AllOf(HasSubstr("controlled by"), HasSubstr("close it there"),
                                  HasSubstr("another application has the camera")));
    first.signal(SIGINT);
    EXPECT_EQ(first.finish().status, 0);
    EXPECT_EQ(runOnCamera("modes").status, 0);
}

TEST_F(NetworkCameraTest, TheDoctorFindsNoProblem)
{
    const nlohmann::json report = runWhereFound({"doctor", "--json"}, "none is attached").json();
    for (const nlohmann::json &check : report["checks"]) {
        if (check["name"] == kUri) {
            EXPECT_EQ(check["state"], "good");
            EXPECT_THAT(check["text"], AllOf(HasSubstr("ROOM"), HasSubstr("depth with ")));
            return;
        }
    }
    FAIL() << report;
}

}  // namespace
}  // namespace nubrix
