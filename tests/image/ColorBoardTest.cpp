#include "image/ColorBoard.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace nubrix {

namespace {

class ColorBoardTest : public testing::Test {
protected:
    ColorBoardTest() { onCreateColorBoard(); }

    static void expectEntry(unsigned int index, int red, int green, int blue)
    {
        const typedefNubrixRGBA &entry = colorBoard()[index];
        EXPECT_EQ(entry.r, static_cast<float>(red / 255.0)) << "red of " << index;
        EXPECT_EQ(entry.g, static_cast<float>(green / 255.0)) << "green of " << index;
        EXPECT_EQ(entry.b, static_cast<float>(blue / 255.0)) << "blue of " << index;
        EXPECT_EQ(entry.a, 1.0F) << "alpha of " << index;
    }
};

TEST_F(ColorBoardTest, RunsFromBlueOverCyanGreenAndYellowToRed)
{
    expectEntry(0, 0, 1, 255);
    expectEntry(3, 0, 1, 255);
    expectEntry(4, 0, 2, 255);
    expectEntry(2048, 3, 255, 0);
    expectEntry(4095, 255, 0, 0);
}

TEST_F(ColorBoardTest, EachColourBeginsAtTheStepAfterTheOneBeforeIsExhausted)
{
    expectEntry(1016, 0, 255, 255);
    expectEntry(1019, 0, 255, 255);
    expectEntry(1020, 0, 255, 254);
    expectEntry(2036, 0, 255, 0);
    expectEntry(2039, 0, 255, 0);
    expectEntry(2040, 1, 255, 0);
    expectEntry(3056, 255, 255, 0);
    expectEntry(3059, 255, 255, 0);
    expectEntry(3060, 255, 254, 0);
    expectEntry(4075, 255, 1, 0);
    expectEntry(4076, 255, 0, 0);
}

TEST_F(ColorBoardTest, StaysWithinZeroAndOneAndChangesByOneStepAtMost)
{
    const auto steps = [](float a, float b) {
        return static_cast<int>((a > b ? a - b : b - a) * 255.0F + 0.5F);
    };
    for (unsigned int i = 0; i < kColorBoardSize; ++i) {
        const typedefNubrixRGBA &entry = colorBoard()[i];
        for (const float part : {entry.r, entry.g, entry.b})
            ASSERT_TRUE(part >= 0.0F && part <= 1.0F) << i;
        ASSERT_EQ(entry.a, 1.0F) << i;
        if (i == 0)
            continue;
        const typedefNubrixRGBA &before = colorBoard()[i - 1];
        ASSERT_EQ(steps(entry.r, before.r) + steps(entry.g, before.g) + steps(entry.b, before.b),
                  i % 4 == 0 && i < 4077 ? 1 : 0)
            << i;
    }
}

TEST_F(ColorBoardTest, FarDepthsAreRedAndInvalidOnesBlack)
{
    expectEntry(kColorOfFar, 255, 0, 0);
    expectEntry(kColorOfNone, 0, 0, 0);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(colorBoard()) % 16, 0U);
}

}  // namespace

}  // namespace nubrix
