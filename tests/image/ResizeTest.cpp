#include <gtest/gtest.h>

#include "nubrix/image.h"
#include "tests/image/GuardedBytes.h"
#include "tests/image/KernelFixture.h"

namespace nubrix {

namespace {

using Place = GuardedBytes::Place;
using Pixels = std::vector<unsigned short>;

constexpr unsigned int kMostSide = 70;

Pixels randomPixels(unsigned int width, unsigned int height)
{
    const std::vector<unsigned char> bytes =
        randomBytes(std::size_t{2} * width * height, width * 71 + height);
    Pixels pixels;
    for (std::size_t i = 0; i < bytes.size(); i += 2)
        pixels.push_back(static_cast<unsigned short>(bytes[i] | bytes[i + 1] << 8));
    return pixels;
}

class ResizeTest : public testing::Test {
protected:
    void check(unsigned int toWidth, unsigned int toHeight, unsigned int fromWidth,
               unsigned int fromHeight)
    {
        const Pixels source = randomPixels(fromWidth, fromHeight);
        for (const Place place : {Place::kEnd, Place::kBegin}) {
            m_source.place(source.size() * 2, place);
            std::copy(source.begin(), source.end(), m_source.as<unsigned short>());
            m_target.place(std::size_t{2} * toWidth * toHeight, place);
            m_target.fill(0x5A);
            ASSERT_EQ(resizeImage(m_target.as<unsigned short>(), toWidth, toHeight,
                                  m_source.as<unsigned short>(), fromWidth, fromHeight),
                      1U);
            ASSERT_TRUE(m_source.intact() && m_target.intact());
            const auto *found = m_target.as<unsigned short>();
            bool same = true;
            for (unsigned int row = 0; row < toHeight; ++row) {
                for (unsigned int column = 0; column < toWidth; ++column, ++found) {
                    const bool inside = row < fromHeight && column < fromWidth;
                    same = same && *found == (inside ? source[row * fromWidth + column] : 0);
                }
            }
            ASSERT_TRUE(same);
        }
    }

    GuardedBytes m_source{std::size_t{2} * 1920 * 1080};
    GuardedBytes m_target{std::size_t{2} * 1921 * 1081};
};

TEST_F(ResizeTest, CropsAndPadsEverySize)
{
    unsigned int number = 0;
    for (unsigned int width = 0; width <= kMostSide; ++width) {
        for (unsigned int height = 0; height <= kMostSide; ++height) {
            for (const auto &[fromWidth, fromHeight] :
                 {std::pair{width, 33U}, {33U, height}, {33U, 41U}, {width, height}}) {
                if (number++ % kEverySize != 0)
                    continue;
                check(width, height, fromWidth, fromHeight);
                ASSERT_FALSE(HasFatalFailure())
                    << width << " x " << height << " from " << fromWidth << " x " << fromHeight;
            }
        }
    }
}

TEST_F(ResizeTest, NeverScalesLargeImages)
{
    check(640, 400, 640, 480);
    check(640, 500, 640, 480);
    check(1920, 1080, 1920, 1080);
    check(1921, 1081, 1920, 1080);
    check(1280, 800, 1920, 1080);
}

TEST_F(ResizeTest, NullImagesAreRefused)
{
    unsigned short image[4] = {1, 2, 3, 4};
    EXPECT_EQ(resizeImage(nullptr, 2, 2, image, 2, 2), 0U);
    EXPECT_EQ(resizeImage(image, 2, 2, nullptr, 2, 2), 0U);
    EXPECT_EQ(Pixels(image, image + 4), (Pixels{1, 2, 3, 4}));
}

TEST_F(ResizeTest, AnImageMayBeCutInItsOwnPlace)
{
    unsigned short image[] = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(resizeImage(image, 2, 2, image, 2, 3), 1U);
    EXPECT_EQ(Pixels(image, image + 6), (Pixels{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(resizeImage(image, 2, 3, image, 2, 2), 1U);
    EXPECT_EQ(Pixels(image, image + 6), (Pixels{1, 2, 3, 4, 0, 0}));
}

}  // namespace

}  // namespace nubrix
