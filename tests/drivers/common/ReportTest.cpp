#include "common/Report.h"

#include <gtest/gtest.h>

namespace nubrix {
namespace {

TEST(ReportTest, WithoutALogALineGoesToStderrInCleanText)
{
    testing::internal::CaptureStderr();
    reportAs("module", "camera 1", "it\x1b[1m failed");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "camera 1: it?[1m failed\n");
}

}  // namespace
}  // namespace nubrix
