#include "net/FrameNumbers.h"

#include <gmock/gmock.h>

#include <vector>

namespace nubrix::net {
namespace {

using testing::ElementsAre;

/// The indices of pictures with these numbers.
std::vector<unsigned int> indices(const std::vector<std::uint64_t> &ids)
{
    FrameNumbers numbers;
    std::vector<unsigned int> found;
    for (const std::uint64_t id : ids) {
        numbers.take(id);
        found.push_back(numbers.index());
    }
    return found;
}

TEST(FrameNumbersTest, AnIndexFollowsTheNumbersAlsoWhereTheyBeginAgain)
{
    EXPECT_THAT(indices({7, 8, 10}), ElementsAre(0, 1, 3));
    EXPECT_THAT(indices({65534, 65535, 1, 3}), ElementsAre(0, 1, 2, 4));
    EXPECT_THAT(indices({100000, 100002}), ElementsAre(0, 2));
}

TEST(FrameNumbersTest, ACameraThatBeginsAnewLeavesNothingOut)
{
    EXPECT_THAT(indices({500, 501, 1, 2}), ElementsAre(0, 1, 2, 3));
    EXPECT_THAT(indices({5, 5}), ElementsAre(0, 1));
}

TEST(FrameNumbersTest, APictureWhoseNumberGotLostIsTheNextOne)
{
    EXPECT_THAT(indices({65408, 0, 65410, 65411}), ElementsAre(0, 1, 2, 3));
    EXPECT_THAT(indices({65535, 0, 2}), ElementsAre(0, 1, 2));
    EXPECT_THAT(indices({0, 0, 4, 5}), ElementsAre(0, 1, 2, 3));
}

TEST(FrameNumbersTest, WhatIsLeftOutIsCounted)
{
    FrameNumbers numbers;
    EXPECT_EQ(numbers.take(3), 0U);
    EXPECT_EQ(numbers.take(7), 3U);
    EXPECT_EQ(numbers.take(0), 0U);
    EXPECT_EQ(numbers.take(10), 1U);
}

}  // namespace
}  // namespace nubrix::net
