#include "virtual/ImageSource.h"

#include <gmock/gmock.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "tests/TemporaryFolder.h"
#include "tests/drivers/common/JpegImages.h"
#include "tests/drivers/virtual/ImageWriter.h"

namespace nubrix::virtual_camera {
namespace {

using testing::HasSubstr;

constexpr unsigned int kWidth = 37;
constexpr unsigned int kHeight = 23;

class ImageFileTest : public testing::Test {
protected:
    std::string at(const std::string &name) { return m_folder.file(name); }

    void write(const std::string &name, const Jpeg &jpeg)
    {
        m_folder.file(name, {jpeg.begin(), jpeg.end()});
    }

    TemporaryFolder m_folder;
};

TEST_F(ImageFileTest, AColourPngIsReadAsItIs)
{
    const auto rows = colorPattern(kWidth, kHeight, 1);
    for (const bool interlaced : {false, true}) {
        writePng(at("a.png"), kWidth, kHeight, 8, 2, rows, interlaced);
        const Image image = readColorImage(at("a.png"));
        EXPECT_EQ(image.error, "");
        EXPECT_EQ(image.width, kWidth);
        EXPECT_EQ(image.height, kHeight);
        EXPECT_EQ(image.pixels, rows);
    }
}

TEST_F(ImageFileTest, OtherPngsBecomeColours)
{
    writePng(at("grey.png"), 2, 1, 8, 0, {10, 200});
    EXPECT_EQ(readColorImage(at("grey.png")).pixels,
              (std::vector<std::uint8_t>{10, 10, 10, 200, 200, 200}));
    writePng(at("alpha.png"), 2, 1, 8, 6, {1, 2, 3, 0, 4, 5, 6, 128});
    EXPECT_EQ(readColorImage(at("alpha.png")).pixels,
              (std::vector<std::uint8_t>{1, 2, 3, 4, 5, 6}));
    const std::vector<std::uint16_t> deep = {0x1234, 0x5678, 0x9ABC};
    std::vector<std::uint8_t> bytes(6);
    std::memcpy(bytes.data(), deep.data(), bytes.size());
    writePng(at("deep.png"), 1, 1, 16, 2, bytes);
    EXPECT_EQ(readColorImage(at("deep.png")).pixels, (std::vector<std::uint8_t>{0x12, 0x56, 0x9A}));
    writePalettePng(at("palette.png"), 3, 1, {1, 0, 1}, {9, 8, 7, 60, 50, 40});
    EXPECT_EQ(readColorImage(at("palette.png")).pixels,
              (std::vector<std::uint8_t>{60, 50, 40, 9, 8, 7, 60, 50, 40}));
}

TEST_F(ImageFileTest, AJpegIsReadAsColours)
{
    std::vector<std::uint8_t> rows;
    for (unsigned int i = 0; i < kWidth * kHeight; ++i) {
        rows.push_back(static_cast<std::uint8_t>(100 + i % kWidth));
        rows.push_back(static_cast<std::uint8_t>(90 + i / kWidth));
        rows.push_back(200);
    }
    writeJpeg(at("a.jpg"), kWidth, kHeight, 3, rows);
    const Image image = readColorImage(at("a.jpg"));
    EXPECT_EQ(image.error, "");
    EXPECT_EQ(image.width, kWidth);
    EXPECT_EQ(image.height, kHeight);
    ASSERT_EQ(image.pixels.size(), rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i)
        ASSERT_NEAR(image.pixels[i], rows[i], 3) << i;
}

TEST_F(ImageFileTest, AGreyJpegIsReadAsColours)
{
    writeJpeg(at("a.jpg"), 16, 8, 1, std::vector<std::uint8_t>(128, 77));
    EXPECT_EQ(readColorImage(at("a.jpg")).pixels, std::vector<std::uint8_t>(384, 77));
}

TEST_F(ImageFileTest, TheFormatFollowsTheContentNotTheName)
{
    writePng(at("a.jpg"), 1, 1, 8, 2, {1, 2, 3});
    EXPECT_EQ(readColorImage(at("a.jpg")).pixels, (std::vector<std::uint8_t>{1, 2, 3}));
}

TEST_F(ImageFileTest, ADepthPngIsReadAsItIs)
{
    const auto rows = depthPattern(kWidth, kHeight, 5);
    for (const bool interlaced : {false, true}) {
        writePng(at("a.png"), kWidth, kHeight, 16, 0, rows, interlaced);
        const Image image = readDepthImage(at("a.png"));
        EXPECT_EQ(image.error, "");
        EXPECT_EQ(image.width, kWidth);
        EXPECT_EQ(image.height, kHeight);
        EXPECT_EQ(image.pixels, rows);
    }
}

TEST_F(ImageFileTest, OnlySixteenBitGreyIsDepth)
{
    writePng(at("grey8.png"), 2, 1, 8, 0, {1, 2});
    writePng(at("color16.png"), 1, 1, 16, 2, {1, 2, 3, 4, 5, 6});
    writePng(at("alpha16.png"), 1, 1, 16, 4, {1, 2, 3, 4});
    writeJpeg(at("a.jpg"), 8, 8, 1, std::vector<std::uint8_t>(64, 1));
    for (const char *name : {"grey8.png", "color16.png", "alpha16.png", "a.jpg"})
        EXPECT_EQ(readDepthImage(at(name)).error, "it is not a 16-bit grey PNG") << name;
}

TEST_F(ImageFileTest, OtherFilesAreRefused)
{
    std::ofstream(at("empty.png")).flush();
    std::ofstream(at("text.png")) << "this is a text";
    std::ofstream(at("short.png")) << "\x89PN";
    for (const char *name : {"empty.png", "text.png", "short.png"}) {
        EXPECT_EQ(readColorImage(at(name)).error, "it is neither a PNG nor a JPEG") << name;
        EXPECT_EQ(readDepthImage(at(name)).error, "it is not a 16-bit grey PNG") << name;
    }
    EXPECT_EQ(readColorImage(at("none.png")).error, "No such file or directory");
    EXPECT_NE(readColorImage(m_folder.path().string()).error, "");
}

TEST_F(ImageFileTest, ATruncatedImageIsRefusedWhereverItEnds)
{
    writePng(at("complete.png"), kWidth, kHeight, 8, 2, colorPattern(kWidth, kHeight, 3));
    writePng(at("depth.png"), kWidth, kHeight, 16, 0, depthPattern(kWidth, kHeight, 3));
    writeJpeg(at("complete.jpg"), kWidth, kHeight, 3, colorPattern(kWidth, kHeight, 3));
    for (const char *name : {"complete.png", "depth.png", "complete.jpg"}) {
        const auto size = std::filesystem::file_size(at(name));
        for (std::uintmax_t cut = 0; cut < size - 2; cut += 1 + size / 97) {
            std::filesystem::copy_file(at(name), at("cut"),
                                       std::filesystem::copy_options::overwrite_existing);
            std::filesystem::resize_file(at("cut"), cut);
            const bool isDepth = std::string(name) == "depth.png";
            const Image image = isDepth ? readDepthImage(at("cut")) : readColorImage(at("cut"));
            ASSERT_NE(image.error, "") << name << " cut to " << cut << " of " << size;
        }
    }
}

TEST_F(ImageFileTest, DamagedImagesAreHarmless)
{
    writePng(at("complete.png"), kWidth, kHeight, 8, 2, colorPattern(kWidth, kHeight, 3));
    writeJpeg(at("complete.jpg"), kWidth, kHeight, 3, colorPattern(kWidth, kHeight, 3));
    int refused = 0;
    for (const char *name : {"complete.png", "complete.jpg"}) {
        std::ifstream file(at(name), std::ios::binary);
        const std::string complete((std::istreambuf_iterator<char>(file)), {});
        for (std::size_t i = 0; i < complete.size(); i += 1 + complete.size() / 97) {
            std::string damaged = complete;
            damaged[i] = static_cast<char>(damaged[i] ^ 0x5A);
            std::ofstream(at("damaged"), std::ios::binary) << damaged;
            const Image image = readColorImage(at("damaged"));
            refused += image.error.empty() ? 0 : 1;
            if (image.error.empty()) {
                EXPECT_EQ(image.pixels.size(), std::size_t{image.width} * image.height * 3);
            }
        }
    }
    EXPECT_GT(refused, 50);
}

TEST_F(ImageFileTest, ImagesOfAbsurdSizeAreRefused)
{
    writePng(at("wide.png"), 8193, 1, 8, 0, std::vector<std::uint8_t>(8193, 1));
    EXPECT_NE(readColorImage(at("wide.png")).error, "");
    writeJpeg(at("wide.jpg"), 8193, 1, 1, std::vector<std::uint8_t>(8193, 1));
    EXPECT_EQ(readColorImage(at("wide.jpg")).error, "it is too large");
    writePng(at("widest.png"), 8192, 1, 8, 0, std::vector<std::uint8_t>(8192, 1));
    EXPECT_EQ(readColorImage(at("widest.png")).error, "");
}

TEST_F(ImageFileTest, AJpegIsNotDecodedBeforeItsSizeIsKnownToBeGood)
{
    const Jpeg jpeg = withSize(progressiveJpeg(64, 48, 10), 65500, 65500);
    write("lying.jpg",
          {jpeg.begin(), jpeg.begin() + static_cast<Jpeg::difference_type>(jpeg.size() / 2)});
    EXPECT_EQ(readColorImage(at("lying.jpg")).error, "it is too large");
}

TEST_F(ImageFileTest, AJpegOfTooManyScansIsRefused)
{
    write("complete.jpg", progressiveJpeg(640, 480, 60));
    EXPECT_EQ(readColorImage(at("complete.jpg")).error, "");
    // A valid file: it refines each band bit after bit.
    write("bomb.jpg", progressiveJpeg(640, 480, 64, 3));
    EXPECT_EQ(readColorImage(at("bomb.jpg")).error, "it has more than 100 scans");
}

}  // namespace
}  // namespace nubrix::virtual_camera
