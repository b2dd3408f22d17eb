#include "uvc/FrameConverter.h"

#include <gmock/gmock.h>
#include <linux/videodev2.h>

#include <vector>

#include "tests/drivers/common/JpegImages.h"

namespace nubrix::uvc {
namespace {

using testing::Each;
using testing::ElementsAre;

constexpr unsigned int kWidth = 16;
constexpr unsigned int kHeight = 8;

struct Yuv {
    std::uint8_t y, u, v;
};

// Colours whose luma differs little with and without headroom.
constexpr Yuv kGrey = {126, 128, 128};
constexpr Yuv kReddish = {126, 100, 200};
constexpr Yuv kBluish = {126, 200, 100};

/// An image of one colour in any of the formats, its rows `gap` bytes apart.
std::vector<std::uint8_t> image(std::uint32_t code, Yuv yuv, std::size_t gap = 0)
{
    std::vector<std::uint8_t> bytes;
    const auto row = [&](const std::vector<std::uint8_t> &pair) {
        for (unsigned int x = 0; x < kWidth; x += 2)
            bytes.insert(bytes.end(), pair.begin(), pair.end());
        bytes.insert(bytes.end(), gap, 0xee);
    };
    for (unsigned int y = 0; y < kHeight; ++y) {
        if (code == V4L2_PIX_FMT_YUYV)
            row({yuv.y, yuv.u, yuv.y, yuv.v});
        else if (code == V4L2_PIX_FMT_UYVY)
            row({yuv.u, yuv.y, yuv.v, yuv.y});
        else
            row({yuv.y, yuv.y});
    }
    for (unsigned int y = 0; y < kHeight / 2; ++y) {
        if (code == V4L2_PIX_FMT_NV12)
            row({yuv.u, yuv.v});
        else if (code == V4L2_PIX_FMT_NV21)
            row({yuv.v, yuv.u});
    }
    return bytes;
}

struct Rgb {
    int r, g, b;
};

class ColorFormatTest : public testing::TestWithParam<std::uint32_t> {
protected:
    std::vector<std::uint8_t> convert(Yuv yuv, std::size_t gap = 0)
    {
        const SourceFormat &format = *findSourceFormat(GetParam());
        const std::size_t rowBytes = kWidth * format.rowBytes + gap;
        FrameConverter converter(format, kWidth, kHeight, rowBytes);
        const auto source = image(GetParam(), yuv, gap);
        std::vector<std::uint8_t> frame(converter.frameBytes(), 0x11);
        EXPECT_EQ(converter.convert(source.data(), source.size(), frame.data()),
                  Conversion::kComplete);
        return frame;
    }
    /// The colour that all pixels of a frame have.
    static Rgb colorOf(const std::vector<std::uint8_t> &frame)
    {
        for (std::size_t i = 3; i < frame.size(); ++i)
            EXPECT_EQ(frame[i], frame[i - 3]) << "byte " << i;
        return {frame[0], frame[1], frame[2]};
    }
};

TEST_P(ColorFormatTest, GreyStaysGrey)
{
    const Rgb color = colorOf(convert(kGrey));
    EXPECT_NEAR(color.r, 128, 4);
    EXPECT_EQ(color.g, color.r);
    EXPECT_EQ(color.b, color.r);
}

TEST_P(ColorFormatTest, RedIsRedAndBlueIsBlue)
{
    const Rgb red = colorOf(convert(kReddish));
    EXPECT_GT(red.r, 210);
    EXPECT_LT(red.b, 90);
    const Rgb blue = colorOf(convert(kBluish));
    EXPECT_GT(blue.b, 230);
    EXPECT_LT(blue.r, 100);
}

TEST_P(ColorFormatTest, PaddingBetweenRowsIsSkipped)
{
    EXPECT_EQ(convert(kReddish, 6), convert(kReddish));
}

INSTANTIATE_TEST_SUITE_P(Formats, ColorFormatTest,
                         testing::Values(V4L2_PIX_FMT_YUYV, V4L2_PIX_FMT_UYVY, V4L2_PIX_FMT_NV12,
                                         V4L2_PIX_FMT_NV21));

TEST(FrameConverterTest, PlanesWithoutTheirColoursAreUnusable)
{
    const auto source = image(V4L2_PIX_FMT_NV12, kGrey);
    FrameConverter converter(*findSourceFormat(V4L2_PIX_FMT_NV12), kWidth, kHeight, kWidth);
    std::vector<std::uint8_t> frame(converter.frameBytes());
    EXPECT_EQ(converter.convert(source.data(), source.size() - 1, frame.data()),
              Conversion::kUnusable);
}

TEST(FrameConverterTest, OnlyFormatsWithoutPaddingPassThrough)
{
    const SourceFormat &grey = *findSourceFormat(V4L2_PIX_FMT_GREY);
    EXPECT_TRUE(FrameConverter(grey, 64, 48, 64).passesThrough());
    EXPECT_FALSE(FrameConverter(grey, 64, 48, 72).passesThrough());
    EXPECT_FALSE(FrameConverter(*findSourceFormat(V4L2_PIX_FMT_Z16), 64, 48, 128).passesThrough());
}

TEST(FrameConverterTest, AnImpossibleRowSizeIsIgnored)
{
    for (const std::size_t rowBytes : {std::size_t{1}, std::size_t{0xffffffffU}}) {
        FrameConverter converter(*findSourceFormat(V4L2_PIX_FMT_GREY), 64, 48, rowBytes);
        const std::vector<std::uint8_t> source(std::size_t{64} * 48, 7);
        std::vector<std::uint8_t> frame(converter.frameBytes());
        EXPECT_EQ(converter.convert(source.data(), source.size(), frame.data()),
                  Conversion::kComplete)
            << rowBytes;
        EXPECT_EQ(frame, source);
    }
}

/// An image of one colour, as a camera compresses it.
std::vector<std::uint8_t> jpegOf(Rgb color, unsigned int width = kWidth)
{
    std::vector<std::uint8_t> row;
    for (unsigned int x = 0; x < width; ++x) {
        for (const int part : {color.r, color.g, color.b})
            row.push_back(static_cast<std::uint8_t>(part));
    }
    return rgbJpeg(row, kHeight);
}

/// A JPEG without its Huffman tables, which cameras leave out.
std::vector<std::uint8_t> withoutTables(const std::vector<std::uint8_t> &jpeg)
{
    std::vector<std::uint8_t> left(jpeg.begin(), jpeg.begin() + 2);
    std::size_t at = 2;
    while (jpeg[at + 1] != 0xda) {
        const std::size_t size = 2 + (std::size_t{jpeg[at + 2]} << 8U | jpeg[at + 3]);
        const auto begin = jpeg.begin() + static_cast<std::ptrdiff_t>(at);
        if (jpeg[at + 1] != 0xc4)
            left.insert(left.end(), begin, begin + static_cast<std::ptrdiff_t>(size));
        at += size;
    }
    left.insert(left.end(), jpeg.begin() + static_cast<std::ptrdiff_t>(at), jpeg.end());
    return left;
}

class JpegTest : public testing::Test {
protected:
    Conversion convert(const std::vector<std::uint8_t> &jpeg)
    {
        FrameConverter converter(*findSourceFormat(V4L2_PIX_FMT_MJPEG), kWidth, kHeight, 0);
        m_frame.assign(converter.frameBytes(), 0x11);
        return converter.convert(jpeg.data(), jpeg.size(), m_frame.data());
    }
    void expectRed() const
    {
        for (std::size_t i = 0; i < m_frame.size(); i += 3) {
            EXPECT_NEAR(m_frame[i], 200, 4);
            EXPECT_NEAR(m_frame[i + 1], 40, 4);
            EXPECT_NEAR(m_frame[i + 2], 30, 4);
        }
    }

private:
    std::vector<std::uint8_t> m_frame;
};

TEST_F(JpegTest, AnImageIsDecoded)
{
    EXPECT_EQ(convert(jpegOf({200, 40, 30})), Conversion::kComplete);
    expectRed();
}

TEST_F(JpegTest, AnImageWithoutTablesIsDecoded)
{
    const auto jpeg = jpegOf({200, 40, 30});
    const auto left = withoutTables(jpeg);
    ASSERT_LT(left.size(), jpeg.size());
    EXPECT_EQ(convert(left), Conversion::kComplete);
    expectRed();
}

TEST_F(JpegTest, BytesAfterTheImageAreIgnored)
{
    auto jpeg = jpegOf({200, 40, 30});
    jpeg.insert(jpeg.end(), 500, 0);
    EXPECT_EQ(convert(jpeg), Conversion::kComplete);
    expectRed();
}

TEST_F(JpegTest, PaddingBeforeTheEndIsIgnored)
{
    auto jpeg = jpegOf({200, 40, 30});
    jpeg.insert(jpeg.end() - 2, 32, 0);
    EXPECT_EQ(convert(jpeg), Conversion::kComplete);
    expectRed();
}

TEST_F(JpegTest, ATruncatedImageIsDamaged)
{
    auto jpeg = jpegOf({200, 40, 30});
    jpeg.resize(jpeg.size() - 4);
    EXPECT_EQ(convert(jpeg), Conversion::kDamaged);
}

TEST_F(JpegTest, AnImageOfAnotherSizeIsUnusable)
{
    EXPECT_EQ(convert(jpegOf({200, 40, 30}, 2 * kWidth)), Conversion::kUnusable);
}

TEST_F(JpegTest, EveryTruncationIsHandled)
{
    const auto jpeg = jpegOf({200, 40, 30});
    for (std::size_t size = 0; size < jpeg.size() - 2; ++size)
        EXPECT_NE(convert({jpeg.begin(), jpeg.begin() + static_cast<std::ptrdiff_t>(size)}),
                  Conversion::kComplete)
            << size << " bytes of " << jpeg.size();
}

}  // namespace
}  // namespace nubrix::uvc
