#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>

#include "tests/TemporaryFolder.h"
#include "tests/record/RecordBytes.h"
#include "tests/tools/ToolProcess.h"

namespace nubrix::tool {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

std::vector<std::string> imagesOf(const std::string &file)
{
    RecordReader reader;
    EXPECT_EQ(reader.open(file.c_str()), 0) << reader.errorText();
    std::vector<std::string> images;
    for (SentRecord &record : readBack(reader))
        images.push_back(std::move(record.pixels));
    return images;
}

/// Removes the images before the first one of the other recording: the streams start before the
/// recorder, so that a recording may lack the first images.
void alignTo(const std::string &image, std::vector<std::string> &images)
{
    const auto same = std::find(images.begin(), images.end(), image);
    if (same != images.end())
        images.erase(images.begin(), same);
}

// Frames that are generated quickly, even under an emulator.
constexpr const char *kSmall = "320x240@5";

class RecordCommandTest : public testing::Test {
protected:
    Words small(Words words) const
    {
        const Words first = {"record", "--out", m_file, "--mode", kSmall};
        words.insert(words.begin(), first.begin(), first.end());
        return words;
    }
    ToolResult record(const Words &words, const std::string &scenario = "")
    {
        return runVirtual(small(words), scenario);
    }
    nlohmann::json inspected(const std::string &file)
    {
        const ToolResult result = runTool({"inspect", file, "--json"});
        EXPECT_EQ(result.status, 0) << result.err;
        return result.json();
    }

    static Words recordingOf(const std::string &file)
    {
        return {"record", "--out", file, "--mode", kSmall, "--streams", "depth"};
    }
    /// Expects the records of the file to be those of an undisturbed recording.
    void expectAsUndisturbed(const std::string &file)
    {
        std::vector<std::string> images = imagesOf(file);
        ASSERT_GE(images.size(), 2U);
        const std::string undisturbed = m_folder.file("undisturbed.bin");
        Words words = recordingOf(undisturbed);
        words.insert(words.end(), {"--frames", std::to_string(images.size() + 3)});
        ASSERT_EQ(recordWithoutLoss(words).status, 0);
        std::vector<std::string> expected = imagesOf(undisturbed);
        alignTo(images.front(), expected);
        alignTo(expected.front(), images);
        ASSERT_GE(expected.size(), images.size());
        for (std::size_t i = 0; i < images.size(); ++i)
            EXPECT_TRUE(images[i] == expected[i]) << i;
    }

    TemporaryFolder m_folder;
    const std::string m_file = m_folder.file("new/records.bin");
};

TEST_F(RecordCommandTest, EveryStreamIsInTheFileWithAtLeastTheRequestedFrames)
{
    const ToolResult result = recordWithoutLoss(small({"--frames", "4", "--json"}));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    const nlohmann::json report = result.json();
    EXPECT_EQ(report["file"], m_file);
    EXPECT_EQ(report["truncated_bytes"], 0);
    EXPECT_TRUE(report["problem"].is_null());
    ASSERT_EQ(report["streams"].size(), 3U);
    std::uint64_t sum = 0;
    for (const char *name : {"color", "depth", "ir"}) {
        const nlohmann::json &stream = report["streams"][name];
        EXPECT_GE(stream["records"], 4) << name;
        EXPECT_EQ(stream["missing"], 0) << name;
        EXPECT_NEAR(stream["fps"], 5, 0.1) << name;
        sum += stream["records"].get<std::uint64_t>();
    }
    EXPECT_EQ(report["streams"]["depth"]["gaps"], 0);
    EXPECT_TRUE(report["streams"]["ir"]["gaps"].is_null()) << "it has no index";
    EXPECT_EQ(report["records"], sum);
    const nlohmann::json again = inspected(m_file);
    EXPECT_EQ(again["records"], sum);
    EXPECT_EQ(again["streams"], report["streams"]);
}

TEST_F(RecordCommandTest, ItEndsAfterTheRequestedTimeAndReportsTheFile)
{
    const ToolResult result = recordWithoutLoss(small({"--streams", "depth", "--seconds", "1"}));
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, AllOf(StartsWith("stream "), HasSubstr("\ndepth "),
                                  HasSubstr(" records, "), HasSubstr("recorded " + m_file)));
}

TEST_F(RecordCommandTest, CtrlCEndsItCleanly)
{
    ToolProcess process(
        virtualCommand({"record", "--out", m_file, "--mode", kSmall, "--streams", "depth"}),
        {true, {}, {}});
    ASSERT_TRUE(process.waitForOutput("missing)", 5));
    process.signal(SIGINT);
    const ToolResult result = process.finish();
    EXPECT_EQ(result.status, 0) << result.out;
    EXPECT_GE(inspected(m_file)["records"], 2);
}

TEST_F(RecordCommandTest, ACameraThatWaitsForItsFramesIsRecorded)
{
    const std::string scenario = m_folder.file("free.json", R"({"pacing": "free"})");
    const ToolResult result =
        record({"--streams", "color,depth", "--frames", "100", "--json"}, scenario);
    const nlohmann::json report = result.json();
    EXPECT_FALSE(report.contains("error")) << result.err;
    EXPECT_EQ(result.status, 0) << result.err;
    // Frames that arrive as they are read have uneven intervals; their index shows that none is
    // missing.
    for (const char *name : {"color", "depth"}) {
        EXPECT_EQ(report["streams"][name]["missing"], 0) << name;
        EXPECT_GE(report["streams"][name]["records"], 100) << name;
        EXPECT_EQ(report["streams"][name]["gaps"], 0) << name;
    }
}

TEST_F(RecordCommandTest, AnUnpluggedCameraEndsItAndTheFileIsComplete)
{
    const std::string scenario = m_folder.file(
        "unplug.json", R"({"faults": [{"type": "unplug", "at_frame": 4, "stream": "depth"}]})");
    const ToolResult result = record({"--streams", "depth"}, scenario);
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("status -9"));
    const nlohmann::json report = inspected(m_file);
    EXPECT_TRUE(report["problem"].is_null());
    // The stream starts before the recorder: the first frame may be missing.
    EXPECT_THAT(report["records"].get<int>(), testing::AnyOf(3, 4));
}

TEST_F(RecordCommandTest, MissingFramesAreAFailure)
{
    const std::string scenario =
        m_folder.file("drop.json", R"({"faults": [{"type": "drop", "at_frame": 3, "count": 2}]})");
    const auto missing = [](const ToolResult &result) {
        return result.json()["streams"]["depth"]["missing"].get<int>();
    };
    const ToolResult result = untilUndisturbed(
        [&] {
            return record({"--streams", "depth", "--frames", "6", "--json"}, scenario);
        },
        [&](const ToolResult &one) { return missing(one) == 2; });
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "nubrix: frames of depth are missing\n");
    EXPECT_EQ(missing(result), 2);
}

TEST_F(RecordCommandTest, ADeviceAsOutputIsRejectedImmediately)
{
    const ToolResult result =
        runVirtual({"record", "--out", "/dev/full", "--mode", kSmall, "--streams", "depth"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "nubrix: /dev/full: not a regular file: Invalid argument\n");
}

TEST_F(RecordCommandTest, TheLineShowsTimeSizeAndTheFramesOfEveryStream)
{
    const std::string scenario = m_folder.file(
        "drop.json",
        R"({"faults": [{"type": "drop", "at_frame": 3, "count": 2, "stream": "depth"}]})");
    const Words command =
        virtualCommand({"record", "--out", m_file, "--mode", kSmall, "--frames", "6"}, scenario);
    const std::string depth = "depth [0-9]+ \\(2 missing\\)";
    const ToolResult result = untilUndisturbed(
        [&] {
            return ToolProcess(command, {true, {}, {}}).finish();
        },
        [&](const ToolResult &one) {
            return testing::Matches(testing::ContainsRegex(depth))(one.out);
        });
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, testing::ContainsRegex("\r[0-9]+\\.[0-9] s  [0-9]+\\.[0-9] [kM]B  "
                                                   "color [0-9]+ \\([0-9]+ missing\\)  "
                                                   "depth [0-9]+ \\([0-9]+ missing\\)  "
                                                   "ir [0-9]+ \\([0-9]+ missing\\)\033\\[K"));
    EXPECT_THAT(result.out, testing::ContainsRegex(depth));
}

TEST_F(RecordCommandTest, AFileOfLimitedSizeKeepsItsCompleteRecords)
{
    Words command = {"sh", "-c", R"(ulimit -f 1000; exec "$@")", "sh"};
    const Words recording =
        virtualCommand({"record", "--out", m_file, "--mode", kSmall, "--streams", "depth"});
    command.insert(command.end(), recording.begin(), recording.end());
    const ToolResult result = ToolProcess(command).finish();
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr(m_file + " has not grown for 5 s"));
    const nlohmann::json report = inspected(m_file);
    EXPECT_EQ(report["records"], 3);
    EXPECT_EQ(report["truncated_bytes"], 1000 * 512 - 3 * (26 + 320 * 240 * 2));
}

TEST_F(RecordCommandTest, AKilledRecordingKeepsItsCompleteRecords)
{
    ToolProcess process(virtualCommand(recordingOf(m_file)), {true, {}, {}});
    ASSERT_TRUE(process.waitForOutput("missing)", 10));
    process.signal(SIGKILL);
    const ToolResult result = process.finish();
    EXPECT_EQ(result.status, 128 + SIGKILL);
    const unsigned int frames = inspected(m_file)["records"];
    const std::string shown = result.out.substr(result.out.rfind("depth "));
    EXPECT_GE(frames, std::strtoul(shown.c_str() + 6, nullptr, 10)) << "shown: " << shown;
    expectAsUndisturbed(m_file);
}

TEST_F(RecordCommandTest, AFullDiskEndsItAndKeepsTheCompleteRecords)
{
    const std::string disk = m_folder.file("disk");
    const std::string kept = m_folder.file("kept.bin");
    std::filesystem::create_directory(disk);
    const std::string probe = "mount -t tmpfs none '" + disk + "'";
    const ToolResult probed = ToolProcess({"unshare", "-rm", "sh", "-c", probe}).finish();
    if (probed.status != 0)
        GTEST_SKIP() << "no small disk can be mounted here: " << probed.err;

    const std::string script = "mount -t tmpfs -o size=1m none '" + disk +
                               R"(' || exit 99; "$@"; status=$?; cp "$0" ')" + kept +
                               "'; exit $status";
    const std::string file = disk + "/records.bin";
    Words command = {"unshare", "-rm", "sh", "-c", script, file};
    const Words recording = virtualCommand(recordingOf(file));
    command.insert(command.end(), recording.begin(), recording.end());
    const ToolResult result = ToolProcess(command).finish();
    EXPECT_EQ(result.status, 1) << result.out;
    EXPECT_THAT(result.err, HasSubstr("nubrix: no space left for " + file + "\n"));
    EXPECT_THAT(result.out, HasSubstr("is cut after")) << "it has read its own file";

    const nlohmann::json report = inspected(kept);
    EXPECT_EQ(report["bytes"], 1 << 20) << "every byte of the disk is used";
    EXPECT_EQ(report["records"], (1 << 20) / (26 + 320 * 240 * 2));
    EXPECT_EQ(report["skipped_bytes"], 0);
    expectAsUndisturbed(kept);
}

TEST_F(RecordCommandTest, AFolderThatIsRemovedEndsIt)
{
    ToolProcess process(virtualCommand(recordingOf(m_file)), {true, {}, {}});
    ASSERT_TRUE(process.waitForOutput("missing)", 5));
    std::filesystem::remove_all(m_folder.path() / "new");
    const ToolResult result = process.finish();
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, HasSubstr("nubrix: " + m_file + " is gone: No such file or directory"));
}

TEST_F(RecordCommandTest, AFileThatCannotBeCreatedIsAFailureWithTheFile)
{
    const ToolResult result = runVirtual({"record", "--out", "/proc/none/records.bin"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("createRecorder (/proc/none/records.bin)"));
}

TEST_F(RecordCommandTest, WithoutAFileItIsWrongUse)
{
    EXPECT_EQ(runVirtual({"record"}).status, 2);
}

// --- damaged files

class DamagedRecordTest : public RecordCommandTest {
protected:
    DamagedRecordTest()
    {
        EXPECT_EQ(recordWithoutLoss(small({"--streams", "depth", "--frames", "3"})).status, 0);
        m_complete = readFile(m_file);
    }
    std::string m_complete;
};

TEST_F(DamagedRecordTest, InspectReportsWhereAFileIsTruncatedAndRepairKeepsTheRest)
{
    const std::size_t record = 26 + 320 * 240 * 2;
    const std::string cut = m_folder.file("cut.bin", m_complete.substr(0, 2 * record + 1000));
    const nlohmann::json report = inspected(cut);
    EXPECT_EQ(report["records"], 2);
    EXPECT_EQ(report["truncated_bytes"], 1000);
    EXPECT_THAT(report["problem"].get<std::string>(),
                StartsWith("byte " + std::to_string(2 * record) + ": "));
    const std::string fixed = m_folder.file("fixed.bin");
    const ToolResult repaired = runTool({"repair", cut, "--out", fixed});
    EXPECT_EQ(repaired.status, 0) << repaired.err;
    EXPECT_EQ(repaired.out, "kept 2 records, left out 1000 bytes\n");
    EXPECT_EQ(readFile(fixed), m_complete.substr(0, 2 * record));
    EXPECT_EQ(readFile(cut).size(), 2 * record + 1000) << "the source is not touched";
}

TEST_F(DamagedRecordTest, AFileWithoutACompleteRecordIsNoRecordFile)
{
    const std::string noise = m_complete.substr(26, 5000);  // pixels, no tag
    const std::string png = std::string("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16) + noise;
    for (const std::string &content : {noise, png, m_complete.substr(0, 1000)}) {
        const std::string file = m_folder.file("other", content);
        for (const Words &options : {Words(), Words({"--json"})}) {
            Words words = {"inspect", file};
            words.insert(words.end(), options.begin(), options.end());
            const ToolResult result = runTool(words);
            EXPECT_EQ(result.status, 1);
            EXPECT_EQ(result.out, "") << "it advises no repair";
            EXPECT_EQ(result.err,
                      "nubrix: " + file + " is no record file: it has no complete record\n");
        }
    }
    const std::string empty = m_folder.file("empty", "");
    EXPECT_EQ(inspected(empty)["records"], 0) << "it is a recording of nothing";
}

TEST_F(DamagedRecordTest, RepairDoesNotOverwriteItsSource)
{
    const ToolResult result = runTool({"repair", m_file, "--out", m_file});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("--out names the source"));
    EXPECT_EQ(readFile(m_file), m_complete);
}

TEST_F(DamagedRecordTest, AFileThatCannotBeReadOrWrittenIsAFailure)
{
    const ToolResult missing = runTool({"inspect", m_folder.file("missing")});
    EXPECT_EQ(missing.status, 1);
    EXPECT_THAT(missing.err, HasSubstr("No such file"));
    const ToolResult full = runTool({"repair", m_file, "--out", "/dev/full"});
    EXPECT_EQ(full.status, 1);
    EXPECT_THAT(full.err, HasSubstr("cannot write /dev/full: No space left on device"));
}

// --- recordings that are played

class PlayedRecordTest : public DamagedRecordTest {
protected:
    /// A scenario that plays a record file with this content.
    std::string playing(const std::string &content) const
    {
        return m_folder.file("play.json", R"({"source": "recording", "recording": {"file": ")" +
                                              m_folder.file("played.bin", content) + "\"}}");
    }
};

TEST_F(PlayedRecordTest, ItsFramesHaveNoAge)
{
    const std::string scenario = playing(m_complete);
    const ToolResult json = runVirtual({"stream", "--frames", "2", "--json"}, scenario);
    EXPECT_EQ(json.status, 0) << json.err;
    EXPECT_EQ(json.json()["streams"][0]["frames"], 2);
    EXPECT_TRUE(json.json()["streams"][0]["age_us"].is_null()) << json.out;
    const ToolResult table = runVirtual({"stream", "--frames", "2"}, scenario);
    EXPECT_THAT(table.out, testing::ContainsRegex("depth  .* 0 +- +-\n"));
}

TEST_F(PlayedRecordTest, ANoticeOfTheDriverAppearsOnce)
{
    const std::string scenario = playing(m_complete.substr(0, m_complete.size() - 9));
    const std::vector<Words> environments = {
        {}, {"NUBRIX_LOG_CONSOLE=1"}, {"NUBRIX_LOG_CONSOLE=1", "NUBRIX_DRIVER_STDERR=1"}};
    for (const Words &words : {Words({"list"}), Words({"--verbose", "list"}), Words({"modes"})}) {
        for (const Words &environment : environments) {
            ToolProcess::Options options;
            options.environment = environment;
            const std::string err =
                ToolProcess(virtualCommand(words, scenario), options).finish().err;
            const std::size_t first = err.find("is not complete");
            EXPECT_NE(first, std::string::npos) << err;
            EXPECT_EQ(err.find("is not complete", first + 1), std::string::npos) << err;
        }
    }
}

}  // namespace
}  // namespace nubrix::tool
