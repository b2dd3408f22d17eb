#include "Failure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "nubrix/nubrix.h"

namespace nubrix::tool {
namespace {

using testing::AllOf;
using testing::HasSubstr;

TEST(FailureTest, AMissingCameraPointsToTheList)
{
    EXPECT_EQ(describeFailure("openDevice", -4, NUBRIX_ERR_OPEN_FAILED),
              "openDevice: no such camera (status -4, error 0x80300208); run 'nubrix list'");
    EXPECT_EQ(describeFailure("openDevice", -4, NUBRIX_ERR_DEVICE_NOT_FOUND),
              "openDevice: no camera is attached (status -4, error 0x80300104); run 'nubrix list'");
    EXPECT_EQ(describeFailure("openDevice", -12, 0),
              "openDevice: no driver plug-in serves this camera (status -12, error 0); "
              "run 'nubrix list'");
}

TEST(FailureTest, ABusyCameraHasAnotherTextThanAMissingOne)
{
    EXPECT_EQ(describeFailure("openDevice", -2, 0),
              "openDevice: another application has the camera (status -2, error 0); close it "
              "there, or wait some seconds if it has crashed");
    EXPECT_THAT(describeFailure("openDevice", -9, 0),
                AllOf(HasSubstr("unresponsive"), HasSubstr("cable"), HasSubstr("doctor")));
}

TEST(FailureTest, AStatusOfADriverIsReportedAsSuch)
{
    EXPECT_EQ(describeFailure("initialize", 7, 0),
              "initialize: a driver plug-in could not start (status 7, error 0); "
              "'--verbose' shows the log");
    EXPECT_EQ(describeFailure("openDevice", -77, 0),
              "openDevice: the driver could not open the camera (status -77, error 0); "
              "'--verbose' shows the log");
    EXPECT_THAT(describeFailure("setDeviceProperty", 99, 0),
                HasSubstr("the driver reports a failure of its own (status 99, error 0)"));
}

TEST(FailureTest, DetailsInBracketsDoNotHideTheOperation)
{
    EXPECT_EQ(describeFailure("openStream (depth)", -1, NUBRIX_ERR_STREAM_HANDLE),
              "openStream (depth): the camera could not create this stream "
              "(status -1, error 0x8030059c)");
}

TEST(FailureTest, EveryStatusHasItsOwnText)
{
    std::vector<std::string> texts;
    for (const int status : {-1, -2, -3, -4, -5, -8, -9, -10, -11, -13, 1000}) {
        const std::string text = describeFailure("anything", status, 0x80300123);
        const std::string numbers = "(status " + std::to_string(status) + ", error 0x80300123)";
        EXPECT_THAT(text, HasSubstr(numbers));
        const std::string words = text.substr(0, text.find(numbers));
        EXPECT_GT(words.size(), std::string("anything: ").size() + 5);
        EXPECT_THAT(texts, testing::Not(testing::Contains(words))) << status;
        texts.push_back(words);
    }
}

TEST(FailureTest, ASuccessfulCallIsNoFailure)
{
    EXPECT_NO_THROW(require("anything", [] { return 0; }));
}

TEST(FailureTest, AFailingCallIsReportedWithItsOwnErrorNumberOnly)
{
    *ErrnoLocal() = NUBRIX_ERR_FILE_OPEN;  // left by an earlier failure
    try {
        require("readFrame", [] { return -11; });
        FAIL() << "no failure";
    } catch (const Failure &failure) {
        EXPECT_THAT(failure.what(), HasSubstr("(status -11, error 0)"));
    }
    try {
        require("readFrame", [] {
            *ErrnoLocal() = NUBRIX_ERR_NO_FRAME;
            return -11;
        });
        FAIL() << "no failure";
    } catch (const Failure &failure) {
        EXPECT_THAT(failure.what(), HasSubstr("(status -11, error 0x80300107)"));
    }
}

TEST(FailureTest, AttemptReturnsTheStatusAndItsText)
{
    std::string problem = "untouched";
    EXPECT_EQ(attempt(
                  "closeDevice", [] { return 0; }, &problem),
              0);
    EXPECT_EQ(problem, "untouched");
    EXPECT_EQ(attempt(
                  "closeDevice", [] { return -3; }, &problem),
              -3);
    EXPECT_THAT(problem, AllOf(HasSubstr("closeDevice"), HasSubstr("status -3")));
}

}  // namespace
}  // namespace nubrix::tool
