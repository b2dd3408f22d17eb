#include "common/Report.h"

#include <gmock/gmock.h>

#include <stdexcept>

#include "tests/fakes/FailingNew.h"

namespace nubrix {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

/// What is reported on stderr of an exception, without a log.
template <class Exception>
std::string reported(const Exception &exception, const char *operation)
{
    testing::internal::CaptureStderr();
    try {
        throw exception;
    } catch (...) {
        reportFailure(operation);
    }
    return testing::internal::GetCapturedStderr();
}

TEST(ReportFailureTest, ReportsWhatFailedAndWhy)
{
    EXPECT_THAT(reported(std::runtime_error("no descriptors left"), "opening usb:1-2"),
                EndsWith(": opening usb:1-2 failed: no descriptors left\n"));
    EXPECT_THAT(reported(7, "opening usb:1-2"),
                EndsWith(": opening usb:1-2 failed: unknown exception\n"));
}

TEST(ReportFailureTest, TheSubjectIsTheProgramOrPlugIn)
{
    EXPECT_THAT(reported(7, "it"), StartsWith("driver_common_test: "));
}

TEST(ReportFailureTest, TextsAreCleanedAndCut)
{
    EXPECT_THAT(reported(std::runtime_error("a\x1b[2Jb\xc2\x9b\xff"), "it"),
                EndsWith("failed: a?[2Jb??\n"));
    const std::string line = reported(std::runtime_error(std::string(5000, 'x')), "it");
    EXPECT_THAT(line, HasSubstr("it failed: " + std::string(500, 'x') + "\n"));
}

TEST(ReportFailureTest, NeedsNoMemory)
{
    testing::internal::CaptureStderr();
    const int failures = failEachAllocation(
        [] {
            try {
                throw std::bad_alloc();
            } catch (const std::bad_alloc &) {
                reportFailure("opening usb:1-2");
            }
        },
        [] {});
    EXPECT_EQ(failures, 0);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("opening usb:1-2 failed: std::bad_alloc\n"));
}

TEST(ReportTest, WithoutALogALineGoesToStderrInCleanText)
{
    testing::internal::CaptureStderr();
    reportAs("module", "camera 1", "it\x1b[1m failed");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "camera 1: it?[1m failed\n");
}

}  // namespace
}  // namespace nubrix
