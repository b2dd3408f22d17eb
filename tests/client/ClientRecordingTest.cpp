#include <sys/resource.h>

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/client/ClientFixture.h"

namespace nubrix {
namespace {

using client::Recorder;
using client::Recording;
using testing::HasSubstr;

class ClientRecordingTest : public ClientTest {
protected:
    /// Six frames of depth that were read meanwhile, what came before them, and colour.
    std::string record()
    {
        Camera camera = Session().open();
        const std::string path = m_folder.file("room.bin");
        Recorder recorder = camera.record(path, {StreamType::kDepth, StreamType::kColor});
        Stream depth = camera.start(StreamType::kDepth);
        Stream color = camera.start(StreamType::kColor);
        for (int i = 0; i < 6; ++i) {
            m_depths.push_back(depth.next(kLong).clone());
            color.next(kLong);
        }
        recorder.finish();
        return path;
    }

    /// The place of the first of those that were read.
    unsigned int first(const Recording &recording) const
    {
        return recording.frames(StreamType::kDepth).seek(m_depths[0].time()).place();
    }
    static std::vector<unsigned char> bytes(const Frame &frame)
    {
        return {frame.data(), frame.data() + frame.size()};
    }

    /// A file with one depth frame of 4 bytes, whatever its tag promises.
    Frame frameOf(std::uint32_t width, std::uint32_t height, std::uint64_t microseconds)
    {
        std::string tag;
        const auto put = [&tag](std::uint64_t value, int bytes) {
            for (int i = 0; i < bytes; ++i)
                tag += static_cast<char>(value >> (8 * i) & 0xFF);
        };
        put(NUBRIX_STREAM_DEPTH, 2);
        put(0, 4);  // index
        put(microseconds, 8);
        put(4, 4);  // bytes of pixels
        put(width, 4);
        put(height, 4);
        return Recording(m_folder.file("crafted.bin", tag + "1234")).frames()[0];
    }

    std::vector<Frame> m_depths;
};

TEST_F(ClientRecordingTest, AFrameWithoutItsPixelsHasNoImage)
{
    const Frame whole = frameOf(2, 1, 0);
    EXPECT_EQ(whole.image<unsigned short>().width, 2);
    // The last one has 4 bytes in 32 bits.
    const std::uint32_t sizes[][2] = {{3, 1}, {0, 0}, {0, 7}, {7, 0}, {33025, 65026}};
    for (const auto &size : sizes) {
        const Frame frame = frameOf(size[0], size[1], 0);
        EXPECT_THROW(frame.image<unsigned short>(), Error) << size[0] << " x " << size[1];
    }
}

TEST_F(ClientRecordingTest, ATimeThatTheClockDoesNotHaveIsItsLast)
{
    using std::chrono::microseconds;
    EXPECT_EQ(frameOf(2, 1, 5).time().time_since_epoch(), microseconds(5));
    const auto last = frameOf(2, 1, ~std::uint64_t{0}).time();
    EXPECT_GT(last, Recording::Time::max() - microseconds(1));
    EXPECT_EQ(frameOf(2, 1, std::uint64_t{1} << 62).time(), last);
}

TEST_F(ClientRecordingTest, ItGivesTheFramesThatWereRecorded)
{
    const Recording recording(record());
    EXPECT_FALSE(recording.damage());
    EXPECT_EQ(recording.damage().problem, "");
    const Recording::Frames depths = recording.frames(StreamType::kDepth);
    unsigned int n = 0;
    for (auto place = depths.seek(m_depths[0].time()); n < m_depths.size(); ++place, ++n) {
        ASSERT_TRUE(place != depths.end());
        const Frame frame = *place;
        EXPECT_EQ(frame.type(), StreamType::kDepth);
        EXPECT_EQ(frame.format(), NUBRIX_PIXEL_DEPTH_12_4);
        EXPECT_EQ(frame.time(), m_depths[n].time());
        EXPECT_EQ(frame.millimetres(320, 240), m_depths[n].millimetres(320, 240));
        EXPECT_TRUE(bytes(frame) == bytes(m_depths[n]));
    }
}

TEST_F(ClientRecordingTest, AllFramesAreThoseOfTheTypes)
{
    const Recording recording(record());
    unsigned int depths = 0;
    unsigned int colors = 0;
    for (const Frame &frame : recording)
        ++(frame.type() == StreamType::kDepth ? depths : colors);
    EXPECT_EQ(depths, recording.frames(StreamType::kDepth).size());
    EXPECT_EQ(colors, recording.frames(StreamType::kColor).size());
    EXPECT_EQ(depths + colors, recording.size());
    EXPECT_TRUE(recording.frames(StreamType::kInfrared).empty());
    const Frame color = recording.frames(StreamType::kColor)[0];
    EXPECT_EQ(color.format(), NUBRIX_PIXEL_RGB888);
    EXPECT_EQ(color.image<RGB888Pixel>().width, 640);
}

TEST_F(ClientRecordingTest, ItIsSoughtByNumberAndByTime)
{
    const Recording recording(record());
    const Recording::Frames depths = recording.frames(StreamType::kDepth);
    const unsigned int start = first(recording);
    EXPECT_EQ((*depths.seek(start + 3)).time(), m_depths[3].time());
    EXPECT_EQ(depths.timeOf(start + 3), m_depths[3].time());
    EXPECT_TRUE(depths.seek(100000) == depths.end());
    const auto quarter = (m_depths[4].time() - m_depths[3].time()) / 4;
    EXPECT_EQ(depths.seek(m_depths[3].time() + quarter).place(), start + 3);
    EXPECT_EQ(depths.seek(m_depths[4].time() - quarter).place(), start + 4);
    EXPECT_EQ(depths.seek(Recording::Time()).place(), 0U);
    EXPECT_EQ(depths.seek(m_depths[5].time() + std::chrono::hours(1)).place(), depths.size() - 1);
    const Recording::Frames none = recording.frames(StreamType::kInfrared);
    EXPECT_TRUE(none.seek(m_depths[0].time()) == none.end());
    EXPECT_THROW(depths[depths.size()], Error);
}

TEST_F(ClientRecordingTest, FramesOutliveIt)
{
    Frame frame;
    {
        const Recording recording(record());
        frame = recording.frames(StreamType::kDepth)[first(recording) + 2];
    }
    EXPECT_FALSE(isInUse()) << "files need no camera";
    EXPECT_EQ(frame.time(), m_depths[2].time());
}

TEST_F(ClientRecordingTest, OneThatWasCutReportsItAndGivesTheRest)
{
    const std::string path = record();
    const unsigned int before = Recording(path).size();
    std::filesystem::resize_file(path, std::filesystem::file_size(path) - 100);
    const Recording recording(path);
    const client::Damage damage = recording.damage();
    EXPECT_TRUE(damage);
    EXPECT_EQ(damage.condition, NUBRIX_RECORD_CUT);
    EXPECT_THAT(damage.problem, HasSubstr("byte "));
    EXPECT_GT(damage.lostBytes, 0U);
    ASSERT_EQ(recording.size(), before - 1);
    EXPECT_GT(recording.frames(StreamType::kDepth)[0].millimetres(1, 1), 0);
}

TEST_F(ClientRecordingTest, OneThatIsBeingWrittenGrows)
{
    Camera camera = Session().open();
    const std::string path = m_folder.file("growing.bin");
    Recorder recorder = camera.record(path, {StreamType::kDepth});
    Recording recording(path);
    const unsigned int before = recording.size();
    Stream depth = camera.start(StreamType::kDepth);
    for (int i = 0; i < 20; ++i)
        depth.next(kLong);
    recorder.finish();
    recording.update();
    EXPECT_GT(recording.size(), before);
}

TEST_F(ClientRecordingTest, AFileThatIsNotThereIsAnError)
{
    try {
        const Recording recording(m_folder.file("none.bin"));
        FAIL() << "it was opened";
    } catch (const Error &error) {
        EXPECT_EQ(error.status(), -1);
        EXPECT_STREQ(error.operation(), "open");
        EXPECT_THAT(error.what(), HasSubstr("none.bin"));
    }
}

TEST_F(ClientRecordingTest, ARecordingThatCannotBeginLeavesTheFileAlone)
{
    const std::string path = record();
    const auto before = std::filesystem::file_size(path);
    Camera camera = Session().open();
    EXPECT_THROW(camera.record(path, {StreamType::kDepth, static_cast<StreamType>(5)}), Error);
    EXPECT_EQ(std::filesystem::file_size(path), before);
    EXPECT_TRUE(camera.start(StreamType::kDepth).next(kLong));
}

TEST_F(ClientRecordingTest, AFileThatCannotBeCheckedIsReportedWhenTheRecordingEnds)
{
    Camera camera = Session().open();
    const std::string path = m_folder.file("moved.bin");
    Recorder recorder = camera.record(path, {StreamType::kDepth});
    std::filesystem::rename(path, path + ".away");
    EXPECT_THROW(recorder.finish(), Error);
}

TEST_F(ClientRecordingTest, AFullDiskIsReportedWhenTheRecordingEnds)
{
    Camera camera = Session().open();
    const std::string path = m_folder.file("full.bin");
    Recorder recorder = camera.record(path, {StreamType::kDepth});
    Stream depth = camera.start(StreamType::kDepth);
    rlimit before = {};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small = {1000000, before.rlim_max};  // bytes: one frame and a part of another
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    for (int i = 0; i < 5; ++i)
        depth.next(kLong);
    std::string text;
    try {
        recorder.finish();
    } catch (const Error &error) {
        text = error.what();
    }
    ::setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_THAT(text, HasSubstr("the file is not complete"));
    EXPECT_NO_THROW(recorder.finish()) << "once";
}

}  // namespace
}  // namespace nubrix
