#include "cloud/PointCloud.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <bit>
#include <cerrno>
#include <limits>

#include "cloud/PointCloudKernel.h"
#include "image/ColorBoard.h"
#include "tests/cloud/CloudImages.h"

namespace {

std::atomic<int> g_threads{0};
std::atomic<int> g_threadsToRefuse{0};

}  // namespace

// Stands before the system's own for the C++ library too.
extern "C" [[gnu::visibility("default")]] int pthread_create(pthread_t *thread,
                                                             const pthread_attr_t *attributes,
                                                             void *(*run)(void *),
                                                             void *argument) noexcept
{
    using Create = int (*)(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *);
    static const auto kCreate = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
    ++g_threads;
    if (g_threadsToRefuse > 0) {
        --g_threadsToRefuse;
        return EAGAIN;
    }
    return kCreate(thread, attributes, run, argument);
}

namespace nubrix {

namespace {

constexpr CloudCamera kDefault = {1000, 425, 425, 200, 320};
constexpr CloudCamera kOwn = {500, 600, 700, 80, 90};

std::vector<InstructionSet> supportedSets()
{
    std::vector<InstructionSet> sets;
    for (const InstructionSet set : kInstructionSets) {
        if (supports(set))
            sets.push_back(set);
    }
    return sets;
}

// Every set has every pixel, also where its kernel does not take the job.
std::string difference(const DepthImage &image, const CloudCamera &given,
                       const CloudCamera &expected, InstructionSet set)
{
    CloudBuffers ours(image.pixels.size());
    CloudBuffers plain(image.pixels.size());
    convertToPointCloud(image.pixels.data(), image.width, image.height, given, ours.points(), 1,
                        true, set);
    plainCloud(image.pixels.data(), image.width, image.height, expected, plain.points(), 1, true);
    return ours.differenceFrom(plain);
}

class PointCloudTest : public testing::TestWithParam<InstructionSet> {
protected:
    PointCloudTest() { onCreateColorBoard(); }
};

TEST_P(PointCloudTest, AnyNumberNotAboveZeroReplacesAllFive)
{
    const DepthImage image = randomImage(71, 3, 1);
    ASSERT_EQ(difference(image, kOwn, kOwn, GetParam()), "");
    ASSERT_NE(difference(image, kOwn, kDefault, GetParam()), "");
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    for (const float bad : {0.0F, -0.0F, -1.0F, -std::numeric_limits<float>::infinity(), kNan,
                            -kNan, -std::numeric_limits<float>::denorm_min()}) {
        for (float CloudCamera::*number : {&CloudCamera::s, &CloudCamera::fx, &CloudCamera::fy,
                                           &CloudCamera::cx, &CloudCamera::cy}) {
            CloudCamera camera = kOwn;
            camera.*number = bad;
            EXPECT_EQ(difference(image, camera, kDefault, GetParam()), "") << bad;
        }
    }
    EXPECT_EQ(difference(image, {0, 0, 0, 0, 0}, kDefault, GetParam()), "");
}

TEST_P(PointCloudTest, NumbersAboveZeroAreTakenHoweverSmallOrLarge)
{
    const DepthImage image = randomImage(71, 3, 2);
    for (const float odd : {std::numeric_limits<float>::denorm_min(), 1e-38F, 1e-20F, 1e20F,
                            std::numeric_limits<float>::max()}) {
        for (float CloudCamera::*number : {&CloudCamera::s, &CloudCamera::fx, &CloudCamera::fy,
                                           &CloudCamera::cx, &CloudCamera::cy}) {
            CloudCamera camera = kOwn;
            camera.*number = odd;
            EXPECT_EQ(difference(image, camera, camera, GetParam()), "") << odd;
        }
    }
}

TEST_P(PointCloudTest, EveryWidthAndHeightYieldsThePlainBits)
{
    for (unsigned int width = 0; width <= 70; ++width) {
        for (unsigned int height = 0; height <= 2; ++height) {
            const DepthImage image = randomImage(width, height, width);
            EXPECT_EQ(difference(image, kOwn, kOwn, GetParam()), "") << width << " x " << height;
        }
    }
    for (const unsigned int width : {284U, 568U, 1136U})
        EXPECT_EQ(difference(randomImage(width, 3, width), kOwn, kOwn, GetParam()), "") << width;
}

TEST_P(PointCloudTest, ColouredRowsOfAnyWidthAndCameraGiveThePlainBits)
{
    const CloudCamera cameras[] = {kOwn,
                                   {-500, 600, 700, 80, 90},
                                   {500, -600, 700, 0, -90},
                                   {500, 600, -700, -1e30F, 1e-30F},
                                   {1e-30F, 1e-9F, 1, 2, 3},
                                   {1e30F, 1e30F, 1, 2, 3}};
    for (unsigned int width = 0; width <= 70; ++width) {
        const DepthImage image = randomImage(width, 4, width);
        for (const CloudCamera &camera : cameras) {
            CloudBuffers ours(image.pixels.size());
            CloudBuffers plain(image.pixels.size());
            convertRowsWithColours(image.pixels.data(), width, 1, 3, camera, ours.points(),
                                   ours.colours(), width % 4, GetParam());
            plainCloudWithColours(image.pixels.data(), width, 1, 3, camera, plain.points(),
                                  plain.colours(), width % 4);
            EXPECT_EQ(ours.differenceFrom(plain), "") << width << " wide, s " << camera.s;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Sets, PointCloudTest, testing::ValuesIn(supportedSets()),
                         [](const auto &set) { return std::string(nameOf(set.param)); });

class ColouredCloudTest : public testing::Test {
protected:
    ColouredCloudTest() { onCreateColorBoard(); }

    // What differs from rows of one camera; the caller's s is 250.
    static std::string difference(unsigned int width, unsigned int height, CloudCamera camera,
                                  unsigned int pixelType)
    {
        camera.s = 250;
        const DepthImage image = randomImage(width, height, width);
        CloudBuffers ours(image.pixels.size());
        CloudBuffers plain(image.pixels.size());
        convertToPointCloudWithColours(image.pixels.data(), width, height, camera.s, ours.points(),
                                       ours.colours(), pixelType);
        plainCloudWithColours(image.pixels.data(), width, 0, height, camera, plain.points(),
                              plain.colours(), pixelType);
        return ours.differenceFrom(plain);
    }

    const CloudCamera m_wide = {
        0, std::bit_cast<float>(0x44510752U), std::bit_cast<float>(0x44510752U),
        std::bit_cast<float>(0x441ea894U), std::bit_cast<float>(0x43c86d18U)};
    const CloudCamera m_narrow = {
        0, std::bit_cast<float>(0x43d10752U), std::bit_cast<float>(0x43d10752U),
        std::bit_cast<float>(0x439ea894U), std::bit_cast<float>(0x43486d18U)};
};

TEST_F(ColouredCloudTest, TheWidthChoosesTheCamera)
{
    for (const unsigned int width : {1U, 320U, 568U, 639U, 640U})
        EXPECT_EQ(difference(width, 4, m_narrow, 1), "") << width;
    for (const unsigned int width : {641U, 1136U, 1280U, 1921U})
        EXPECT_EQ(difference(width, 4, m_wide, 1), "") << width;
    EXPECT_NE(difference(640, 4, m_wide, 1), "");
    EXPECT_NE(difference(641, 4, m_narrow, 1), "");
}

TEST_F(ColouredCloudTest, EveryHeightIsSplitIntoTwoHalvesWithoutAGap)
{
    for (unsigned int height = 0; height <= 9; ++height) {
        for (unsigned int pixelType = 0; pixelType <= 3; ++pixelType)
            EXPECT_EQ(difference(67, height, m_narrow, pixelType), "") << height;
    }
}

TEST_F(ColouredCloudTest, ItStartsTwoThreads)
{
    for (const unsigned int height : {0U, 1U, 480U}) {
        const int before = g_threads;
        EXPECT_EQ(difference(64, height, m_narrow, 1), "");
        EXPECT_EQ(g_threads - before, 2) << height;
    }
}

TEST_F(ColouredCloudTest, WithoutThreadsTheCallerDoesTheWork)
{
    for (const int refused : {1, 2}) {
        g_threadsToRefuse = refused;
        EXPECT_EQ(difference(64, 7, m_narrow, 1), "") << refused;
        EXPECT_EQ(g_threadsToRefuse, 0);
    }
}

TEST_F(ColouredCloudTest, TheWorkerReadsAnImageThatItMayWrite)
{
    const DepthImage image = randomImage(40, 6, 5);
    std::vector<unsigned short> depth = image.pixels;
    CloudBuffers ours(depth.size());
    CloudBuffers plain(depth.size());
    cloudProject2(depth.data(), 40, 2, 5, 1000, 600, 700, 20, 3, ours.points(), ours.colours(), 2);
    plainCloudWithColours(depth.data(), 40, 2, 5, {1000, 600, 700, 20, 3}, plain.points(),
                          plain.colours(), 2);
    EXPECT_EQ(ours.differenceFrom(plain), "");
    EXPECT_EQ(depth, image.pixels);
}

TEST_F(ColouredCloudTest, ALargeImageYieldsThePlainBits)
{
    // More than is kept in caches, where those are no larger than 8 MB.
    EXPECT_EQ(difference(1283, 600, m_wide, 1), "");
    EXPECT_EQ(nubrix::difference(randomImage(1283, 600, 1), kOwn, kOwn, instructionSet()), "");
}

}  // namespace

}  // namespace nubrix
