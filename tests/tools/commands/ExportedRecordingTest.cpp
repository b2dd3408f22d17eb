// nubrix export of a recording of the virtual camera.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/commands/ExportFixture.h"

namespace nubrix::tool {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;
using testing::UnorderedElementsAreArray;

class ExportedRecordingTest : public ExportFixture {
protected:
    ExportedRecordingTest()
    {
        const ToolResult result =
            recordWithoutLoss({"record", "--out", m_file, "--mode", "320x240@5", "--frames", "2"});
        EXPECT_EQ(result.status, 0) << result.err;
        RecordReader reader;
        EXPECT_EQ(reader.open(m_file.c_str()), 0);
        m_records = readBack(reader);
        EXPECT_GE(m_records.size(), 6U);
    }

    const std::string m_file = m_folder.file("room.bin");
    std::vector<SentRecord> m_records;
};

TEST_F(ExportedRecordingTest, TheImagesHaveTheRecordedPixelsAndTheTableTheTimeStamps)
{
    const ToolResult result = exported(m_file, {"--json"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    std::vector<std::string> expectedFiles;
    std::vector<std::string> expectedTable = {kTableHead};
    for (unsigned int i = 0; i < m_records.size(); ++i) {
        const SentRecord &record = m_records[i];
        const bool depth = record.streamType == NUBRIX_STREAM_DEPTH;
        const bool colour = record.streamType == NUBRIX_STREAM_COLOR;
        const std::string stream = depth ? "depth" : colour ? "color" : "ir";
        const std::string name = stream + '-' + sixDigits(i);
        std::string names = name + ".png";
        expectedFiles.push_back(names);
        const char *const mode = depth ? "I" : colour ? "RGB" : "L";
        EXPECT_TRUE(image(names) == mode + (" 320 240 " + hexOf(record.pixels)) + '\n') << names;
        if (depth) {
            expectedFiles.push_back(name + "-color.png");
            names += " " + expectedFiles.back();
            EXPECT_THAT(image(expectedFiles.back()), StartsWith("RGB 320 240 "));
        }
        expectedTable.push_back(stream + ',' + std::to_string(i) + ',' +
                                std::to_string(record.index) + ',' +
                                std::to_string(record.timestampUs) + ",320,240," +
                                std::to_string(record.pixels.size()) + ',' + names);
    }
    EXPECT_THAT(files(), UnorderedElementsAreArray(expectedFiles));
    EXPECT_EQ(table(), expectedTable);
    const nlohmann::json report = result.json();
    EXPECT_EQ(report["folder"], m_out);
    EXPECT_EQ(report["table"], m_out + "/timestamps.csv");
    EXPECT_EQ(report["records"], m_records.size());
    EXPECT_EQ(report["files"], expectedFiles.size());
    EXPECT_EQ(report["streams"]["depth"]["files"],
              2 * report["streams"]["depth"]["records"].get<int>());
    EXPECT_FALSE(report.contains("error"));
}

TEST_F(ExportedRecordingTest, TheCloudIsTheRoomInItsColours)
{
    ASSERT_EQ(exported(m_file, {"--ply"}).status, 0);
    unsigned int number = 0;
    while (m_records.at(number).streamType != NUBRIX_STREAM_DEPTH)
        ++number;
    const std::string name = "depth-" + sixDigits(number) + ".ply";
    const std::vector<std::string> lines = points(name);
    ASSERT_EQ(lines.size(), 320U * 240) << "the room is closed";
    EXPECT_THAT(readFile(m_out + '/' + name).substr(0, 400),
                AllOf(HasSubstr("comment millimetres / 1000, x right, y down, z away"),
                      HasSubstr("comment fx 260, fy 260, cx 159.5, cy 119.5 pixels\n"),
                      HasSubstr("comment colours: record ")));
    // Left wall and carpet, both less than 4.1 m away: the wall is blue, the carpet red.
    const auto at = [&](unsigned int x, unsigned int y) {
        std::vector<int> values(6);
        std::istringstream stream(lines[y * 320 + x]);
        for (int &value : values)
            stream >> value;
        EXPECT_GT(values[2], 1000);
        EXPECT_LT(values[2], 4100);
        return values;
    };
    const std::vector<int> wall = at(75, 50);
    EXPECT_GT(wall[5], wall[3]);
    EXPECT_LT(wall[0], 0) << "left of the middle";
    EXPECT_LT(wall[1], 0) << "above the middle";
    const std::vector<int> carpet = at(175, 215);
    EXPECT_GT(carpet[3], carpet[5]);
    EXPECT_GT(carpet[1], 0);
}

TEST_F(ExportedRecordingTest, TheCompleteRecordsOfATruncatedFileAreExported)
{
    const std::string complete = readFile(m_file);
    const std::size_t last = kTagBytes + m_records.back().pixels.size();
    const std::string cut = m_folder.file("cut.bin", complete.substr(0, complete.size() - 1000));
    const ToolResult result = exported(cut, {"--json"});
    EXPECT_EQ(result.status, 1);
    const std::string where = "byte " + std::to_string(complete.size() - last) + ": a record of ";
    EXPECT_THAT(result.err, StartsWith("nubrix: " + cut + " is damaged: " + where));
    EXPECT_EQ(result.json()["records"], m_records.size() - 1);
    EXPECT_THAT(result.json()["error"].get<std::string>(), HasSubstr(where));
    EXPECT_EQ(table().size(), m_records.size())
        << "a title, and a line for each record but the last";
}

}  // namespace
}  // namespace nubrix::tool
