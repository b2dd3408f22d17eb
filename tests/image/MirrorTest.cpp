#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "nubrix/image.h"
#include "tests/image/GuardedBytes.h"
#include "tests/image/KernelFixture.h"

namespace nubrix {

namespace {

using Bytes = std::vector<unsigned char>;
using Place = GuardedBytes::Place;

constexpr int kMostSide = 70;

void mirrorPlane(Bytes &image, std::size_t at, std::size_t pixelBytes, std::size_t width,
                 std::size_t height)
{
    const Bytes from = image;
    for (std::size_t i = 0; i < width * height; ++i) {
        const std::size_t source = i / width * width + width - 1 - i % width;
        for (std::size_t byte = 0; byte < pixelBytes; ++byte)
            image[at + i * pixelBytes + byte] = from[at + source * pixelBytes + byte];
    }
}

struct Mirroring {
    const char *name;
    std::size_t bytesOfTwoPixels;
    std::function<bool(unsigned char *, int, int)> mirror;
    std::function<void(Bytes &, std::size_t, std::size_t)> expect;
};

template <class T>
Mirroring mirroringOf(const char *name, bool (*mirror)(T *, int, int))
{
    return {name, 2 * sizeof(T),
            [mirror](unsigned char *image, int width, int height) {
                return mirror(static_cast<T *>(static_cast<void *>(image)), width, height);
            },
            [](Bytes &image, std::size_t width, std::size_t height) {
                mirrorPlane(image, 0, sizeof(T), width, height);
            }};
}

std::vector<Mirroring> allMirrorings()
{
    return {
        mirroringOf<unsigned char>("8 bits", &mirrorPixels),
        mirroringOf<unsigned short>("16 bits", &mirrorPixels),
        mirroringOf<RGB888Pixel>("RGB", &mirrorPixels),
        mirroringOf<unsigned char>("8 bits by the template", &tempMirrorPixels<unsigned char>),
        mirroringOf<unsigned short>("16 bits by the template", &tempMirrorPixels<unsigned short>),
        {"planar", 3, &mirrorPixels_YUV420P,
         [](Bytes &image, std::size_t width, std::size_t height) {
             mirrorPlane(image, 0, 1, width, height);
             mirrorPlane(image, width * height, 1, width / 2, height / 2);
             mirrorPlane(image, width * height * 5 / 4, 1, width / 2, height / 2);
         }},
        {"semi-planar", 3, &mirrorPixels_YUV420SP,
         [](Bytes &image, std::size_t width, std::size_t height) {
             mirrorPlane(image, 0, 1, width, height);
             mirrorPlane(image, width * height, 2, width / 2, height / 2);
         }}};
}

class MirrorTest : public KernelFixture {
protected:
    void check(const Mirroring &mirroring, int width, int height)
    {
        const auto columns = static_cast<std::size_t>(width);
        const auto rows = static_cast<std::size_t>(height);
        const std::size_t size = columns * rows * mirroring.bytesOfTwoPixels / 2;
        const Bytes image = randomBytes(size, static_cast<unsigned int>(width * 71 + height));
        Bytes expected = image;
        mirroring.expect(expected, columns, rows);
        for (const Place place : {Place::kEnd, Place::kBegin}) {
            m_image.place(size, place);
            m_image.fill(image);
            ASSERT_TRUE(mirroring.mirror(m_image.data(), width, height));
            ASSERT_TRUE(m_image.holds(expected));
            ASSERT_TRUE(m_image.intact());
        }
    }

    GuardedBytes m_image{std::size_t{3} * 1920 * 1080};
};

TEST_P(MirrorTest, ReversesTheRowsOfImagesOfEverySize)
{
    unsigned int number = 0;
    for (const Mirroring &mirroring : allMirrorings()) {
        for (int width = 0; width <= kMostSide; ++width) {
            for (int height = 0; height <= kMostSide; ++height) {
                if (number++ % kEverySize != 0)
                    continue;
                check(mirroring, width, height);
                ASSERT_FALSE(HasFatalFailure())
                    << mirroring.name << " " << width << " x " << height;
            }
        }
    }
}

TEST_P(MirrorTest, ReversesTheRowsOfLongAndOfLargeImages)
{
    for (const Mirroring &mirroring : allMirrorings()) {
        for (int width = kMostSide; width <= 400; width += static_cast<int>(kEverySize)) {
            check(mirroring, width, 2);
            ASSERT_FALSE(HasFatalFailure()) << mirroring.name << " " << width;
        }
        check(mirroring, 1920, kEveryLargeSize == 1 ? 1080 : 20);
        ASSERT_FALSE(HasFatalFailure()) << mirroring.name;
    }
}

INSTANTIATE_TEST_SUITE_P(Kernels, MirrorTest, testing::ValuesIn(allKernels()), kernelName);

TEST(Mirrors, ANullImageIsRefusedAndOneWithoutPixelsIsDone)
{
    for (const Mirroring &mirroring : allMirrorings()) {
        EXPECT_FALSE(mirroring.mirror(nullptr, 2, 2)) << mirroring.name;
        EXPECT_FALSE(mirroring.mirror(nullptr, 2, 0)) << mirroring.name;
        Bytes image = randomBytes(24, 1);
        for (const int size : {0, -1, -70000}) {
            EXPECT_TRUE(mirroring.mirror(image.data(), 2, size)) << mirroring.name;
            EXPECT_TRUE(mirroring.mirror(image.data(), size, 2)) << mirroring.name;
            EXPECT_TRUE(mirroring.mirror(image.data(), size, size)) << mirroring.name;
        }
        EXPECT_EQ(image, randomBytes(24, 1));
    }
}

}  // namespace

}  // namespace nubrix
