// nubrix convert: raw images as PNG files, read by another program.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/TemporaryFolder.h"
#include "tests/tools/ImageFile.h"
#include "tests/tools/ToolProcess.h"

namespace nubrix::tool {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using Bytes = std::vector<unsigned char>;

// From black to white in video range.
constexpr unsigned char kLuma[] = {16, 81, 145, 235};

class ConvertCommandTest : public testing::Test {
protected:
    ConvertCommandTest() : m_in(m_folder.file("raw")), m_out(m_folder.file("image.png")) {}

    ToolResult convert(const Bytes &raw, const std::string &from, const std::string &size,
                       const Words &more = {})
    {
        std::ofstream(m_in, std::ios::binary)
            .write(reinterpret_cast<const char *>(raw.data()),
                   static_cast<std::streamsize>(raw.size()));
        Words words = {"convert", m_in, "--from", from, "--size", size, "--out", m_out};
        words.insert(words.end(), more.begin(), more.end());
        return runTool(words);
    }
    ImageFile converted(const Bytes &raw, const std::string &from, const std::string &size,
                        const Words &more = {})
    {
        const ToolResult result = convert(raw, from, size, more);
        EXPECT_EQ(result.status, 0) << result.err;
        return readImage(m_out);
    }

    TemporaryFolder m_folder;
    std::string m_in;
    std::string m_out;
};

TEST_F(ConvertCommandTest, YuyvIsConvertedWithLumaFromZero)
{
    const ImageFile image = converted({16, 128, 81, 128, 145, 128, 235, 255}, "yuyv", "2x2");
    ASSERT_TRUE(image.isRgb8());
    EXPECT_THAT(image.samples, ElementsAre(16, 16, 16, 81, 81, 81, 255, 56, 145, 255, 146, 235));
}

TEST_F(ConvertCommandTest, UyvyIsConvertedWithLumaFrom16)
{
    const ImageFile image = converted({128, 16, 128, 81, 128, 145, 128, 235}, "uyvy", "2x2");
    ASSERT_TRUE(image.isRgb8());
    EXPECT_THAT(image.samples, ElementsAre(0, 0, 0, 76, 76, 76, 150, 150, 150, 255, 255, 255));
}

TEST_F(ConvertCommandTest, Nv21HasVBeforeUAndI420UBeforeV)
{
    Bytes raw(std::begin(kLuma), std::end(kLuma));
    raw.insert(raw.end(), {200, 60});
    const ImageFile nv21 = converted(raw, "nv21", "2x2");
    const ImageFile i420 = converted(raw, "i420", "2x2");
    ASSERT_TRUE(nv21.isRgb8() && i420.isRgb8());
    EXPECT_THAT(nv21.samples, ElementsAre(114, 0, 0, 190, 43, 0, 255, 118, 12, 255, 222, 117));
    EXPECT_THAT(i420.samples, ElementsAre(0, 27, 145, 0, 102, 220, 41, 177, 255, 146, 255, 255));
}

TEST_F(ConvertCommandTest, Grey16KeepsItsValues)
{
    const ImageFile image = converted({1, 0, 2, 1, 255, 255, 0, 128}, "grey16", "1x4");
    ASSERT_TRUE(image.isGrey16());
    EXPECT_EQ(image.width, 1U);
    EXPECT_THAT(image.samples, ElementsAre(1, 258, 65535, 32768));
}

TEST_F(ConvertCommandTest, ImagesAreRotatedClockwiseAndThenMirrored)
{
    // 1 2 3
    // 4 5 6
    const Bytes raw = {1, 0, 2, 0, 3, 0, 4, 0, 5, 0, 6, 0};
    const auto samples = [&](const Words &more) {
        return converted(raw, "grey16", "3x2", more).samples;
    };
    EXPECT_THAT(samples({"--rotate", "90"}), ElementsAre(4, 1, 5, 2, 6, 3));
    EXPECT_THAT(samples({"--rotate", "180"}), ElementsAre(6, 5, 4, 3, 2, 1));
    EXPECT_THAT(samples({"--rotate", "270"}), ElementsAre(3, 6, 2, 5, 1, 4));
    EXPECT_THAT(samples({"--mirror"}), ElementsAre(3, 2, 1, 6, 5, 4));
    EXPECT_THAT(samples({"--rotate", "90", "--mirror"}), ElementsAre(1, 4, 2, 5, 3, 6));
}

TEST_F(ConvertCommandTest, ColourImagesAreRotatedToo)
{
    const ImageFile image = converted({16, 128, 81, 128}, "yuyv", "2x1", {"--rotate", "90"});
    EXPECT_EQ(image.width, 1U);
    EXPECT_EQ(image.height, 2U);
    EXPECT_THAT(image.samples, ElementsAre(16, 16, 16, 81, 81, 81));
    EXPECT_THAT(converted({16, 128, 81, 128}, "yuyv", "2x1", {"--mirror"}).samples,
                ElementsAre(81, 81, 81, 16, 16, 16));
}

TEST_F(ConvertCommandTest, TheSizeIsReported)
{
    const Bytes raw(12, 7);
    EXPECT_EQ(convert(raw, "grey16", "3x2", {"--rotate", "90"}).out,
              "saved " + m_out + ", 2 x 3\n");
    const nlohmann::json report = convert(raw, "yuyv", "2x3", {"--json"}).json();
    EXPECT_EQ(report["file"], m_out);
    EXPECT_EQ(report["width"], 2);
    EXPECT_EQ(report["height"], 3);
    EXPECT_EQ(report["channels"], 3);
    EXPECT_EQ(report["bits"], 8);
}

TEST_F(ConvertCommandTest, AFileOfAnotherLengthIsAFailure)
{
    for (const std::size_t length : {0U, 11U}) {
        const ToolResult result = convert(Bytes(length), "i420", "4x2");
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err, "nubrix: " + m_in +
                                  ": a 4x2 image in i420 has 12 bytes, the file has " +
                                  std::to_string(length) + "\n");
    }
    const ToolResult more = convert(Bytes(13), "i420", "4x2");
    EXPECT_EQ(more.status, 1);
    EXPECT_THAT(more.err, HasSubstr("has 12 bytes, the file has more"));
    EXPECT_FALSE(std::filesystem::exists(m_out));
}

TEST_F(ConvertCommandTest, AnOddSizeIsAFailureForFormatsWithSharedColours)
{
    for (const std::string size : {"3x2", "2x3"}) {
        EXPECT_THAT(convert(Bytes(9), "nv21", size).err,
                    HasSubstr("nv21 images need an even width and height"));
    }
    EXPECT_THAT(convert(Bytes(12), "uyvy", "3x2").err,
                HasSubstr("uyvy images need an even width\n"));
    EXPECT_EQ(convert(Bytes(12), "uyvy", "2x3").status, 0);
}

TEST_F(ConvertCommandTest, AMissingFileIsAFailureWithTheReason)
{
    const ToolResult result = runTool(
        {"convert", m_folder.file("missing"), "--from", "yuyv", "--size", "2x2", "--out", m_out});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err,
              "nubrix: cannot read " + m_folder.file("missing") + ": No such file or directory\n");
}

TEST_F(ConvertCommandTest, UnknownFormatsSizesAndAnglesAreWrongUse)
{
    EXPECT_EQ(convert(Bytes(8), "rgb", "2x2").status, 2);
    for (const std::string size :
         {"", "2", "2x", "x2", "0x2", "2x0", "2x2x2", "-2x2", " 2x2", "2x99999", "2X2"}) {
        EXPECT_EQ(convert(Bytes(8), "yuyv", size).status, 2) << size;
    }
    EXPECT_EQ(convert(Bytes(8), "yuyv", "2x2", {"--rotate", "45"}).status, 2);
    EXPECT_FALSE(std::filesystem::exists(m_out));
}

}  // namespace
}  // namespace nubrix::tool
