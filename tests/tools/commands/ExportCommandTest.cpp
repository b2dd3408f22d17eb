// nubrix export: the files that it writes, read by other programs.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>

#include "tests/tools/commands/ExportFixture.h"

namespace nubrix::tool {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

/// This many pixels of one colour.
std::string plainColour(unsigned int pixels, const std::string &colour)
{
    std::string bytes;
    for (unsigned int i = 0; i < pixels; ++i)
        bytes += colour;
    return bytes;
}

std::string depthsOf(const std::vector<unsigned int> &depths)
{
    std::string bytes;
    for (const unsigned int depth : depths)
        appendLittle(bytes, depth, 2);
    return bytes;
}

using ExportCommandTest = ExportFixture;

TEST_F(ExportCommandTest, ACloudHasTheColoursThatAreNearestInTime)
{
    const std::string depth = depthsOf({16000, 0, 32000, 16});
    const std::string file = fileOf({{1, 0, 1000, plainColour(4, {1, 2, 3}), 2, 2},
                                     {2, 0, 1400, depth, 2, 2},
                                     {2, 1, 1600, depth, 2, 2},
                                     {1, 1, 2000, plainColour(1, {4, 5, '\xff'}), 1, 1}});
    const ToolResult result =
        exported(file, {"--ply", "--fx", "2", "--fy", "4", "--cx", "1", "--cy", "1"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(files(), testing::UnorderedElementsAre("depth-000001.ply", "depth-000002.ply"));
    // z = depth / 16, x = z * (u - 1) / 2, y = z * (v - 1) / 4, all in millimetres; no point
    // where there is no depth.
    EXPECT_THAT(points("depth-000001.ply"),
                ElementsAre("-500 -250 1000 1 2 3", "-1000 0 2000 1 2 3", "0 0 1 1 2 3"));
    // Colours of another size are stretched.
    EXPECT_THAT(points("depth-000002.ply"),
                ElementsAre("-500 -250 1000 4 5 255", "-1000 0 2000 4 5 255", "0 0 1 4 5 255"));
    EXPECT_THAT(readFile(m_out + "/depth-000001.ply"),
                AllOf(HasSubstr("comment millimetres / 1000, x right, y down, z away from the"),
                      HasSubstr("comment fx 2, fy 4, cx 1, cy 1 pixels\n"),
                      HasSubstr("comment colours: record 0, 0.400 ms away\n")));
    EXPECT_THAT(
        table(),
        ElementsAre(kTableHead, "color,0,0,1000,2,2,12,", "depth,1,0,1400,2,2,8,depth-000001.ply",
                    "depth,2,1,1600,2,2,8,depth-000002.ply", "color,3,1,2000,1,1,3,"));
}

TEST_F(ExportCommandTest, EachPointHasTheColourOfItsPixel)
{
    std::string colour;
    for (char i = 1; i <= 12; ++i)
        colour += i;
    const std::string file =
        fileOf({{1, 0, 0, colour, 2, 2}, {2, 0, 0, depthsOf({16, 16, 16, 16}), 2, 2}});
    ASSERT_EQ(exported(file, {"--ply"}).status, 0);
    EXPECT_THAT(points("depth-000001.ply"), ElementsAre(EndsWith(" 1 2 3"), EndsWith(" 4 5 6"),
                                                        EndsWith(" 7 8 9"), EndsWith(" 10 11 12")));
}

TEST_F(ExportCommandTest, WithoutColourACloudHasNoColours)
{
    const std::string file = fileOf({{2, 0, 0, depthsOf({16000}), 1, 1}});
    ASSERT_EQ(exported(file, {"--ply"}).status, 0);
    EXPECT_THAT(points("depth-000000.ply"),
                ElementsAre(testing::MatchesRegex("[-0-9]+ [-0-9]+ 1000")));
}

TEST_F(ExportCommandTest, TheUserSetsTheUnitOfDepthAndTheScale)
{
    const std::string file = fileOf({{2, 0, 0, depthsOf({800}), 1, 1}});
    const std::vector<std::pair<std::string, std::string>> depths = {
        {"0.0625", "50"}, {"0.125", "100"}, {"0.25", "200"}, {"1", "800"}, {"0.2", "160"}};
    for (const auto &[unit, millimetres] : depths) {
        ASSERT_EQ(exported(file, {"--ply", "--depth-unit", unit}).status, 0);
        EXPECT_THAT(points("depth-000000.ply"), ElementsAre(EndsWith(" " + millimetres))) << unit;
    }
    ASSERT_EQ(exported(file, {"--ply", "--scale", "10"}).status, 0);
    EXPECT_THAT(points("depth-000000.ply"), ElementsAre(EndsWith(" 5000")));
    EXPECT_THAT(readFile(m_out + "/depth-000000.ply"), HasSubstr("comment millimetres / 10, "));
}

TEST_F(ExportCommandTest, ABitmapOfAnyWidthIsTheColourFrame)
{
    for (unsigned int width = 1; width <= 5; ++width) {
        const std::string pixels = patternOf(1, width, std::size_t{width} * 3 * 3);
        ASSERT_EQ(exported(fileOf({{1, 0, 0, pixels, width, 3}}), {"--bmp"}).status, 0);
        EXPECT_EQ(image("color-000000.bmp"),
                  "RGB " + std::to_string(width) + " 3 " + hexOf(pixels) + '\n');
    }
    EXPECT_THAT(files(), ElementsAre("color-000000.bmp"));
}

TEST_F(ExportCommandTest, EveryNthRecordIsCountedForEachStreamSeparately)
{
    std::vector<SentRecord> records;
    for (unsigned int i = 0; i < 7; ++i)
        records.push_back({2, i, i, depthsOf({1}), 1, 1});
    for (unsigned int i = 0; i < 4; ++i)
        records.push_back({4, 0, i, "\x7f", 1, 1});
    const ToolResult result = exported(fileOf(records), {"--every", "3"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(table(), ElementsAre(kTableHead, StartsWith("depth,0,0,"), StartsWith("depth,3,3,"),
                                     StartsWith("depth,6,6,"), StartsWith("ir,7,0,"),
                                     StartsWith("ir,10,0,")));
    EXPECT_EQ(files().size(), 3U * 2 + 2);
    EXPECT_EQ(result.out,
              "stream      records  exported     files\n"
              "depth             7         3         6\n"
              "ir                4         2         2\n"
              "saved " +
                  m_out + "/timestamps.csv\n");
}

TEST_F(ExportCommandTest, StreamsOfAnyTypeAreGreyOrColour)
{
    const std::string file = fileOf({{4, 0, 0, std::string("\x34\x12", 2), 1, 1},
                                     {32, 0, 0, "\x7f", 1, 1},
                                     {7, 0, 0, "\x01\x02\x03", 1, 1}});
    ASSERT_EQ(exported(file).status, 0);
    EXPECT_EQ(image("ir-000000.png"), "I 1 1 3412\n");
    EXPECT_EQ(image("light-ir-000001.png"), "L 1 1 7f\n");
    EXPECT_EQ(image("type-7-000002.png"), "RGB 1 1 010203\n");
}

TEST_F(ExportCommandTest, AnAmbiguousColourFormatMustBeSpecified)
{
    const std::string grey = "\x40\x80\x50\x80";  // two pixels without colour
    const std::string file = fileOf({{1, 0, 0, grey, 2, 1}});
    const ToolResult refused = exported(file);
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.err, "nubrix: " + file +
                               ": record 0 (color): 4 bytes are no image of 2x1 without "
                               "--color-format\n");
    EXPECT_THAT(files(), IsEmpty());
    const ToolResult result = exported(file, {"--png", "--bmp", "--color-format", "yuyv"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(image("color-000000.png"), "RGB 2 1 404040505050\n");
    EXPECT_EQ(image("color-000000.bmp"), "RGB 2 1 404040505050\n");
}

TEST_F(ExportCommandTest, AJpegIsSavedUnchangedAndCannotBecomeABitmap)
{
    const std::string jpeg = "\xff\xd8\xff\xe0 and more data";
    const std::string file = fileOf({{1, 0, 0, jpeg, 8, 8}, {2, 0, 0, depthsOf({16000}), 1, 1}});
    ASSERT_EQ(exported(file).status, 0);
    EXPECT_EQ(readFile(m_out + "/color-000000.jpg"), jpeg);
    const ToolResult result = exported(file, {"--bmp", "--ply"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err,
                HasSubstr("record 0: a JPEG cannot be converted to a bitmap; and 1 similar"));
    EXPECT_EQ(points("depth-000001.ply").size(), 1U);
}

TEST_F(ExportCommandTest, ARecordWithoutAnImageIsReportedAndTheOthersAreExported)
{
    const std::string file = fileOf({{2, 0, 5, depthsOf({1, 2, 3}), 2, 2},
                                     {2, 1, 6, depthsOf({1, 2, 3, 4}), 2, 2},
                                     {1, 0, 6, "\x01", 0, 0}});
    const ToolResult result = exported(file, {"--png", "--ply"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "nubrix: " + file +
                              ": record 0 (depth): 6 bytes are no image of 2x2; and 2 similar "
                              "problems\n");
    EXPECT_EQ(image("depth-000001.png"), "I 2 2 0100020003000400\n");
    EXPECT_EQ(points("depth-000001.ply").size(), 4U) << "without the invalid colours";
    EXPECT_THAT(table(), ElementsAre(kTableHead, "depth,0,0,5,2,2,6,",
                                     StartsWith("depth,1,1,6,2,2,8,depth-000001.png "),
                                     "color,2,0,6,0,0,1,"));
}

// --- on a terminal

TEST_F(ExportCommandTest, OnATerminalABarShowsTheProgress)
{
    std::vector<SentRecord> records(3, {2, 0, 0, depthsOf({1}), 1, 1});
    ToolProcess process(toolCommand({"export", fileOf(records), "--out", m_out}), {true, {}, {}});
    const ToolResult result = process.finish();
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out,
                HasSubstr("\r[" + std::string(30, '#') + "] 100 %, 3 of 3 records\033[K\r"));
    EXPECT_THAT(result.out, HasSubstr("saved " + m_out));
}

TEST_F(ExportCommandTest, CtrlCEndsItAfterTheCurrentRecord)
{
    const std::vector<SentRecord> records(2, {1, 0, 0, patternOf(1, 0, 400 * 100 * 3), 400, 100});
    // More than a pipe holds: the tool blocks in the middle of the first image.
    std::filesystem::create_directories(m_out);
    const std::string pipe = m_out + "/color-000000.bmp";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    ToolProcess process(toolCommand({"export", fileOf(records), "--out", m_out, "--bmp"}));
    std::ifstream reader(pipe, std::ios::binary);  // opens when the tool does
    process.signal(SIGINT);
    const std::string written{std::istreambuf_iterator<char>(reader), {}};
    const ToolResult result = process.finish();
    EXPECT_EQ(written.size(), 54U + 400 * 100 * 3);
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, EndsWith(": stopped before the last record\n"));
    EXPECT_EQ(table().size(), 2U);
    EXPECT_FALSE(std::filesystem::exists(m_out + "/color-000001.bmp"));
}

// --- failures

TEST_F(ExportCommandTest, AFileWithoutRecordsIsAFailureWithTheCause)
{
    const std::string missing = m_folder.file("missing.bin");
    const std::string empty = m_folder.file("empty.bin", "");
    const std::string text = m_folder.file("text.bin", std::string(5000, 'x'));
    const std::vector<std::pair<std::string, std::string>> causes = {
        {missing, ": cannot open: No such file or directory"},
        {m_folder.path(), ": "},
        {empty, ": it has no complete record, it is empty"},
        {text, ": it has no complete record; byte 0: no record: there is no stream type 30840"}};
    for (const auto &[file, cause] : causes) {
        const ToolResult result = exported(file);
        EXPECT_EQ(result.status, 1) << file;
        EXPECT_THAT(result.err, StartsWith("nubrix: " + file + cause));
        EXPECT_THAT(result.out, IsEmpty());
    }
    EXPECT_FALSE(std::filesystem::exists(m_out)) << "there is nothing to write";
}

TEST_F(ExportCommandTest, AFolderThatCannotBeCreatedIsAFailureWithTheReason)
{
    const std::string file = fileOf({{2, 0, 0, depthsOf({1}), 1, 1}});
    for (const std::string &folder : {file, file + "/under", std::string("/proc/none/images")}) {
        const ToolResult result = runTool({"export", file, "--out", folder});
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.err, StartsWith("nubrix: cannot create the folder " + folder + ": "));
    }
    EXPECT_EQ(readFile(file), bytesOf(SentRecord{2, 0, 0, depthsOf({1}), 1, 1}));
}

TEST_F(ExportCommandTest, AFullDiskIsReportedWithTheFile)
{
    const std::string file = fileOf({{2, 0, 0, depthsOf({1}), 1, 1}});
    std::filesystem::create_directories(m_out);
    for (const char *name : {"depth-000000.ply", "timestamps.csv"}) {
        std::filesystem::remove(m_out + "/" + name);
        std::filesystem::create_symlink("/dev/full", m_out + "/" + name);
        const ToolResult result = exported(file, {"--ply"});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err,
                  "nubrix: cannot write " + m_out + "/" + name + ": No space left on device\n");
        std::filesystem::remove(m_out + "/" + name);
    }
}

TEST_F(ExportCommandTest, WrongUseIsStatus2)
{
    const std::vector<Words> wrong = {{},
                                      {"--out", m_out},
                                      {"FILE"},
                                      {"FILE", "--out", m_out, "--every", "0"},
                                      {"FILE", "--out", m_out, "--every", "x"},
                                      {"FILE", "--out", m_out, "--depth-unit", "0"},
                                      {"FILE", "--out", m_out, "--scale", "0"},
                                      {"FILE", "--out", m_out, "--cx", "0"},
                                      {"FILE", "--out", m_out, "--color-format", "rgb"}};
    for (Words words : wrong) {
        words.insert(words.begin(), "export");
        EXPECT_EQ(runTool(words).status, 2) << words.back();
    }
}

}  // namespace
}  // namespace nubrix::tool
