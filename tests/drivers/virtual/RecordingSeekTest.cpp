// Seeking in a recording.
#include <gmock/gmock.h>

#include "tests/drivers/virtual/RecordingFixture.h"
#include "tests/fakes/HangGuard.h"

namespace nubrix::virtual_camera {
namespace {

using testing::ElementsAre;

using RecordingSeekTest = RecordingTest;

TEST_F(RecordingSeekTest, SeeksToAFrame)
{
    play(bytesOf(pairs(30)));
    EXPECT_EQ(seekFrame(NUBRIX_STREAM_COLOR, 12), 0);
    EXPECT_EQ(playFrame(NUBRIX_STREAM_COLOR), 12U);
    EXPECT_EQ(playFrame(NUBRIX_STREAM_DEPTH), 12U);
    EXPECT_EQ(playTime(), 120000U);
    EXPECT_EQ(take(NUBRIX_STREAM_COLOR, 1)[0].record.frameIndex, 12U);
    EXPECT_EQ(take(NUBRIX_STREAM_DEPTH, 1)[0].record.frameIndex, 12U);
}

TEST_F(RecordingSeekTest, SeeksToATime)
{
    play(bytesOf(pairs(30)));
    EXPECT_EQ(seekTime(100500), 0);  // after colour frame 10, before its depth frame
    EXPECT_EQ(take(NUBRIX_STREAM_COLOR, 1)[0].record.frameIndex, 11U);
    EXPECT_EQ(take(NUBRIX_STREAM_DEPTH, 1)[0].record.frameIndex, 10U);
}

TEST_F(RecordingSeekTest, SeeksBackWhileItRuns)
{
    for (const char *pacing : {"free", "realtime"}) {
        play(bytesOf(pairs(5)), "", pacing);
        TestStream stream(*m_device, NUBRIX_STREAM_DEPTH);
        ASSERT_EQ(stream.start(), 0);
        ASSERT_TRUE(stream.sink().await(5));
        ASSERT_TRUE(eventually([&] { return playFrame(NUBRIX_STREAM_DEPTH) == 5; }));
        EXPECT_EQ(seekFrame(NUBRIX_STREAM_DEPTH, 3), 0);
        ASSERT_TRUE(stream.sink().await(7));
        EXPECT_EQ(stream.stop(), 0);
        EXPECT_THAT(stream.sink().indices(), ElementsAre(0, 1, 2, 3, 4, 3, 4)) << pacing;
    }
}

TEST_F(RecordingSeekTest, SeeksWithoutWaitingForADistantFrame)
{
    play(bytesOf({record(NUBRIX_STREAM_DEPTH, 0, 0), record(NUBRIX_STREAM_DEPTH, 1, 3600000000U)}),
         "", "realtime");
    TestStream stream(*m_device, NUBRIX_STREAM_DEPTH);
    ASSERT_EQ(stream.start(), 0);
    ASSERT_TRUE(stream.sink().await(1));
    EXPECT_EQ(seekTime(3600000000U), 0);
    EXPECT_TRUE(stream.sink().await(2));
}

TEST_F(RecordingSeekTest, RefusesInvalidPositions)
{
    play(bytesOf(pairs(5)));
    EXPECT_EQ(seekFrame(NUBRIX_STREAM_DEPTH, 5), -4);
    EXPECT_EQ(seekFrame(NUBRIX_STREAM_IR, 0), -8);  // there is no such stream
    const unsigned int frame = 1;
    EXPECT_EQ(m_device->setProperty(kPropertyPlayTime, &frame, sizeof frame), -4);
    EXPECT_EQ(m_device->setProperty(kPropertyPlayTime, nullptr, 8), -4);
    EXPECT_EQ(m_device->setProperty(kPropertyPlayFrame + 2, &frame, 3), -4);
    EXPECT_EQ(playTime(), 0U);
}

TEST_F(RecordingSeekTest, OtherSourcesHaveNoPositions)
{
    useDefault();
    m_device = open();
    EXPECT_EQ(seekTime(0), -8);
    unsigned int frame = 0;
    unsigned int size = sizeof frame;
    EXPECT_EQ(m_device->getProperty(kPropertyPlayFrame + 2, &frame, &size), -8);
}

}  // namespace
}  // namespace nubrix::virtual_camera
