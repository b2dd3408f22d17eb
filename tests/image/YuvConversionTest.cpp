// The conversions from YUV: sizes, layouts, refusals and capacities.
#include <gtest/gtest.h>

#include <climits>
#include <functional>

#include "image/ImagePlain.h"
#include "nubrix/image.h"
#include "tests/GuardedBytes.h"
#include "tests/image/KernelFixture.h"

namespace nubrix {

namespace {

using Place = GuardedBytes::Place;
using Bytes = std::vector<unsigned char>;

constexpr unsigned char kUnwritten = 0x5A;
constexpr unsigned int kMostWidth = 130;

void put(Bytes &rgb, std::size_t pixel, const RGB888Pixel &colour)
{
    rgb[3 * pixel] = colour.r;
    rgb[3 * pixel + 1] = colour.g;
    rgb[3 * pixel + 2] = colour.b;
}

// What the layouts mean, pixel by pixel.
Bytes expectedI420(const Bytes &yuv, std::size_t width, std::size_t height)
{
    Bytes rgb(3 * width * height);
    const std::size_t u = width * height;
    const std::size_t v = u + (width / 2) * (height / 2);
    for (std::size_t i = 0; i < width * height; ++i) {
        const std::size_t chroma = (width / 2) * (i / width / 2) + i % width / 2;
        put(rgb, i, plainPixelOf10Bits(yuv[i], yuv[u + chroma], yuv[v + chroma]));
    }
    return rgb;
}

Bytes expectedNv21(const Bytes &yuv, std::size_t width, std::size_t height)
{
    Bytes rgb(3 * width * height);
    for (std::size_t i = 0; i < width * height; ++i) {
        const std::size_t chroma =
            width * height + 2 * ((width / 2) * (i / width / 2) + i % width / 2);
        put(rgb, i, plainPixelOf10Bits(yuv[i], yuv[chroma + 1], yuv[chroma]));
    }
    return rgb;
}

Bytes expectedYuyv(const Bytes &yuv, std::size_t width, std::size_t height)
{
    Bytes rgb(3 * width * height, kUnwritten);
    for (std::size_t i = 0; i < width * height / 2 * 2; ++i) {
        const std::size_t group = i / 2 * 4;
        put(rgb, i, plainPixelOfDoubles(yuv[2 * i], yuv[group + 1], yuv[group + 3]));
    }
    return rgb;
}

Bytes expectedUyvy(const Bytes &yuv, std::size_t groups)
{
    Bytes rgb(6 * groups);
    for (std::size_t i = 0; i < 2 * groups; ++i) {
        const std::size_t group = i / 2 * 4;
        put(rgb, i, plainPixelOf8Bits(yuv[2 * i + 1], yuv[group], yuv[group + 2]));
    }
    return rgb;
}

// The bytes that a 4:2:0 image of any size is read from: with odd sizes more than 3 / 2 a pixel.
std::size_t bytesOf420(std::size_t width, std::size_t height)
{
    const std::size_t lastChroma = (width / 2) * ((height - 1) / 2) + (width - 1) / 2;
    return width * height + (width / 2) * (height / 2) + lastChroma + 1;
}

std::size_t bytesOfNv21(std::size_t width, std::size_t height)
{
    const std::size_t lastChroma = (width / 2) * ((height - 1) / 2) + (width - 1) / 2;
    return width * height + 2 * lastChroma + 2;
}

class YuvConversionTest : public KernelFixture {
protected:
    using Convert = std::function<void(unsigned char *rgb, unsigned char *yuv)>;

    // Converts with guards behind both images and then with guards in front of them.
    void expect(const Bytes &expected, const Bytes &yuv, const Convert &convert)
    {
        for (const Place place : {Place::kEnd, Place::kBegin}) {
            m_rgb.place(expected.size(), place);
            m_rgb.fill(kUnwritten);
            m_yuv.place(yuv.size(), place);
            m_yuv.fill(yuv);
            convert(m_rgb.data(), m_yuv.data());
            ASSERT_TRUE(m_rgb.holds(expected));
            ASSERT_TRUE(m_rgb.intact());
            ASSERT_TRUE(m_yuv.holds(yuv));
        }
    }

    // Calls check(width, height) for all widths and some odd and even heights.
    template <class Check>
    void forEverySize(const Check &check)
    {
        unsigned int number = 0;
        for (unsigned int width = 1; width <= kMostWidth; ++width) {
            for (const unsigned int height : {1U, 2U, 3U, 5U}) {
                if (number++ % everySize() != 0)
                    continue;
                SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height));
                check(width, height);
                if (HasFatalFailure())
                    return;
            }
        }
        for (const unsigned int width : {640U, 848U, 1280U, 1921U}) {
            SCOPED_TRACE(width);
            check(width, 3);
        }
    }

    GuardedBytes m_rgb{std::size_t{3} * 1921 * 5};
    GuardedBytes m_yuv{std::size_t{2} * 1921 * 5};
};

TEST_P(YuvConversionTest, I420OfEveryWidth)
{
    forEverySize([this](unsigned int width, unsigned int height) {
        const Bytes yuv = randomBytes(bytesOf420(width, height), width);
        expect(expectedI420(yuv, width, height), yuv, [&](unsigned char *to, unsigned char *from) {
            EXPECT_TRUE(
                YUVI420ToRGB888(to, from, static_cast<int>(width), static_cast<int>(height)));
        });
    });
}

TEST_P(YuvConversionTest, Nv21OfEveryWidthUnderBothNames)
{
    forEverySize([this](unsigned int width, unsigned int height) {
        const Bytes yuv = randomBytes(bytesOfNv21(width, height), width);
        const Bytes expected = expectedNv21(yuv, width, height);
        for (const auto function : {&YUVNV21ToRGB888, &YUV420SPToRGB}) {
            expect(expected, yuv, [&](unsigned char *to, unsigned char *from) {
                EXPECT_TRUE(function(to, from, static_cast<int>(width), static_cast<int>(height)));
            });
        }
    });
}

TEST_P(YuvConversionTest, YuyvOfEveryWidthLeavesALastPixelWithoutAPartnerUnwritten)
{
    forEverySize([this](unsigned int width, unsigned int height) {
        const Bytes yuv = randomBytes(std::size_t{2} * width * height, width);
        expect(expectedYuyv(yuv, width, height), yuv, [&](unsigned char *to, unsigned char *from) {
            EXPECT_TRUE(YUV422ToRGB(to, from, width, height));
        });
    });
}

TEST_P(YuvConversionTest, UyvyOfEveryLength)
{
    for (unsigned int bytes = 4; bytes <= 4 * kMostWidth; bytes += everySize()) {
        SCOPED_TRACE(bytes);
        const unsigned int groups = bytes / 4;
        const Bytes yuv = randomBytes(bytes, bytes);
        expect(expectedUyvy(yuv, groups), yuv, [&](unsigned char *to, unsigned char *from) {
            unsigned int consumed = 1;
            unsigned int produced = 6 * groups;
            YUV422ToRGB888(from, to, bytes, &consumed, &produced);
            EXPECT_EQ(consumed, 4 * groups);
            EXPECT_EQ(produced, 6 * groups);
        });
        ASSERT_FALSE(HasFatalFailure());
    }
}

TEST_P(YuvConversionTest, UyvyTestsTheCapacityAfterTheFirstGroupOnly)
{
    constexpr unsigned int kGroups = 20;
    const Bytes yuv = randomBytes(4 * kGroups, 1);
    const Bytes all = expectedUyvy(yuv, kGroups);
    for (unsigned int capacity = 0; capacity <= 6 * kGroups + 9; ++capacity) {
        SCOPED_TRACE(capacity);
        unsigned int written = 6;
        while (static_cast<int>(written) <= static_cast<int>(capacity) - 3 && written < 6 * kGroups)
            written += 6;
        expect(Bytes(all.begin(), all.begin() + written), yuv,
               [&](unsigned char *to, unsigned char *from) {
                   unsigned int consumed = 1;
                   unsigned int produced = capacity;
                   YUV422ToRGB888(from, to, static_cast<unsigned int>(yuv.size()), &consumed,
                                  &produced);
                   EXPECT_EQ(produced, written);
                   EXPECT_EQ(consumed, written / 6 * 4);
               });
        ASSERT_FALSE(HasFatalFailure());
    }
}

INSTANTIATE_TEST_SUITE_P(Kernels, YuvConversionTest, testing::ValuesIn(allKernels()), kernelName);

TEST(YuvRefusals, UyvyOfLessThanAGroupGivesNothing)
{
    const Bytes yuv = randomBytes(4, 1);
    Bytes rgb(6, kUnwritten);
    for (unsigned int bytes = 0; bytes < 4; ++bytes) {
        unsigned int consumed = 1;
        unsigned int produced = 6;
        YUV422ToRGB888(yuv.data(), rgb.data(), bytes, &consumed, &produced);
        EXPECT_EQ(consumed, 0U);
        EXPECT_EQ(produced, 0U);
    }
    EXPECT_EQ(rgb, Bytes(6, kUnwritten));
}

TEST(YuvRefusals, NullImagesAndADestinationThatIsTheSourceAreRefused)
{
    Bytes image(24, 7);
    Bytes rgb(24, kUnwritten);
    for (const auto function : {&YUVI420ToRGB888, &YUVNV21ToRGB888, &YUV420SPToRGB}) {
        EXPECT_FALSE(function(rgb.data(), nullptr, 2, 2));
        EXPECT_FALSE(function(nullptr, image.data(), 2, 2));
        EXPECT_FALSE(function(image.data(), image.data(), 2, 2));
    }
    EXPECT_FALSE(YUV422ToRGB(rgb.data(), nullptr, 2, 2));
    EXPECT_FALSE(YUV422ToRGB(nullptr, image.data(), 2, 2));
    EXPECT_FALSE(YUV422ToRGB(image.data(), image.data(), 2, 2));
    unsigned int consumed = 1;
    unsigned int produced = 24;
    YUV422ToRGB888(nullptr, rgb.data(), 8, &consumed, &produced);
    EXPECT_EQ(consumed, 0U);
    EXPECT_EQ(produced, 0U);
    EXPECT_EQ(rgb, Bytes(24, kUnwritten));
    EXPECT_EQ(image, Bytes(24, 7));
}

TEST(YuvRefusals, ImagesWithoutPixelsAreDoneAtOnce)
{
    Bytes image(24, 7);
    Bytes rgb(24, kUnwritten);
    for (const auto function : {&YUVI420ToRGB888, &YUVNV21ToRGB888, &YUV420SPToRGB}) {
        EXPECT_TRUE(function(rgb.data(), image.data(), 0, 2));
        EXPECT_TRUE(function(rgb.data(), image.data(), 2, 0));
        EXPECT_TRUE(function(rgb.data(), image.data(), -2, 2));
        EXPECT_TRUE(function(rgb.data(), image.data(), 2, -2));
    }
    EXPECT_TRUE(YUV422ToRGB(rgb.data(), image.data(), 0, 2));
    EXPECT_EQ(rgb, Bytes(24, kUnwritten));
}

TEST(YuvPixels, BlackWhiteAndTheBrightestRedAreKnown)
{
    unsigned char r = 1;
    unsigned char g = 1;
    unsigned char b = 1;
    YUV444ToRGB888(16, 128, 128, r, g, b);
    EXPECT_EQ((Bytes{r, g, b}), (Bytes{0, 0, 0}));
    YUV444ToRGB888(235, 128, 128, r, g, b);
    EXPECT_EQ((Bytes{r, g, b}), (Bytes{255, 255, 255}));
    EXPECT_EQ(convert_yuv_to_rgb_pixel(255, 0, 255), 255U | 209U << 8 | 33U << 16);
}

TEST(YuvPixels, ValuesThatNoByteHoldsAreClamped)
{
    EXPECT_EQ(convert_yuv_to_rgb_pixel(INT_MAX, 128, 128), 0xFFFFFFU);
    EXPECT_EQ(convert_yuv_to_rgb_pixel(INT_MIN, INT_MIN, INT_MIN), 0x00FF00U);
    EXPECT_EQ(convert_yuv_to_rgb_pixel(0, INT_MIN, INT_MAX), 0x0000FFU);
}

TEST(YuvPixels, TheThreeArithmeticsDiffer)
{
    EXPECT_EQ(plainPixelOf8Bits(235, 128, 128).r, 255);
    EXPECT_EQ(plainPixelOf10Bits(235, 128, 128).r, 254);
    EXPECT_EQ(plainPixelOfDoubles(235, 128, 128).r, 235);
    EXPECT_EQ(plainPixelOf8Bits(0, 128, 255).r, 184);
    EXPECT_EQ(plainPixelOf10Bits(0, 128, 255).r, 202) << "luma below 16 counts as 16";
}

}  // namespace

}  // namespace nubrix
