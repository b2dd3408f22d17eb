// The plain formulas, by hand.
#include "cloud/PointCloudKernel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <ostream>
#include <vector>

#include "image/ColorBoard.h"

// In the namespace of the records, where gtest looks for them.
static bool operator==(const typedefNubrixPoint3D &a, const typedefNubrixPoint3D &b)
{
    return a.x == b.x && a.y == b.y && a.z == b.z;
}
static std::ostream &operator<<(std::ostream &out, const typedefNubrixPoint3D &point)
{
    return out << '(' << point.x << ", " << point.y << ", " << point.z << ')';
}
static bool operator==(const typedefNubrixRGBA &a, const typedefNubrixRGBA &b)
{
    return a.r == b.r && a.g == b.g && a.b == b.b && a.a == b.a;
}
static std::ostream &operator<<(std::ostream &out, const typedefNubrixRGBA &colour)
{
    return out << '(' << colour.r << ", " << colour.g << ", " << colour.b << ", " << colour.a
               << ')';
}

namespace nubrix {

namespace {

constexpr typedefNubrixPoint3D kNoPoint = {0, 0, 0};
constexpr typedefNubrixRGBA kBlack = {0, 0, 0, 1};
constexpr typedefNubrixRGBA kRed = {1, 0, 0, 1};
constexpr CloudCamera kSimple = {1000, 2, 4, 1, 1};

std::vector<typedefNubrixPoint3D> cloudOf(const std::vector<unsigned short> &depth,
                                          unsigned int width, const CloudCamera &camera,
                                          unsigned int pixelType = 1, bool limitRange = false)
{
    std::vector<typedefNubrixPoint3D> points(depth.size(), {-1, -1, -1});
    plainCloud(depth.data(), width, static_cast<unsigned int>(depth.size()) / width, camera,
               points.data(), pixelType, limitRange);
    return points;
}

typedefNubrixPoint3D pointOf(unsigned short raw, unsigned int pixelType, bool limitRange)
{
    return cloudOf({raw}, 1, {1, 1, 1, 1, 1}, pixelType, limitRange).front();
}

struct ColouredCloud {
    std::vector<typedefNubrixPoint3D> points;
    std::vector<typedefNubrixRGBA> colours;
};

ColouredCloud colouredCloudOf(const std::vector<unsigned short> &depth, unsigned int width,
                              const CloudCamera &camera, unsigned int pixelType)
{
    ColouredCloud cloud = {std::vector<typedefNubrixPoint3D>(depth.size(), {-1, -1, -1}),
                           std::vector<typedefNubrixRGBA>(depth.size(), {-1, -1, -1, -1})};
    plainCloudWithColours(depth.data(), width, 0, static_cast<unsigned int>(depth.size()) / width,
                          camera, cloud.points.data(), cloud.colours.data(), pixelType);
    return cloud;
}

bool hasPoint(unsigned int raw, unsigned int pixelType)
{
    const auto pixel = static_cast<unsigned short>(raw);
    const ColouredCloud cloud = colouredCloudOf({pixel}, 1, {1, 1, 1, 1, 1}, pixelType);
    EXPECT_EQ(cloud.points[0] == kNoPoint, cloud.colours[0] == kBlack);
    return !(cloud.points[0] == kNoPoint);
}

TEST(PlainCloud, ProjectsEachPixelThroughItsRowAndColumn)
{
    // 16000 sixteenths are 1000, a depth of 1 with s = 1000.
    EXPECT_THAT(cloudOf({16000, 16000, 16000, 32000, 32000, 32000}, 3, kSimple),
                testing::ElementsAre(
                    typedefNubrixPoint3D{-0.5F, -0.25F, 1}, typedefNubrixPoint3D{0, -0.25F, 1},
                    typedefNubrixPoint3D{0.5F, -0.25F, 1}, typedefNubrixPoint3D{-1, 0, 2},
                    typedefNubrixPoint3D{0, 0, 2}, typedefNubrixPoint3D{1, 0, 2}));
}

TEST(PlainCloud, ThePixelTypeSaysHowManyFractionBitsThereAre)
{
    EXPECT_EQ(pointOf(8000, 1, false).z, 500);
    EXPECT_EQ(pointOf(8000, 2, false).z, 1000);
    for (const unsigned int other : {0U, 3U, 4U, 77U, 0xffffffffU})
        EXPECT_EQ(pointOf(8000, other, false).z, 2000) << other;
    EXPECT_EQ(pointOf(1, 1, false).z, 0.0625F);
}

TEST(PlainCloud, NoDepthIsNoPoint)
{
    for (const unsigned int pixelType : {1U, 2U, 3U})
        EXPECT_EQ(pointOf(0, pixelType, false), kNoPoint);
    const typedefNubrixPoint3D point = cloudOf({0}, 1, {1, 1, 1, 7, 7}).front();
    EXPECT_FALSE(std::signbit(point.x) || std::signbit(point.y) || std::signbit(point.z));
}

TEST(PlainCloud, TheLimitTakesTheLastWholeDepthAway)
{
    struct {
        unsigned int pixelType;
        unsigned short first;
    } const limits[] = {{1, 65520}, {2, 65528}, {3, 65532}};
    for (const auto &limit : limits) {
        const auto last = static_cast<unsigned short>(limit.first - 1);
        EXPECT_EQ(pointOf(limit.first, limit.pixelType, true), kNoPoint);
        EXPECT_EQ(pointOf(65535, limit.pixelType, true), kNoPoint);
        EXPECT_GT(pointOf(last, limit.pixelType, true).z, 4094);
        EXPECT_GT(pointOf(limit.first, limit.pixelType, false).z, 4094);
    }
    EXPECT_EQ(pointOf(65535, 1, false).z, 4095.9375F);
}

TEST(PlainCloud, ThreeWidthsAreCutOutsOfALargerImage)
{
    struct {
        unsigned int width;
        float column, row;
    } const offsets[] = {{283, 0, 0}, {284, 25, 12}, {285, 0, 0},     {567, 0, 0}, {568, 50, 25},
                         {640, 0, 0}, {1135, 0, 0},  {1136, 100, 50}, {1137, 0, 0}};
    for (const auto &offset : offsets) {
        const std::vector<unsigned short> depth(2 * std::size_t{offset.width}, 16);
        const auto points = cloudOf(depth, offset.width, {1, 1, 1, 1, 1});
        EXPECT_EQ(points.front(), (typedefNubrixPoint3D{offset.column - 1, offset.row - 1, 1}))
            << offset.width;
        const float last = static_cast<float>(offset.width) - 1;
        EXPECT_EQ(points.back(), (typedefNubrixPoint3D{offset.column + last - 1, offset.row, 1}))
            << offset.width;
    }
}

TEST(PlainCloud, TheProductIsDividedAndNotTheFactors)
{
    // 5 * 7 / 3 with u - cx = 7: 5 * (7 / 3) and (5 / 3) * 7 are one float less.
    const std::vector<unsigned short> depth(9, 4 * 5);
    const float x = cloudOf(depth, 9, {1, 3, 1, 1, 1}, 3)[8].x;
    EXPECT_EQ(x, 35.0F / 3.0F);
    EXPECT_NE(x, 5.0F * (7.0F / 3.0F));
    EXPECT_NE(x, (5.0F / 3.0F) * 7.0F);
}

TEST(PlainCloudWithColours, TurnsYAndZAroundAndHasNoOffsets)
{
    onCreateColorBoard();
    std::vector<unsigned short> depth(568 * 2, 16 * 1000 + 15);  // the fraction bits are dropped
    const ColouredCloud cloud = colouredCloudOf(depth, 568, kSimple, 1);
    EXPECT_EQ(cloud.points[0], (typedefNubrixPoint3D{-0.5F, 0.25F, -1}));
    EXPECT_EQ(cloud.points[2], (typedefNubrixPoint3D{0.5F, 0.25F, -1}));
    EXPECT_EQ(cloud.points[568], (typedefNubrixPoint3D{-0.5F, 0, -1}));
    EXPECT_TRUE(std::signbit(cloud.points[568].y)) << "the negated zero of the principal row";
}

TEST(PlainCloudWithColours, TakesEveryWholeDepthButTheLimitOnesAndZero)
{
    onCreateColorBoard();
    EXPECT_FALSE(hasPoint(0, 1));
    EXPECT_FALSE(hasPoint(15, 1));
    EXPECT_TRUE(hasPoint(16, 1));
    EXPECT_TRUE(hasPoint(4095 * 16 - 1, 1));
    EXPECT_FALSE(hasPoint(4095 * 16, 1));
    EXPECT_FALSE(hasPoint(65535, 1));
    EXPECT_FALSE(hasPoint(7, 2));
    EXPECT_TRUE(hasPoint(8, 2));
    EXPECT_TRUE(hasPoint(4000 * 8 - 1, 2));
    EXPECT_FALSE(hasPoint(4000 * 8, 2)) << "half of what there is without colours";
    EXPECT_FALSE(hasPoint(65535, 2));
    for (const unsigned int other : {0U, 3U, 9U}) {
        EXPECT_FALSE(hasPoint(3, other));
        EXPECT_TRUE(hasPoint(4, other));
        EXPECT_TRUE(hasPoint(16383 * 4 - 1, other));
        EXPECT_FALSE(hasPoint(16383 * 4, other));
        EXPECT_FALSE(hasPoint(65535, other));
    }
}

TEST(PlainCloudWithColours, ColoursDepthsFromTheBoardAndFarOnesRed)
{
    onCreateColorBoard();
    const ColouredCloud cloud = colouredCloudOf(
        {0, 4, 4 * 2048, 4 * 4094, 4 * 4095, 4 * 4096, 4 * 16382}, 7, {1, 1, 1, 1, 1}, 3);
    const typedefNubrixRGBA *const board = colorBoard();
    EXPECT_THAT(cloud.colours,
                testing::ElementsAre(kBlack, board[1], board[2048], board[4094], kRed, kRed, kRed));
}

}  // namespace

}  // namespace nubrix
