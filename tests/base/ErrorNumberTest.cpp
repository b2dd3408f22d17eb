#include "base/ErrorNumber.h"

#include <gmock/gmock.h>

#include <thread>

#include "nubrix/context.h"

namespace nubrix {
namespace {

const unsigned int g_numberAtStart = g_nubrixErrno;

TEST(ErrorNumberTest, StartsAtZero)
{
    EXPECT_EQ(g_numberAtStart, 0U);
}

TEST(ErrorNumberTest, EveryAccessLeadsToTheOneNumber)
{
    setErrorNumber(0x80300107);
    EXPECT_EQ(g_nubrixErrno, 0x80300107U);
    EXPECT_EQ(ErrnoLocal(), &g_nubrixErrno);
    EXPECT_EQ(NubrixErrorNumber::getErrnoLocation(), &g_nubrixErrno);
}

TEST(ErrorNumberTest, AllThreadsShareIt)
{
    setErrorNumber(0);
    std::thread([] { setErrorNumber(0x80300412); }).join();
    EXPECT_EQ(*ErrnoLocal(), 0x80300412U);
}

TEST(ErrorNumberTest, ThereAreNoTexts)
{
    EXPECT_EQ(errorGetErrorCodeString(0), nullptr);
    EXPECT_EQ(errorGetErrorCodeString(static_cast<int>(0x80300101)), nullptr);
}

}  // namespace
}  // namespace nubrix
