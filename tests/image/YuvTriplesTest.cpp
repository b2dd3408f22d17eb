// Every conversion from YUV with every triple of Y, U and V, against the formulas.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "image/ImagePlain.h"
#include "nubrix/image.h"
#include "tests/image/KernelFixture.h"

namespace nubrix {

namespace {

using Rgb = std::vector<unsigned char>;
constexpr int kValues = 256;

int clamped(int value, int most)
{
    return value < 0 ? 0 : std::min(value, most);
}

// The formulas once more, written as differently as they allow.
RGB888Pixel expectedOf8Bits(int y, int u, int v)
{
    const auto part = [](int sum) {
        return static_cast<unsigned char>(clamped(static_cast<int>(std::floor(sum / 256.0)), 255));
    };
    return {part(298 * y + 409 * v - 4768 - 52352 + 128),
            part(298 * y - 100 * u - 208 * v - 4768 + 12800 + 26624 + 128),
            part(298 * y + 516 * u - 4768 - 66048 + 128)};
}

RGB888Pixel expectedOf10Bits(int y, int u, int v)
{
    const int luma = y < 16 ? 0 : 1192 * y - 19072;
    const auto part = [](int sum) {
        return static_cast<unsigned char>(clamped(sum, 0x3ffff) / 1024);
    };
    return {part(luma + 1634 * v - 209152), part(luma - 833 * v - 400 * u + 157824),
            part(luma + 2066 * u - 264448)};
}

RGB888Pixel expectedOfDoubles(int y, int u, int v)
{
    const auto part = [](double sum) {
        return static_cast<unsigned char>(clamped(static_cast<int>(sum), 255));
    };
    return {part(y + 1.370705 * (v - 128)), part(y - 0.698001 * (v - 128) - 0.337633 * (u - 128)),
            part(y + 1.732446 * (u - 128))};
}

class YuvTriplesTest : public KernelFixture {
protected:
    using Formula = RGB888Pixel (*)(int y, int u, int v);

    // An image of 512 x 256 for each U: columns are Y, twice, so that each Y meets both places of a
    // pair; rows are V. Calls convert(u, rgb), which must make that image.
    template <class Convert>
    static void expectEveryTriple(Formula formula, const Convert &convert)
    {
        Rgb expected(std::size_t{3} * 2 * kValues * kValues);
        Rgb found(expected.size());
        for (int u = 0; u < kValues; u += everyU()) {
            RGB888Pixel *pixel = reinterpret_cast<RGB888Pixel *>(expected.data());
            for (int v = 0; v < kValues; ++v) {
                for (int x = 0; x < 2 * kValues; ++x)
                    *pixel++ = formula(lumaAt(x), u, v);
            }
            std::fill(found.begin(), found.end(), static_cast<unsigned char>(1));
            convert(u, found.data());
            ASSERT_EQ(std::memcmp(found.data(), expected.data(), expected.size()), 0)
                << "with U " << u << ", at byte "
                << std::mismatch(found.begin(), found.end(), expected.begin()).first -
                       found.begin();
        }
    }

    // 0 to 255 and then 255 to 0: a value at an even place is at an odd one the other time.
    static int lumaAt(int x) { return x < kValues ? x : 2 * kValues - 1 - x; }

    // Four bytes for two pixels, with Y0, Y1, U and V at the given places.
    static std::vector<unsigned char> packed(int u, int y0At, int y1At, int uAt, int vAt)
    {
        std::vector<unsigned char> image;
        for (int v = 0; v < kValues; ++v) {
            for (int x = 0; x < 2 * kValues; x += 2) {
                unsigned char group[4];
                group[y0At] = static_cast<unsigned char>(lumaAt(x));
                group[y1At] = static_cast<unsigned char>(lumaAt(x + 1));
                group[uAt] = static_cast<unsigned char>(u);
                group[vAt] = static_cast<unsigned char>(v);
                image.insert(image.end(), group, group + 4);
            }
        }
        return image;
    }

    // A 4:2:0 image of 512 x 2 for each V; uAndV(u, v) appends the colours of 256 pairs.
    template <class Colours, class Convert>
    static void convertBands(int u, unsigned char *rgb, const Colours &colours,
                             const Convert &convert)
    {
        std::vector<unsigned char> luma;
        for (int row = 0; row < 2; ++row) {
            for (int x = 0; x < 2 * kValues; ++x)
                luma.push_back(static_cast<unsigned char>(lumaAt(x)));
        }
        std::vector<unsigned char> band(std::size_t{3} * 2 * 2 * kValues);
        for (int v = 0; v < kValues; ++v) {
            std::vector<unsigned char> image = luma;
            colours(image, static_cast<unsigned char>(u), static_cast<unsigned char>(v));
            ASSERT_TRUE(convert(band.data(), image.data(), 2 * kValues, 2));
            const std::size_t rowBytes = band.size() / 2;
            ASSERT_EQ(std::memcmp(band.data(), band.data() + rowBytes, rowBytes), 0);
            std::memcpy(rgb + static_cast<std::size_t>(v) * rowBytes, band.data(), rowBytes);
        }
    }
};

TEST_P(YuvTriplesTest, I420)
{
    expectEveryTriple(&expectedOf10Bits, [](int u, unsigned char *rgb) {
        convertBands(
            u, rgb,
            [](std::vector<unsigned char> &image, unsigned char givenU, unsigned char v) {
                image.insert(image.end(), kValues, givenU);
                image.insert(image.end(), kValues, v);
            },
            &YUVI420ToRGB888);
    });
}

TEST_P(YuvTriplesTest, Nv21)
{
    expectEveryTriple(&expectedOf10Bits, [](int u, unsigned char *rgb) {
        convertBands(
            u, rgb,
            [](std::vector<unsigned char> &image, unsigned char givenU, unsigned char v) {
                for (int i = 0; i < kValues; ++i)
                    image.insert(image.end(), {v, givenU});
            },
            &YUVNV21ToRGB888);
    });
}

TEST_P(YuvTriplesTest, Yuyv)
{
    expectEveryTriple(&expectedOfDoubles, [](int u, unsigned char *rgb) {
        std::vector<unsigned char> image = packed(u, 0, 2, 1, 3);
        ASSERT_TRUE(YUV422ToRGB(rgb, image.data(), 2 * kValues, kValues));
    });
}

TEST_P(YuvTriplesTest, Uyvy)
{
    expectEveryTriple(&expectedOf8Bits, [](int u, unsigned char *rgb) {
        const std::vector<unsigned char> image = packed(u, 1, 3, 0, 2);
        unsigned int consumed = 0;
        unsigned int produced = 3 * 2 * kValues * kValues;
        YUV422ToRGB888(image.data(), rgb, static_cast<unsigned int>(image.size()), &consumed,
                       &produced);
        ASSERT_EQ(consumed, image.size());
        ASSERT_EQ(produced, 3U * 2 * kValues * kValues);
    });
}

INSTANTIATE_TEST_SUITE_P(Kernels, YuvTriplesTest, testing::ValuesIn(allKernels()), kernelName);

TEST(YuvPixels, EveryTripleIsAsTheFormulasSay)
{
    for (int u = 0; u < kValues; ++u) {
        bool same = true;
        for (int v = 0; v < kValues; ++v) {
            for (int y = 0; y < kValues; ++y) {
                const auto yByte = static_cast<unsigned char>(y);
                RGB888Pixel found;
                YUV444ToRGB888(yByte, static_cast<unsigned char>(u), static_cast<unsigned char>(v),
                               found.r, found.g, found.b);
                const RGB888Pixel of8 = expectedOf8Bits(y, u, v);
                same = same && found.r == of8.r && found.g == of8.g && found.b == of8.b;
                const RGB888Pixel of = expectedOfDoubles(y, u, v);
                const unsigned int packed = of.r | static_cast<unsigned int>(of.g) << 8 |
                                            static_cast<unsigned int>(of.b) << 16;
                same = same && convert_yuv_to_rgb_pixel(y, u, v) == packed;
            }
        }
        ASSERT_TRUE(same) << "with U " << u;
    }
}

}  // namespace

}  // namespace nubrix
