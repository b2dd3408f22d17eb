#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "tests/TemporaryFolder.h"
#include "tests/tools/ImageFile.h"
#include "tests/tools/ToolProcess.h"

namespace nubrix::tool {
namespace {

namespace fs = std::filesystem;

ImageFile someImage(unsigned int channels, unsigned int bits, unsigned int seed)
{
    ImageFile image{64, 48, channels, bits, {}};
    for (unsigned int i = 0; i < 64 * 48 * channels; ++i)
        image.samples.push_back(
            static_cast<std::uint16_t>((i * 2654435761U + seed) >> (32 - bits)));
    return image;
}

struct Pair {
    std::string color;
    std::string depth;
};

/// The pairs of a folder in the order of their names.
std::vector<Pair> pairsIn(const fs::path &folder)
{
    const std::string ending = ".depth.png";
    std::vector<std::string> names;
    for (const fs::directory_entry &entry : fs::directory_iterator(folder)) {
        const std::string name = entry.path().filename();
        if (name.ends_with(ending))
            names.push_back(name.substr(0, name.size() - ending.size()));
    }
    std::sort(names.begin(), names.end());
    std::vector<Pair> pairs;
    for (const std::string &name : names) {
        const std::string base = folder / name;
        const std::string png = base + ".color.png";
        pairs.push_back({fs::exists(png) ? png : base + ".color.jpg", base + ending});
    }
    return pairs;
}

class SavedImagesTest : public testing::TestWithParam<const char *> {
protected:
    /// A scenario that shows the pairs of this folder once, each as soon as the previous one has
    /// been read.
    std::string scenarioOver(const fs::path &folder) const
    {
        const nlohmann::json scenario = {
            {"pacing", "free"},
            {"source", "images"},
            {"images", {{"folder", folder.string()}, {"repeat", "once"}}}};
        return m_work.file("images.json", scenario.dump());
    }

    /// Runs the tool with 1, 2, ... frames up to the number of pairs and compares the last frame.
    void expectEveryPairIsSavedUnchanged(const fs::path &folder) const
    {
        const std::vector<Pair> pairs = pairsIn(folder);
        ASSERT_FALSE(pairs.empty());
        const std::string scenario = scenarioOver(folder);
        const std::string saved = m_work.path() / "saved";
        for (std::size_t i = 0; i < pairs.size(); ++i) {
            const std::string frames = std::to_string(i + 1);
            const ToolResult result =
                runVirtual({"stream", GetParam(), "--frames", frames, "--save", saved}, scenario);
            ASSERT_EQ(result.status, 0) << result.err;
            expectSame(pairs.front().color, saved + "/color-first.png");
            expectSame(pairs.front().depth, saved + "/depth-first.png");
            expectSame(pairs[i].color, saved + "/color-last.png");
            expectSame(pairs[i].depth, saved + "/depth-last.png");
        }
    }

    static void expectSame(const std::string &original, const std::string &saved)
    {
        const ImageFile image = readImage(original);
        ASSERT_GT(image.samples.size(), 0U) << original;
        EXPECT_TRUE(image == readImage(saved)) << original << " differs from " << saved;
    }

    TemporaryFolder m_work;
};

TEST_P(SavedImagesTest, ImagesAreSavedPixelByPixel)
{
    const TemporaryFolder images;
    const std::string base = images.path();
    writePng(base + "/a.color.png", someImage(3, 8, 1));
    writePng(base + "/a.depth.png", someImage(1, 16, 2));
    writeJpeg(base + "/b.color.jpg", someImage(3, 8, 3));
    writePng(base + "/b.depth.png", someImage(1, 16, 4));
    writePng(base + "/c.color.png", someImage(3, 8, 5));
    writePng(base + "/c.depth.png", someImage(1, 16, 6));
    expectEveryPairIsSavedUnchanged(base);
    // Also with images of real cameras, if there is a folder of them.
    if (const char *others = std::getenv("NUBRIX_TEST_IMAGES"))
        expectEveryPairIsSavedUnchanged(others);
}

TEST_P(SavedImagesTest, AfterTheLastImageItReportsATimeout)
{
    const TemporaryFolder images;
    const std::string base = images.path();
    writePng(base + "/a.color.png", someImage(3, 8, 1));
    writePng(base + "/a.depth.png", someImage(1, 16, 2));
    const ToolResult result =
        runVirtual({"stream", GetParam(), "--frames", "2", "--json", "--save", base + "/saved"},
                   scenarioOver(base));
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, testing::HasSubstr("no frame of color for 5 s, although the camera is "
                                               "connected and responds; the last one had the "
                                               "index 0"));
    EXPECT_EQ(result.json()["streams"][0]["frames"], 1);
    // The frames that arrived are saved nevertheless.
    expectSame(base + "/a.color.png", base + "/saved/color-last.png");
    expectSame(base + "/a.depth.png", base + "/saved/depth-last.png");
}

INSTANTIATE_TEST_SUITE_P(BothWays, SavedImagesTest, testing::Values("--callback", "--poll"),
                         [](const auto &way) { return std::string(way.param).substr(2); });

TEST(SavedImagesStreamsTest, AMissingStreamIsReportedWithTheAvailableOnes)
{
    const TemporaryFolder images;
    const std::string base = images.path();
    writePng(base + "/a.color.png", someImage(3, 8, 1));
    writePng(base + "/a.depth.png", someImage(1, 16, 2));
    const std::string scenario = images.file("images.json", R"({"source": "images",
        "images": {"folder": "."}})");
    ToolResult result = runVirtual({"stream", "--streams", "depth,ir", "--frames", "1"}, scenario);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "nubrix: the camera has no stream 'ir'; it has: color, depth\n");
    result = runVirtual({"stream", "--streams", "ir", "--frames", "1"}, scenario);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "nubrix: the camera has no stream 'ir'; it has: color, depth\n");
}

}  // namespace
}  // namespace nubrix::tool
