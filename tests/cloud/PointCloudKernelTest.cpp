// Every kernel against the plain formulas, bit for bit.
#include "cloud/PointCloudKernel.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <ostream>

#include "image/ColorBoard.h"
#include "tests/cloud/CloudImages.h"
#include "tests/cloud/WideLanes.h"

namespace nubrix {

namespace {

constexpr CloudCamera kCamera = {1000.0F, 425.0F, 418.05719F, 317.0F, 200.42615F};

struct NamedKernel {
    std::string name;
    const CloudKernel *kernel;

    friend std::ostream &operator<<(std::ostream &out, const NamedKernel &named)
    {
        return out << named.name;
    }
};

std::vector<NamedKernel> availableKernels()
{
    std::vector<NamedKernel> kernels = {{"of4Lanes", &kCloudOf4Lanes},
                                        {"of8Lanes", &kCloudOf8Lanes},
                                        {"of16Lanes", &kCloudOf16Lanes}};
    for (const InstructionSet set : kInstructionSets) {
        if (const CloudKernel *const kernel = cloudKernelOf(set))
            kernels.push_back({nameOf(set), kernel});
    }
    return kernels;
}

class PointCloudKernelTest : public testing::TestWithParam<NamedKernel> {
protected:
    PointCloudKernelTest() { onCreateColorBoard(); }

    // Where a cloud differs from the plain one; empty when it does not. Jobs that the kernel does
    // not take leave everything untouched, which differs.
    static std::string cloudDifference(const DepthImage &image, const CloudCamera &camera,
                                       unsigned int pixelType, bool limitRange,
                                       bool streaming = false, std::size_t shift = 0)
    {
        CloudBuffers ours(image.pixels.size(), shift);
        CloudBuffers plain(image.pixels.size(), shift);
        CloudJob job = cloudJob(image.pixels.data(), image.width, image.height, camera,
                                ours.points(), pixelType, limitRange);
        job.streaming = streaming;
        if (!runCloudKernel(GetParam().kernel, job))
            return "not taken";
        plainCloud(image.pixels.data(), image.width, image.height, camera, plain.points(),
                   pixelType, limitRange);
        return ours.differenceFrom(plain);
    }
    static std::string colouredDifference(const DepthImage &image, const CloudCamera &camera,
                                          unsigned int pixelType, bool streaming = false,
                                          std::size_t shift = 0)
    {
        return rowsDifference(image, 0, image.height, camera, pixelType, streaming, shift);
    }
    static std::string rowsDifference(const DepthImage &image, unsigned int rowBegin,
                                      unsigned int rowEnd, const CloudCamera &camera,
                                      unsigned int pixelType, bool streaming = false,
                                      std::size_t shift = 0)
    {
        CloudBuffers ours(image.pixels.size(), shift);
        CloudBuffers plain(image.pixels.size(), shift);
        CloudJob job = cloudJobWithColours(image.pixels.data(), image.width, rowBegin, rowEnd,
                                           camera, ours.points(), ours.colours(), pixelType);
        job.streaming = streaming;
        if (!runCloudKernel(GetParam().kernel, job))
            return "not taken";
        plainCloudWithColours(image.pixels.data(), image.width, rowBegin, rowEnd, camera,
                              plain.points(), plain.colours(), pixelType);
        return ours.differenceFrom(plain);
    }
};

TEST_P(PointCloudKernelTest, EveryRawValueYieldsThePlainBits)
{
    const DepthImage image = everyRawValue();
    const CloudCamera cameras[] = {kCamera,
                                   {1000.0F, 425.0F, 425.0F, 200.0F, 320.0F},
                                   {1.0F, 836.11438F, 836.11438F, 634.63403F, 400.85229F},
                                   {0.3F, 7.0F, 1e5F, 255.0F, 0.5F},
                                   {3.0F, 16777.215F, 1.9999999F, 100.1F, 1e-3F}};
    for (const CloudCamera &camera : cameras) {
        for (unsigned int pixelType = 0; pixelType <= 4; ++pixelType) {
            SCOPED_TRACE("pixel type " + std::to_string(pixelType) + ", fx " +
                         std::to_string(camera.fx));
            EXPECT_EQ(cloudDifference(image, camera, pixelType, false), "");
            EXPECT_EQ(cloudDifference(image, camera, pixelType, true), "");
            EXPECT_EQ(colouredDifference(image, camera, pixelType), "");
        }
    }
}

TEST_P(PointCloudKernelTest, EveryWidthAndHeightYieldsThePlainBits)
{
    const unsigned int lanes = GetParam().kernel->lanes;
    for (unsigned int width = lanes; width <= 70; ++width) {
        for (unsigned int height = 0; height <= 3; ++height) {
            SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height));
            const DepthImage image = randomImage(width, height, width);
            EXPECT_EQ(cloudDifference(image, kCamera, width % 4, width % 2 == 0), "");
            EXPECT_EQ(colouredDifference(image, kCamera, width % 4), "");
        }
    }
    for (const unsigned int width : {283U, 284U, 285U, 567U, 568U, 640U, 1136U, 1137U, 1921U}) {
        SCOPED_TRACE(width);
        const DepthImage image = randomImage(width, 5, width);
        EXPECT_EQ(cloudDifference(image, kCamera, 1, true), "");
        EXPECT_EQ(colouredDifference(image, kCamera, 1), "");
    }
}

TEST_P(PointCloudKernelTest, RowsShorterThanItsLanesAreNotTaken)
{
    for (unsigned int width = 0; width < GetParam().kernel->lanes; ++width) {
        const DepthImage image = randomImage(width, 2, width);
        EXPECT_EQ(cloudDifference(image, kCamera, 1, true), "not taken") << width;
        EXPECT_EQ(colouredDifference(image, kCamera, 1), "not taken") << width;
    }
}

TEST_P(PointCloudKernelTest, StreamingWritesTheSameBitsWhereverTheOutputLies)
{
    for (std::size_t shift = 0; shift < 16; ++shift) {
        for (unsigned int width = 16; width <= 50; ++width) {
            SCOPED_TRACE(std::to_string(width) + " wide, " + std::to_string(shift) + " floats off");
            const DepthImage image = randomImage(width, 3, width);
            EXPECT_EQ(cloudDifference(image, kCamera, 1, true, true, shift), "");
            EXPECT_EQ(colouredDifference(image, kCamera, 1, true, shift), "");
        }
    }
}

TEST_P(PointCloudKernelTest, OnlyTheRequestedRowsAreWritten)
{
    const DepthImage image = randomImage(33, 9, 1);
    for (unsigned int begin = 0; begin <= 9; ++begin) {
        for (unsigned int end = begin; end <= 9; ++end) {
            EXPECT_EQ(rowsDifference(image, begin, end, kCamera, 2), "");
            EXPECT_EQ(rowsDifference(image, begin, end, kCamera, 2, true), "");
        }
    }
}

TEST_P(PointCloudKernelTest, HundredsOfRandomCamerasGiveThePlainBits)
{
    std::mt19937 random(7);
    const auto between = [&](float least, float most) {
        std::uniform_real_distribution<float> exponent(std::log2(least), std::log2(most));
        return std::exp2(exponent(random));
    };
    for (unsigned int i = 0; i < 400; ++i) {
        // Half of them such as cameras have, half from all that kernels take.
        const CloudCamera camera =
            i % 2 ? CloudCamera{between(0.5F, 2000), between(100, 3000), between(100, 3000),
                                between(50, 2000), between(50, 2000)}
                  : CloudCamera{between(0x1p-20F, 0x1p15F), between(0x1p-20F, 0x1p20F),
                                between(0x1p-20F, 0x1p20F), between(0x1p-20F, 0x1p20F),
                                between(0x1p-20F, 0x1p20F)};
        SCOPED_TRACE("camera " + std::to_string(i));
        const DepthImage image = randomImage(127, 16, i);
        EXPECT_EQ(cloudDifference(image, camera, i % 5, i % 3 == 0), "");
        EXPECT_EQ(colouredDifference(image, camera, i % 5), "");
    }
}

TEST_P(PointCloudKernelTest, APrincipalPointOnAPixelYieldsZerosWithThePlainSigns)
{
    const DepthImage image = randomImage(64, 32, 3);
    for (const float center : {0.0F, 1.0F, 17.0F, 31.0F}) {
        const CloudCamera camera = {1000.0F, 425.0F, 425.0F, center, center};
        EXPECT_EQ(cloudDifference(image, camera, 1, false), "");
        EXPECT_EQ(colouredDifference(image, camera, 1), "");
    }
}

TEST_P(PointCloudKernelTest, CamerasFarFromAnythingOrdinaryAreNotTaken)
{
    const DepthImage image = randomImage(64, 2, 4);
    for (const float odd :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
          std::numeric_limits<float>::denorm_min(), std::numeric_limits<float>::max(), -1.0F,
          0x1p-26F, 0x1p21F}) {
        for (float CloudCamera::*number : {&CloudCamera::s, &CloudCamera::fx, &CloudCamera::fy,
                                           &CloudCamera::cx, &CloudCamera::cy}) {
            CloudCamera camera = kCamera;
            camera.*number = odd;
            EXPECT_EQ(cloudDifference(image, camera, 1, false), "not taken") << odd;
            EXPECT_EQ(colouredDifference(image, camera, 1), "not taken") << odd;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kernels, PointCloudKernelTest, testing::ValuesIn(availableKernels()),
                         [](const auto &named) { return named.param.name; });

TEST(PointCloudKernels, ThereIsOneForEveryVectorInstructionSetOfThisProcessor)
{
    for (const InstructionSet set : kInstructionSets) {
        const bool isVector = set != InstructionSet::kScalar;
        const bool isSupported =
            set == InstructionSet::kNeon ? hasNeonFusedMultiplyAdd() : supports(set);
        EXPECT_EQ(cloudKernelOf(set) != nullptr, isVector && isSupported) << nameOf(set);
    }
}

// The last cache, and so the threshold, need not hold a whole number of pixels.
unsigned int leastThatIsStreamed(std::size_t columnBytes)
{
    return static_cast<unsigned int>((streamingThreshold() + columnBytes - 1) / columnBytes);
}

TEST(PointCloudKernels, LargeOutputsAreStreamed)
{
    const auto streams = [](unsigned int width) {
        return cloudJob(nullptr, width, 1, kCamera, nullptr, 1, false).streaming;
    };
    const unsigned int width = leastThatIsStreamed(12);
    EXPECT_FALSE(streams(width - 1));
    EXPECT_TRUE(streams(width));
}

TEST(PointCloudKernels, LargeOutputsWithColoursAreStreamed)
{
    for (const unsigned int rows : {1U, 2U, 3U}) {
        const auto streams = [rows](unsigned int width) {
            return cloudJobWithColours(nullptr, width, 5, 5 + rows, kCamera, nullptr, nullptr, 1)
                .streaming;
        };
        const unsigned int width = leastThatIsStreamed(rows * std::size_t{28});
        EXPECT_FALSE(streams(width - 1)) << rows;
        EXPECT_TRUE(streams(width)) << rows;
    }
}

}  // namespace

}  // namespace nubrix
