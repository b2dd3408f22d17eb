// Frames that are matched by time, and frames that are recorded and played.
#include <cstdio>
#include <cstdlib>

#include "tests/examples/ExampleFixture.h"

namespace nubrix {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

class MatchedStreamsTest : public ExampleTest {};

struct FrameSet {
    long long microseconds = 0;
    unsigned int frames[4] = {};  // colour and depth of LEFT, then of RIGHT
};

TEST_F(MatchedStreamsTest, ASetIsOfOneMoment)
{
    if (std::getenv("NUBRIX_EMULATED"))
        GTEST_SKIP() << "an emulated processor misses frames of four streams in real time";
    const ToolResult result = run("matched_streams", {"12"}, scenario(R"({"cameras": [
        {"serial": "LEFT", "faults": [{"type": "drop", "at_frame": 4, "count": 3,
                                       "stream": "color"}]}, "RIGHT"]})"));
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out,
                HasSubstr("0: color of usb:virtual-LEFT\n1: depth of usb:virtual-LEFT\n"));
    EXPECT_THAT(result.out,
                HasSubstr("2: color of usb:virtual-RIGHT\n3: depth of usb:virtual-RIGHT\n"));
    const Words lines = linesWith(result.out, "set ");
    ASSERT_THAT(lines, SizeIs(12));
    for (const std::string &line : lines) {
        FrameSet set;
        ASSERT_EQ(std::sscanf(line.c_str(), "set %*d, %lld us apart: 0:%u 1:%u 2:%u 3:%u",
                              &set.microseconds, &set.frames[0], &set.frames[1], &set.frames[2],
                              &set.frames[3]),
                  5)
            << line;
        EXPECT_LE(set.microseconds, 17000) << line;
        // Of one camera frames with the same index are captured at the same time.
        EXPECT_EQ(set.frames[0], set.frames[1]) << line;
        EXPECT_EQ(set.frames[2], set.frames[3]) << line;
        EXPECT_FALSE(set.frames[0] >= 4 && set.frames[0] < 7) << line << ": they were dropped";
    }
}

TEST_F(MatchedStreamsTest, AtFiveFramesPerSecondTheMomentIsLonger)
{
    const ToolResult result = run("matched_streams", {"3"}, recordingScenario(slowRecords()));
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(linesContaining(result.out, ", 50000 us apart:"), SizeIs(3)) << result.out;
}

TEST_F(MatchedStreamsTest, EndsWithTheReasonWhenThereIsNoSet)
{
    const ToolResult result =
        run("matched_streams", {"3"}, recordingScenario(recordsOfDifferentMoments()));
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(linesWith(result.out, "set "), SizeIs(0));
    EXPECT_THAT(result.err, HasSubstr("losses, or no common trigger"));
}

TEST_F(MatchedStreamsTest, WithoutACameraThereIsNothingToMatch)
{
    const ToolResult result = run("matched_streams", {}, scenario(R"({"cameras": 0})"));
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("no camera is attached"));
}

class RecordAndPlayTest : public ExampleTest {
protected:
    const std::string m_file = m_folder.file("room.bin");
};

TEST_F(RecordAndPlayTest, WhatIsPlayedIsWhatWasRecorded)
{
    const ToolResult recorded = run("record_and_play", {m_file, "1"});
    ASSERT_EQ(recorded.status, 0) << recorded.err;
    const Words frames = linesWith(recorded.out, "frame ");
    ASSERT_GE(frames.size(), 3U);
    EXPECT_THAT(recorded.out, HasSubstr(" frames, " + std::to_string(frames.size()) + " of them"));
    EXPECT_THAT(recorded.out, HasSubstr("nubrix-virtual --scenario " + m_file + ".json PROGRAM\n"));
    {
        const client::Camera camera = client::Session().open();
        for (const std::string &line : frames) {
            unsigned int index = 0;
            double distance = 0;
            ASSERT_EQ(std::sscanf(line.c_str(), "frame %u: %lf mm", &index, &distance), 2) << line;
            EXPECT_NEAR(distance, trueDepth(camera, index, kWidth / 2, kHeight / 2),
                        1 / 32.0 + 0.005)
                << line;
        }
    }
    // As fast as the program takes them, so that a busy machine drops none.
    const std::string written = readFile(m_file + ".json");
    ASSERT_EQ(written.front(), '{');
    writeFile(m_file + ".json", R"({"pacing": "free", )" + written.substr(1));
    const ToolResult played = run("distance_at_middle", {"3"}, m_file + ".json");
    ASSERT_EQ(played.status, 0) << played.err;
    const Words again = linesWith(played.out, "frame ");
    ASSERT_THAT(again, SizeIs(3));
    for (std::size_t i = 0; i < again.size(); ++i) {
        const std::string frame = frames[i].substr(0, frames[i].find(':') + 1);
        EXPECT_EQ(again[i].compare(0, frame.size(), frame), 0) << again[i] << ", not " << frame;
    }
}

TEST_F(RecordAndPlayTest, AFileThatCannotBeWrittenIsAFailure)
{
    const std::string file = m_folder.file("file", "is no folder") + "/room.bin";
    const ToolResult result = run("record_and_play", {file, "0"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr(file));
    EXPECT_THAT(result.out, Not(HasSubstr("play it")));
}

}  // namespace
}  // namespace nubrix
