#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>

#include "image/RotationScratch.h"
#include "nubrix/image.h"
#include "tests/GuardedBytes.h"
#include "tests/image/KernelFixture.h"

namespace nubrix {

namespace {

using Bytes = std::vector<unsigned char>;
using Place = GuardedBytes::Place;

enum class Turn { kClockwise90, kClockwise180, kAnticlockwise90 };
constexpr Turn kTurns[] = {Turn::kClockwise90, Turn::kClockwise180, Turn::kAnticlockwise90};
constexpr int kMostSide = 70;
constexpr unsigned char kUnwritten = 0x5A;

// Which pixel of an image of width x height becomes pixel `index` of the rotated one.
std::size_t cameFrom(Turn turn, std::size_t index, std::size_t width, std::size_t height)
{
    if (turn == Turn::kClockwise180)
        return width * height - 1 - index;
    const std::size_t row = index / height;
    const std::size_t column = index % height;
    if (turn == Turn::kClockwise90)
        return (height - 1 - column) * width + row;
    return column * width + width - 1 - row;
}

// Rotates a plane of `to` that is in the same place of `from`.
void rotatePlane(Turn turn, const Bytes &from, Bytes &to, std::size_t at, std::size_t pixelBytes,
                 std::size_t width, std::size_t height)
{
    for (std::size_t i = 0; i < width * height; ++i) {
        const std::size_t source = cameFrom(turn, i, width, height);
        for (std::size_t byte = 0; byte < pixelBytes; ++byte)
            to[at + i * pixelBytes + byte] = from[at + source * pixelBytes + byte];
    }
}

// A rotating function with its three directions, and what it makes of an image.
struct Rotation {
    const char *name;
    std::size_t bytesOfTwoPixels;
    bool overwritesTheSource;
    std::function<bool(Turn, unsigned char *, int, int, unsigned char *)> rotate;
    std::function<void(Turn, const Bytes &, Bytes &, std::size_t, std::size_t)> expect;
};

template <class T>
bool rotateImage(Turn turn, unsigned char *source, int width, int height,
                 unsigned char *destination)
{
    T *const from = static_cast<T *>(static_cast<void *>(source));
    T *const to = static_cast<T *>(static_cast<void *>(destination));
    switch (turn) {
        case Turn::kClockwise90:
            return rotateClockwise90(from, width, height, to);
        case Turn::kClockwise180:
            return rotateClockwise180(from, width, height, to);
        default:
            return rotateAnticlockwise90(from, width, height, to);
    }
}

template <class T>
Rotation rotationOf(const char *name)
{
    return {name, 2 * sizeof(T), false, &rotateImage<T>,
            [](Turn turn, const Bytes &from, Bytes &to, std::size_t width, std::size_t height) {
                rotatePlane(turn, from, to, 0, sizeof(T), width, height);
            }};
}

bool rotatePlanar(Turn turn, unsigned char *from, int width, int height, unsigned char *to)
{
    switch (turn) {
        case Turn::kClockwise90:
            return rotateClockwise90_YUV420P(from, width, height, to);
        case Turn::kClockwise180:
            return rotateClockwise180_YUV420P(from, width, height, to);
        default:
            return rotateAnticlockwise90_YUV420P(from, width, height, to);
    }
}

bool rotateSemiPlanar(Turn turn, unsigned char *from, int width, int height, unsigned char *to)
{
    switch (turn) {
        case Turn::kClockwise90:
            return rotateClockwise90_YUV420SP(from, width, height, to);
        case Turn::kClockwise180:
            return rotateClockwise180_YUV420SP(from, width, height, to);
        default:
            return rotateAnticlockwise90_YUV420SP(from, width, height, to);
    }
}

std::vector<Rotation> allRotations()
{
    return {rotationOf<unsigned char>("8 bits"),
            rotationOf<unsigned short>("16 bits"),
            rotationOf<RGB888Pixel>("RGB"),
            {"planar", 3, true, &rotatePlanar,
             [](Turn turn, const Bytes &from, Bytes &to, std::size_t width, std::size_t height) {
                 const std::size_t u = width * height;
                 rotatePlane(turn, from, to, 0, 1, width, height);
                 rotatePlane(turn, from, to, u, 1, width / 2, height / 2);
                 rotatePlane(turn, from, to, u * 5 / 4, 1, width / 2, height / 2);
             }},
            {"semi-planar", 3, true, &rotateSemiPlanar,
             [](Turn turn, const Bytes &from, Bytes &to, std::size_t width, std::size_t height) {
                 rotatePlane(turn, from, to, 0, 1, width, height);
                 rotatePlane(turn, from, to, width * height, 2, width / 2, height / 2);
             }}};
}

class RotationTest : public KernelFixture {
protected:
    // Rotates into a destination and in place, with guards behind the images, then before them.
    void check(const Rotation &rotation, Turn turn, int width, int height)
    {
        const auto columns = static_cast<std::size_t>(width);
        const auto rows = static_cast<std::size_t>(height);
        const std::size_t size = columns * rows * rotation.bytesOfTwoPixels / 2;
        const Bytes image = randomBytes(size, static_cast<unsigned int>(width * 71 + height));
        // What no plane covers is left alone.
        Bytes inDestination(size, kUnwritten);
        rotation.expect(turn, image, inDestination, columns, rows);
        Bytes inPlace = image;
        rotation.expect(turn, image, inPlace, columns, rows);
        for (const Place place : {Place::kEnd, Place::kBegin}) {
            putImage(image, place);
            ASSERT_TRUE(rotation.rotate(turn, m_source.data(), width, height, m_target.data()));
            ASSERT_TRUE(m_target.holds(inDestination));
            ASSERT_TRUE(m_source.holds(rotation.overwritesTheSource ? inPlace : image));
            ASSERT_TRUE(m_target.intact() && m_source.intact());
            putImage(image, place);
            ASSERT_TRUE(rotation.rotate(turn, m_source.data(), width, height, nullptr));
            ASSERT_TRUE(m_source.holds(inPlace));
            ASSERT_TRUE(m_source.intact());
        }
    }

    void checkEverySize(const Rotation &rotation)
    {
        unsigned int number = 0;
        for (const Turn turn : kTurns) {
            for (int width = 0; width <= kMostSide; ++width) {
                for (int height = 0; height <= kMostSide; ++height) {
                    if (number++ % everySize() != 0)
                        continue;
                    check(rotation, turn, width, height);
                    ASSERT_FALSE(HasFatalFailure())
                        << rotation.name << " " << width << " x " << height << ", turn "
                        << static_cast<int>(turn);
                }
            }
        }
    }

private:
    void putImage(const Bytes &image, Place place)
    {
        m_source.place(image.size(), place);
        m_source.fill(image);
        m_target.place(image.size(), place);
        m_target.fill(kUnwritten);
    }

    GuardedBytes m_source{std::size_t{3} * 1920 * 1080};
    GuardedBytes m_target{std::size_t{3} * 1920 * 1080};
};

TEST_P(RotationTest, Of8BitImagesOfEverySize)
{
    checkEverySize(allRotations()[0]);
}

TEST_P(RotationTest, Of16BitImagesOfEverySize)
{
    checkEverySize(allRotations()[1]);
}

TEST_P(RotationTest, OfRgbImagesOfEverySize)
{
    checkEverySize(allRotations()[2]);
}

TEST_P(RotationTest, OfPlanarImagesOfEverySizeOverwritesTheSource)
{
    checkEverySize(allRotations()[3]);
}

TEST_P(RotationTest, OfSemiPlanarImagesOfEverySizeOverwritesTheSource)
{
    checkEverySize(allRotations()[4]);
}

TEST_P(RotationTest, OfTheLargestImagesThatFitTheBuffers)
{
    unsigned int number = 0;
    for (const Rotation &rotation : allRotations()) {
        for (const Turn turn : kTurns) {
            if (number++ % everyLargeSize() != 0)
                continue;
            check(rotation, turn, 1920, 1080);
            ASSERT_FALSE(HasFatalFailure()) << rotation.name << static_cast<int>(turn);
        }
    }
}

template <class T>
void checkTemplates()
{
    constexpr int kWidth = 37;
    constexpr int kHeight = 41;
    std::vector<T> image(std::size_t{kWidth} * kHeight);
    for (std::size_t i = 0; i < image.size(); ++i)
        image[i] = static_cast<T>(i * 57);
    const auto functions = {&tempRotateClockwise90<T>, &tempRotateClockwise180<T>,
                            &tempRotateAnticlockwise90<T>};
    const Turn *turn = kTurns;
    for (const auto rotate : functions) {
        std::vector<T> expected(image.size());
        for (std::size_t i = 0; i < image.size(); ++i)
            expected[i] = image[cameFrom(*turn, i, kWidth, kHeight)];
        ++turn;
        std::vector<T> source = image;
        std::vector<T> target(image.size());
        EXPECT_TRUE(rotate(source.data(), target.data(), kWidth, kHeight, false));
        EXPECT_EQ(source, image);
        EXPECT_EQ(target, expected);
        std::fill(target.begin(), target.end(), static_cast<T>(0));
        EXPECT_TRUE(rotate(source.data(), target.data(), kWidth, kHeight, true));
        EXPECT_EQ(source, expected);
        EXPECT_EQ(target, expected);
        for (const bool copyBack : {false, true}) {
            source = image;
            EXPECT_TRUE(rotate(source.data(), nullptr, kWidth, kHeight, copyBack));
            EXPECT_EQ(source, expected) << "in place, whatever the flag is";
        }
        EXPECT_FALSE(rotate(nullptr, nullptr, kWidth, kHeight, true));
    }
}

TEST_P(RotationTest, TheTemplatesCopyBackOnRequestOrWithoutADestination)
{
    checkTemplates<unsigned char>();
    checkTemplates<unsigned short>();
}

INSTANTIATE_TEST_SUITE_P(Kernels, RotationTest, testing::ValuesIn(allKernels()), kernelName);

TEST(Rotations, AQuarterTurnClockwiseBeginsWithTheBottomLeftPixel)
{
    unsigned short image[] = {1, 2, 3, 4, 5, 6};  // 2 x 3
    unsigned short rotated[6] = {};
    EXPECT_TRUE(rotateClockwise90(image, 2, 3, rotated));
    EXPECT_EQ(std::vector<unsigned short>(rotated, rotated + 6),
              (std::vector<unsigned short>{5, 3, 1, 6, 4, 2}));
    EXPECT_TRUE(rotateAnticlockwise90(image, 2, 3, rotated));
    EXPECT_EQ(std::vector<unsigned short>(rotated, rotated + 6),
              (std::vector<unsigned short>{2, 4, 6, 1, 3, 5}));
}

TEST(Rotations, NullSourcesAndADestinationThatIsTheSourceAreRefused)
{
    for (const Rotation &rotation : allRotations()) {
        for (const Turn turn : kTurns) {
            Bytes image = randomBytes(24, 1);
            const Bytes before = image;
            EXPECT_FALSE(rotation.rotate(turn, nullptr, 2, 2, image.data())) << rotation.name;
            EXPECT_FALSE(rotation.rotate(turn, nullptr, 2, 2, nullptr)) << rotation.name;
            EXPECT_FALSE(rotation.rotate(turn, image.data(), 2, 2, image.data())) << rotation.name;
            EXPECT_EQ(image, before);
        }
    }
    unsigned char image[4] = {};
    EXPECT_FALSE(tempRotateClockwise90<unsigned char>(nullptr, nullptr, 2, 2, true));
    EXPECT_FALSE(tempRotateClockwise180<unsigned char>(nullptr, image, 2, 2, true));
    EXPECT_FALSE(tempRotateAnticlockwise90<unsigned char>(image, image, 2, 2, true));
}

// In the order of allRotations().
std::vector<unsigned char *> buffersOf(Turn turn)
{
    RotationScratch &scratch = turn == Turn::kClockwise90    ? g_clockwise90Scratch
                               : turn == Turn::kClockwise180 ? g_clockwise180Scratch
                                                             : g_anticlockwise90Scratch;
    return {scratch.of8, reinterpret_cast<unsigned char *>(scratch.of16),
            reinterpret_cast<unsigned char *>(scratch.of24), scratch.planar, scratch.semiPlanar};
}

TEST(Rotations, TheFunctionsOwnBuffersAreRefused)
{
    for (const Turn turn : kTurns) {
        const std::vector<unsigned char *> own = buffersOf(turn);
        const std::vector<Rotation> rotations = allRotations();
        ASSERT_EQ(own.size(), rotations.size());
        for (std::size_t i = 0; i < own.size(); ++i) {
            const Rotation &rotation = rotations[i];
            Bytes image = randomBytes(24, 1);
            EXPECT_FALSE(rotation.rotate(turn, own[i], 2, 2, nullptr)) << rotation.name;
            for (std::size_t other = 0; other < own.size(); ++other)
                EXPECT_EQ(rotation.rotate(turn, image.data(), 2, 2, own[other]), other != i);
        }
    }
}

TEST(Rotations, ImagesWithoutPixelsAreDoneAtOnce)
{
    for (const Rotation &rotation : allRotations()) {
        for (const Turn turn : kTurns) {
            Bytes image = randomBytes(24, 1);
            const Bytes before = image;
            for (const int size : {0, -1, -70000}) {
                EXPECT_TRUE(rotation.rotate(turn, image.data(), size, 2, nullptr));
                EXPECT_TRUE(rotation.rotate(turn, image.data(), 2, size, nullptr));
                EXPECT_TRUE(rotation.rotate(turn, image.data(), size, size, nullptr));
            }
            EXPECT_EQ(image, before);
        }
    }
}

TEST(Rotations, FifteenBuffersOfFixedSizesAreKept)
{
    for (const RotationScratch *scratch :
         {&g_clockwise90Scratch, &g_clockwise180Scratch, &g_anticlockwise90Scratch}) {
        EXPECT_EQ(sizeof(scratch->of8), 2073600U);
        EXPECT_EQ(sizeof(scratch->of16), 4147200U);
        EXPECT_EQ(sizeof(scratch->of24), 6220800U);
        EXPECT_EQ(sizeof(scratch->planar), 4147200U);
        EXPECT_EQ(sizeof(scratch->semiPlanar), 4147200U);
    }
    EXPECT_EQ(3 * sizeof(RotationScratch), 62208000U);
}

}  // namespace

}  // namespace nubrix
