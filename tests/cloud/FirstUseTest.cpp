// What happens only once in a process; so each test here is the only one of its kind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <latch>
#include <string>
#include <thread>
#include <vector>

#include "base/LogCall.h"
#include "cpu/CpuFeatures.h"
#include "image/ColorBoard.h"
#include "tests/cloud/CloudImages.h"

namespace nubrix {

namespace {

// Before anything in this process asks for it.
const int g_scalarIsForced = setenv("NUBRIX_CPU", "scalar", 1);

std::atomic<int> g_lines{0};
std::atomic<int> g_right{0};

int onLine(const char *, int level, const char *text)
{
    ++g_lines;
    const typedefNubrixRGBA &first = colorBoard()[0];
    const bool empty = first.r == 0 && first.g == 0 && first.b == 0 && first.a == 0;
    if (level == kLogMilestone && std::string(text) == "creat color bar succed!" && empty)
        ++g_right;
    return 0;
}

TEST(FirstUse, ColouredCloudsOfManyThreadsLogOnceAndThenFillTheBoard)
{
    constexpr int kThreads = 8;
    setLogSink({&onLine, nullptr}, "test");
    std::atomic<int> filled{0};
    std::latch together(kThreads);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            const unsigned short depth = 4 * 2048;
            CloudBuffers cloud(1);
            together.arrive_and_wait();
            convertToPointCloudWithColours(&depth, 1, 1, 1000, cloud.points(), cloud.colours(), 3);
            if (cloud.colours()->g == 1.0F && colorBoard()[4095].r == 1.0F)
                ++filled;
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    setLogSink({}, nullptr);
    EXPECT_EQ(g_lines, 1);
    EXPECT_EQ(g_right, 1) << "the level, the text, and that the board was still empty";
    EXPECT_EQ(filled, kThreads);
}

TEST(FirstUse, TheEnvironmentForcesTheInstructionSet)
{
    ASSERT_EQ(g_scalarIsForced, 0);
    EXPECT_EQ(instructionSet(), InstructionSet::kScalar);
    setenv("NUBRIX_CPU", "avx2", 1);
    EXPECT_EQ(instructionSet(), InstructionSet::kScalar) << "it is asked once";
    setenv("NUBRIX_CPU", "scalar", 1);
}

}  // namespace

}  // namespace nubrix
