#include "virtual/CameraClock.h"

#include <gtest/gtest.h>

namespace nubrix::virtual_camera {
namespace {

using std::chrono::microseconds;

TEST(CameraClockTest, AFrameIsTheNewestFromItsCaptureToTheNext)
{
    const CameraClock::Time epoch(std::chrono::seconds(1000));
    for (const unsigned int rate : {1U, 5U, 7U, 24U, 30U, 60U, 119U, 120U}) {
        for (const std::uint32_t index : {0U, 1U, 2U, 59U, 1000U, 1000003U}) {
            const auto capture = CameraClock::captureTime(epoch, index, rate);
            EXPECT_EQ(CameraClock::indexAt(epoch, capture, rate), index) << rate;
            if (index > 0) {
                EXPECT_EQ(CameraClock::indexAt(epoch, capture - microseconds(1), rate), index - 1)
                    << rate;
            }
        }
    }
}

TEST(CameraClockTest, RatesAreExactOverTime)
{
    const CameraClock::Time epoch;
    EXPECT_EQ(CameraClock::captureTime(epoch, 30 * 3600, 30), epoch + std::chrono::hours(1));
    EXPECT_EQ(CameraClock::captureTime(epoch, 1, 30), epoch + microseconds(33333));
    EXPECT_EQ(CameraClock::captureTime(epoch, 2, 30), epoch + microseconds(66666));
    EXPECT_EQ(CameraClock::captureTime(epoch, 3, 30), epoch + microseconds(100000));
}

TEST(CameraClockTest, BeforeTheFirstFrameTheIndexIsZero)
{
    const CameraClock::Time epoch(std::chrono::seconds(1000));
    EXPECT_EQ(CameraClock::indexAt(epoch, epoch - microseconds(500000), 30), 0U);
}

TEST(CameraClockTest, RestartsWhenTheFirstStreamStarts)
{
    CameraClock clock;
    const auto first = clock.begin().epoch;
    EXPECT_EQ(clock.begin().epoch, first);
    clock.end();
    EXPECT_EQ(clock.begin().epoch, first);
    clock.end();
    clock.end();
    const auto before = std::chrono::steady_clock::now();
    EXPECT_GE(clock.begin().epoch, before);
}

}  // namespace
}  // namespace nubrix::virtual_camera
