#include "virtual/ImageSource.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>

#include <png.h>

#include "tests/TemporaryFolder.h"
#include "tests/drivers/virtual/ImageWriter.h"
#include "tests/drivers/virtual/VirtualCameraFixture.h"
#include "virtual/VirtualDevice.h"

namespace nubrix::virtual_camera {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr unsigned int kWidth = 48;
constexpr unsigned int kHeight = 20;

class ImageSourceTest : public VirtualCameraTest {
protected:
    std::string at(const std::string &name) { return m_folder.file(name); }

    void writeColor(const std::string &name, unsigned int seed)
    {
        writePng(at(name), kWidth, kHeight, 8, 2, colorPattern(kWidth, kHeight, seed));
    }
    void writeDepth(const std::string &name, unsigned int seed)
    {
        writePng(at(name), kWidth, kHeight, 16, 0, depthPattern(kWidth, kHeight, seed));
    }
    void writePairs(unsigned int count)
    {
        for (unsigned int i = 0; i < count; ++i) {
            const std::string name = std::string("p") + std::to_string(i);
            writeColor(name + ".color.png", i);
            writeDepth(name + ".depth.png", i);
        }
    }

    /// Uses the folder; `more` is added to the images object.
    void useImages(const std::string &more = "", const std::string &pacing = "free")
    {
        useScenario(R"({"pacing": ")" + pacing + R"(", "frame_rate": 25, "source": "images",
            "images": {"folder": ")" +
                    m_folder.path().string() + "\"" + more + "}}");
    }

    /// The pixels of the first `count` frames of a stream.
    std::vector<std::vector<unsigned char>> play(NubrixBaseDevice &device, unsigned int streamType,
                                                 std::size_t count)
    {
        PixelStream stream(device, streamType);
        std::vector<std::vector<unsigned char>> images;
        for (const Received &frame : run(stream, count))
            images.push_back(frame.pixels);
        return images;
    }

    /// The error message for the folder.
    std::string wrongWith()
    {
        ImagesSetup setup;
        setup.folder = m_folder.path().string();
        setup.folderLine = 12;
        const auto made = ImageSource::create(setup, 30);
        const auto *error = std::get_if<ScenarioError>(&made);
        EXPECT_TRUE(error == nullptr || (error->key == "images.folder" && error->line == 12));
        return error == nullptr ? "" : error->message;
    }

    TemporaryFolder m_folder;
};

TEST_F(ImageSourceTest, DeliversTheImagesPixelByPixelInTheOrderOfTheirNames)
{
    const unsigned int seeds[] = {3, 1, 2};
    const char *names[] = {"c", "a", "b-10"};
    for (int i = 0; i < 3; ++i) {
        writeColor(std::string(names[i]) + ".color.png", seeds[i]);
        writeDepth(std::string(names[i]) + ".depth.png", seeds[i]);
    }
    std::ofstream(at("README.txt")) << "not an image";
    useImages();
    NubrixBaseDevice &device = *open();
    const auto colors = play(device, NUBRIX_STREAM_COLOR, 3);
    const auto depths = play(device, NUBRIX_STREAM_DEPTH, 3);
    for (unsigned int i = 0; i < 3; ++i) {
        EXPECT_EQ(colors[i], colorPattern(kWidth, kHeight, i + 1)) << i;
        EXPECT_EQ(depths[i], depthPattern(kWidth, kHeight, i + 1)) << i;
    }
}

TEST_F(ImageSourceTest, TheOnlyModeIsTheSizeOfTheImages)
{
    writePairs(1);
    useImages();
    NubrixBaseDevice &device = *open();
    for (const auto &[streamType, format] :
         {std::pair(NUBRIX_STREAM_COLOR, NUBRIX_PIXEL_RGB888),
          std::pair(NUBRIX_STREAM_DEPTH, NUBRIX_PIXEL_DEPTH_MM)}) {
        const typedefNubrixFrameMode *modes = nullptr;
        unsigned int count = 0;
        ASSERT_EQ(device.getSupportFrameMode(streamType, &modes, &count), 0);
        ASSERT_EQ(count, 1U);
        EXPECT_EQ(modes[0].pixelFormat, format);
        EXPECT_EQ(modes[0].width, kWidth);
        EXPECT_EQ(modes[0].height, kHeight);
        EXPECT_EQ(modes[0].frameRate, 25);
        EXPECT_EQ(device.getCurrentFrameMode(streamType)->width, kWidth);
    }
    NubrixBaseStream *stream = nullptr;
    EXPECT_EQ(device.createStream(NUBRIX_STREAM_IR, &stream), -4);
    EXPECT_EQ(device.createStream(NUBRIX_STREAM_LIGHT_IR, &stream), -4);
}

TEST_F(ImageSourceTest, LoopsByDefault)
{
    writePairs(2);
    useImages();
    const auto images = play(*open(), NUBRIX_STREAM_DEPTH, 5);
    for (unsigned int i = 0; i < 5; ++i)
        EXPECT_EQ(images[i], depthPattern(kWidth, kHeight, i % 2)) << i;
}

TEST_F(ImageSourceTest, OnceEndsAfterTheLastImageAndTheCameraStays)
{
    writePairs(3);
    useImages(R"(, "repeat": "once")");
    NubrixBaseDevice &device = *open();
    TestStream stream(device, NUBRIX_STREAM_DEPTH);
    for (int run = 0; run < 2; ++run) {
        ASSERT_EQ(stream.start(), 0);
        ASSERT_TRUE(stream.pool().awaitHandedOut(4 * (run + 1)));  // the last one finds the end
        EXPECT_EQ(device.deviceState(), 0);
        EXPECT_NE(device.keepLiveState(), 0);
        ASSERT_EQ(stream.stop(), 0);
        EXPECT_THAT(stream.sink().indices(), ElementsAre(0, 1, 2));
        stream.sink().clear();
    }
}

TEST_F(ImageSourceTest, InRealTimeTheIndexSelectsTheImage)
{
    writePairs(3);
    useImages("", "realtime");
    PixelStream stream(*open(), NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(stream.sink().await(5));
    ASSERT_EQ(stream.stop(), 0);
    for (const Received &frame : stream.sink().frames())
        EXPECT_EQ(frame.pixels, depthPattern(kWidth, kHeight, frame.record.frameIndex % 3));
}

TEST_F(ImageSourceTest, JpegsAreColourImagesToo)
{
    writeJpeg(at("a.color.jpg"), kWidth, kHeight, 3,
              std::vector<std::uint8_t>(std::size_t{kWidth} * kHeight * 3, 90));
    writeJpeg(at("b.color.jpeg"), kWidth, kHeight, 3,
              std::vector<std::uint8_t>(std::size_t{kWidth} * kHeight * 3, 120));
    useImages();
    const auto images = play(*open(), NUBRIX_STREAM_COLOR, 2);
    EXPECT_NEAR(images[0][100], 90, 2);
    EXPECT_NEAR(images[1][100], 120, 2);
}

TEST_F(ImageSourceTest, OneKindOfImagesIsEnough)
{
    writeDepth("a.depth.png", 1);
    useImages();
    NubrixBaseDevice &device = *open();
    NubrixBaseStream *stream = nullptr;
    EXPECT_EQ(device.createStream(NUBRIX_STREAM_COLOR, &stream), -4);
    EXPECT_EQ(play(device, NUBRIX_STREAM_DEPTH, 1)[0], depthPattern(kWidth, kHeight, 1));
}

TEST_F(ImageSourceTest, ColourAndDepthMayDifferInSize)
{
    writeDepth("a.depth.png", 1);
    writePng(at("a.color.png"), 3, 2, 8, 2, colorPattern(3, 2, 4));
    useImages();
    NubrixBaseDevice &device = *open();
    EXPECT_EQ(play(device, NUBRIX_STREAM_COLOR, 1)[0], colorPattern(3, 2, 4));
    EXPECT_EQ(play(device, NUBRIX_STREAM_DEPTH, 1)[0], depthPattern(kWidth, kHeight, 1));
}

TEST_F(ImageSourceTest, TheUnitOfDepthDecidesTheFormatAndNotTheValues)
{
    EXPECT_EQ(depthFormatOf(1.0), NUBRIX_PIXEL_DEPTH_MM);
    EXPECT_EQ(depthFormatOf(0.25), NUBRIX_PIXEL_DEPTH_14_2);
    EXPECT_EQ(depthFormatOf(0.125), NUBRIX_PIXEL_DEPTH_13_3);
    EXPECT_EQ(depthFormatOf(0.0625), NUBRIX_PIXEL_DEPTH_12_4);
    EXPECT_EQ(depthFormatOf(0.2), NUBRIX_PIXEL_GREY16);
    EXPECT_EQ(depthFormatOf(10.0), NUBRIX_PIXEL_GREY16);
    writePairs(1);
    useImages(R"(, "depth_unit_mm": 0.2)");
    NubrixBaseDevice &device = *open();
    EXPECT_EQ(device.getCurrentFrameMode(NUBRIX_STREAM_DEPTH)->pixelFormat, NUBRIX_PIXEL_GREY16);
    EXPECT_EQ(play(device, NUBRIX_STREAM_DEPTH, 1)[0], depthPattern(kWidth, kHeight, 0));
}

TEST_F(ImageSourceTest, TheIntrinsicsAreThoseOfTheScenario)
{
    writePairs(1);
    useImages(R"(, "intrinsics": {"fx": 525, "fy": 526, "cx": 319.5, "cy": 239.5})");
    NubrixBaseDevice &device = *open();
    CameraIntrinsics intrinsics = {};
    unsigned int size = sizeof intrinsics;
    ASSERT_EQ(device.getProperty(kPropertyIntrinsics + NUBRIX_STREAM_DEPTH, &intrinsics, &size), 0);
    EXPECT_EQ(intrinsics.fx, 525.0F);
    EXPECT_EQ(intrinsics.fy, 526.0F);
    EXPECT_EQ(intrinsics.cx, 319.5F);
    EXPECT_EQ(intrinsics.cy, 239.5F);
}

TEST_F(ImageSourceTest, UnknownPropertiesOfImagesAreUnsupported)
{
    writePairs(1);
    useImages();
    NubrixBaseDevice &device = *open();
    CameraIntrinsics intrinsics = {};
    unsigned int size = sizeof intrinsics;
    EXPECT_EQ(device.getProperty(kPropertyIntrinsics + NUBRIX_STREAM_DEPTH, &intrinsics, &size),
              -8);
    VirtualTruth truth = {};
    size = sizeof truth;
    EXPECT_EQ(device.getProperty(kPropertyTruth, &truth, &size), -8);
}

/// A source that keeps so many of the folder's images in memory.
std::shared_ptr<ImageSource> sourceKeeping(const std::string &folder, std::size_t bytes)
{
    ImagesSetup setup;
    setup.folder = folder;
    setup.loop = false;
    auto made = ImageSource::create(setup, 30, bytes);
    return std::get<std::shared_ptr<ImageSource>>(made);
}

TEST_F(ImageSourceTest, ImagesBeyondTheCacheAreReadAgain)
{
    writePairs(4);
    for (const std::size_t kept : {0U, 2U, 100U}) {
        const auto source = sourceKeeping(m_folder.path().string(), kept * kWidth * kHeight * 3);
        for (const std::uint32_t index : {3U, 0U, 1U, 2U, 3U}) {
            const typedefNubrixFrameMode colorMode = source->modes(NUBRIX_STREAM_COLOR).records[0];
            std::vector<std::uint8_t> color(framePayload(colorMode));
            ASSERT_EQ(source->fill(NUBRIX_STREAM_COLOR, colorMode, index, color.data()),
                      FrameSource::Result::kFilled);
            EXPECT_EQ(color, colorPattern(kWidth, kHeight, index));
            const typedefNubrixFrameMode depthMode = source->modes(NUBRIX_STREAM_DEPTH).records[0];
            std::vector<std::uint8_t> depth(framePayload(depthMode));
            ASSERT_EQ(source->fill(NUBRIX_STREAM_DEPTH, depthMode, index, depth.data()),
                      FrameSource::Result::kFilled);
            EXPECT_EQ(depth, depthPattern(kWidth, kHeight, index));
        }
    }
}

TEST_F(ImageSourceTest, AnImageThatDisappearsIsADroppedFrameAndReported)
{
    writePairs(4);
    const auto source = sourceKeeping(m_folder.path().string(), kWidth * kHeight * 3);
    std::filesystem::remove(at("p2.color.png"));
    writePng(at("p3.color.png"), kWidth, kHeight - 1, 8, 2, colorPattern(kWidth, kHeight - 1, 0));
    const typedefNubrixFrameMode mode = source->modes(NUBRIX_STREAM_COLOR).records[0];
    std::vector<std::uint8_t> image(framePayload(mode));
    const auto fill = [&](std::uint32_t index) {
        return source->fill(NUBRIX_STREAM_COLOR, mode, index, image.data());
    };
    testing::internal::CaptureStderr();
    EXPECT_EQ(fill(0), FrameSource::Result::kFilled);
    EXPECT_EQ(fill(1), FrameSource::Result::kFilled);
    EXPECT_EQ(fill(2), FrameSource::Result::kLost);
    EXPECT_EQ(fill(3), FrameSource::Result::kLost);
    EXPECT_EQ(fill(4), FrameSource::Result::kEnd);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "nubrix virtual camera: the image \"" + at("p2.color.png") +
                  "\" is lost: No such file or directory\n"
                  "nubrix virtual camera: the image \"" +
                  at("p3.color.png") + "\" is lost: its size has changed\n");
}

TEST_F(ImageSourceTest, AMissingFolderIsReported)
{
    ImagesSetup setup;
    setup.folder = at("none");
    setup.folderLine = 4;
    const auto made = ImageSource::create(setup, 30);
    ASSERT_TRUE(std::holds_alternative<ScenarioError>(made));
    EXPECT_EQ(std::get<ScenarioError>(made).text("f"),
              "f:4: images.folder: the folder \"" + at("none") +
                  "\" cannot be read: No such file or directory");
}

TEST_F(ImageSourceTest, AnEmptyFolderIsReported)
{
    EXPECT_THAT(wrongWith(), HasSubstr("holds no images"));
    std::ofstream(at("other.png")) << "x";
    std::ofstream(at(".color.png")) << "x";
    EXPECT_THAT(wrongWith(), HasSubstr("holds no images"));
}

TEST_F(ImageSourceTest, AnUnreadableImageIsReported)
{
    writePairs(2);
    std::ofstream(at("p1.depth.png")) << "x";
    EXPECT_EQ(wrongWith(), "the image \"" + at("p1.depth.png") +
                               "\" cannot be read: it is not a 16-bit grey PNG");
    writePng(at("p1.depth.png"), kWidth, kHeight, 16, 0, depthPattern(kWidth, kHeight, 1));
    std::filesystem::resize_file(at("p0.color.png"),
                                 std::filesystem::file_size(at("p0.color.png")) / 2);
    EXPECT_THAT(wrongWith(), HasSubstr("the image \"" + at("p0.color.png") + "\" cannot be read"));
}

TEST_F(ImageSourceTest, AnImageOfAnotherSizeIsReported)
{
    writePairs(2);
    writePng(at("p1.depth.png"), kWidth, kHeight + 1, 16, 0, depthPattern(kWidth, kHeight + 1, 1));
    EXPECT_EQ(wrongWith(),
              "the image \"" + at("p1.depth.png") + "\" differs in size from those before it");
}

TEST_F(ImageSourceTest, AnImageWithoutItsPartnerIsReported)
{
    writePairs(2);
    writeDepth("q.depth.png", 1);
    EXPECT_EQ(wrongWith(),
              "the image \"" + at("q.depth.png") + "\" has no colour image next to it");
    std::filesystem::remove(at("q.depth.png"));
    writeColor("q.color.png", 1);
    EXPECT_EQ(wrongWith(), "the image \"" + at("q.color.png") + "\" has no depth image next to it");
}

TEST_F(ImageSourceTest, TwoColourImagesOfOneNameAreReported)
{
    writePairs(1);
    writeColor("p0.color.jpg", 1);
    EXPECT_EQ(wrongWith(), "there are two colour images \"p0\"");
}

/// An independent reader to compare with.
std::vector<std::uint8_t> readSimply(const std::string &path, unsigned int format)
{
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    EXPECT_NE(png_image_begin_read_from_file(&image, path.c_str()), 0) << path;
    image.format = format;
    std::vector<std::uint8_t> pixels(PNG_IMAGE_SIZE(image));
    EXPECT_NE(png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr), 0) << path;
    return pixels;
}

/// Runs on the folder of other people's images that NUBRIX_TEST_IMAGES names; skipped without.
class ForeignImagesTest : public ImageSourceTest {};

TEST_F(ForeignImagesTest, AreDeliveredPixelByPixel)
{
    const char *folder = std::getenv("NUBRIX_TEST_IMAGES");
    if (folder == nullptr)
        GTEST_SKIP() << "NUBRIX_TEST_IMAGES names no folder";
    std::map<std::string, std::string> colors;
    std::map<std::string, std::string> depths;
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        if (name.find(".color.") != std::string::npos)
            colors[name.substr(0, name.find(".color."))] = entry.path().string();
        else if (name.find(".depth.png") != std::string::npos)
            depths[name.substr(0, name.find(".depth.png"))] = entry.path().string();
    }
    ASSERT_FALSE(depths.empty());
    useScenario(R"({"pacing": "free", "source": "images", "images": {"repeat": "once",
        "folder": ")" +
                std::string(folder) + "\"}}");
    NubrixBaseDevice &device = *open();
    const auto depthImages = play(device, NUBRIX_STREAM_DEPTH, depths.size());
    const auto colorImages = play(device, NUBRIX_STREAM_COLOR, colors.size());
    std::size_t i = 0;
    for (const auto &[name, path] : depths)
        EXPECT_EQ(depthImages[i++], readSimply(path, PNG_FORMAT_LINEAR_Y)) << path;
    i = 0;
    for (const auto &[name, path] : colors) {
        const bool isPng = path.find(".png") != std::string::npos;
        EXPECT_EQ(colorImages[i++],
                  isPng ? readSimply(path, PNG_FORMAT_RGB) : readColorImage(path).pixels)
            << path;
    }
}

}  // namespace
}  // namespace nubrix::virtual_camera
