#include "commands/RecordStatistics.h"

#include <gmock/gmock.h>

#include <fstream>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/TemporaryFolder.h"
#include "tests/record/RecordBytes.h"

namespace nubrix::tool {
namespace {

RecordInfo recordAt(unsigned long long timestampUs, unsigned int type = 2, unsigned int index = 0)
{
    return {0, timestampUs, type, index, 1, 1, 1, 0};
}

RecordedStreamFigures figuresOf(std::initializer_list<unsigned long long> times)
{
    RecordStatistics statistics;
    for (const unsigned long long time : times)
        statistics.add(recordAt(time));
    return statistics.stream(2);
}

TEST(RecordStatisticsTest, FramesAreMissingWhereTheIntervalIsAMultipleOfTheMedian)
{
    EXPECT_EQ(figuresOf({100, 200, 300, 400}).missing, 0U);
    EXPECT_EQ(figuresOf({100, 200, 400, 500, 600}).missing, 1U);
    EXPECT_EQ(figuresOf({100, 203, 299, 602, 701, 800, 1200}).missing, 5U);
    EXPECT_EQ(figuresOf({100, 240, 350}).missing, 0U) << "less than 1.5 times the median is none";
}

TEST(RecordStatisticsTest, TheUsualIntervalIsTheMedian)
{
    EXPECT_EQ(figuresOf({0, 100, 300}).missing, 0U) << "of two intervals it is the longer one";
    EXPECT_EQ(figuresOf({0, 100, 200, 500, 800}).missing, 0U);
    EXPECT_EQ(figuresOf({0, 100, 200, 300, 600, 900}).missing, 4U);
}

TEST(RecordStatisticsTest, TimeStampsThatDoNotIncreaseHaveNoMissingFrames)
{
    EXPECT_EQ(figuresOf({5, 5, 5}).missing, 0U);
    EXPECT_EQ(figuresOf({900, 800, 700}).missing, 0U);
    EXPECT_EQ(figuresOf({900, 800, 700}).framesPerSecond, 0);
}

TEST(RecordStatisticsTest, TheIndexOfSeenFramesDecides)
{
    const auto missing = [](std::initializer_list<std::pair<unsigned long long, unsigned int>> seen,
                            std::initializer_list<unsigned long long> times) {
        RecordStatistics statistics;
        for (const auto &[time, index] : seen)
            statistics.addSeenFrame(2, time, index);
        for (const unsigned long long time : times)
            statistics.add(recordAt(time));
        return statistics.stream(2).missing;
    };
    const auto uneven = {100ULL, 110ULL, 120ULL, 500ULL, 510ULL, 900ULL};
    EXPECT_EQ(missing({}, uneven), 75U) << "an estimate";
    EXPECT_EQ(missing({{100, 0}, {110, 1}, {120, 2}, {500, 3}, {510, 4}, {900, 5}}, uneven), 0U);
    EXPECT_EQ(missing({{100, 7}, {900, 12}}, uneven), 0U) << "some seen frames suffice";
    EXPECT_EQ(missing({{100, 7}, {500, 12}, {900, 15}}, uneven), 3U);
    EXPECT_EQ(missing({{90, 6}, {100, 7}, {900, 12}, {950, 13}}, uneven), 0U)
        << "frames without a record are ignored";
    EXPECT_EQ(missing({{900, 5}}, uneven), 0U) << "the index starts at 0";
    EXPECT_EQ(missing({{900, 6}}, uneven), 75U) << "the recording may have started later";
    EXPECT_EQ(missing({{100, 0}, {510, 4}}, uneven), 38U)
        << "an estimate after the last seen frame";
    EXPECT_EQ(missing({{100, 0}, {900, 0}}, uneven), 75U) << "a camera without an index";
    EXPECT_EQ(missing({{100, 0}, {200, 1}, {300, 3}}, {100, 200, 300}), 1U)
        << "the index has precedence over the time stamps";
}

TEST(RecordStatisticsTest, FramesMayBeSeenBeforeOrAfterTheirRecordsAndOutliveThem)
{
    RecordStatistics statistics;
    statistics.addSeenFrame(2, 100, 4);
    statistics.add(recordAt(100));
    statistics.add(recordAt(110));
    statistics.add(recordAt(500));
    statistics.addSeenFrame(2, 500, 6);
    EXPECT_EQ(statistics.stream(2).missing, 0U);
    statistics.clearRecords();
    EXPECT_EQ(statistics.stream(2).records, 0U);
    for (const unsigned long long time : {100ULL, 110ULL, 500ULL})
        statistics.add(recordAt(time));
    EXPECT_EQ(statistics.stream(2).missing, 0U);
    EXPECT_EQ(statistics.stream(2).records, 3U);
}

TEST(RecordStatisticsTest, ALongRecordingNeedsLimitedMemoryAndStaysExact)
{
    constexpr unsigned int kFrames = 10 * RecordStatistics::kMaxSeenFrames;
    constexpr unsigned int kLostEvery = 1024;
    RecordStatistics statistics;
    const auto addRecords = [&](bool seen) {
        unsigned long long time = 0;
        for (unsigned int i = 0; i < kFrames; ++i) {
            time += i % 3 == 0 ? 900 : 100;  // an estimate from these intervals would be wrong
            if (seen)
                statistics.addSeenFrame(2, time, i);
            if (i % kLostEvery != kLostEvery / 2)
                statistics.add(recordAt(time));
        }
    };
    addRecords(true);
    EXPECT_EQ(statistics.stream(2).missing, kFrames / kLostEvery);
    EXPECT_LE(statistics.seenFrames(2), RecordStatistics::kMaxSeenFrames);
    statistics.clearRecords();
    addRecords(false);
    EXPECT_EQ(statistics.stream(2).missing, kFrames / kLostEvery);
}

TEST(RecordStatisticsTest, RateAndDurationComeFromTheTimeStamps)
{
    const RecordedStreamFigures figures = figuresOf({1000000, 1500000, 2000000});
    EXPECT_EQ(figures.records, 3U);
    EXPECT_DOUBLE_EQ(figures.seconds, 1);
    EXPECT_DOUBLE_EQ(figures.framesPerSecond, 2);
    EXPECT_EQ(figuresOf({1000000}).framesPerSecond, 0);
}

TEST(RecordStatisticsTest, JumpsOfTheIndexAreCountedForStreamsWithOne)
{
    RecordStatistics statistics;
    for (const unsigned int index : {4U, 5U, 7U, 7U, 8U}) {
        statistics.add(recordAt(index, 2, index));
        statistics.add(recordAt(index, 4, 0));
    }
    EXPECT_EQ(statistics.stream(2).gaps, 2U);
    EXPECT_EQ(statistics.stream(4).gaps, std::nullopt);
}

TEST(RecordStatisticsTest, StreamsAreCountedSeparatelyInTheOrderOfTheirFirstRecord)
{
    RecordStatistics statistics;
    for (const unsigned int type : {32U, 1U, 32U, 7U})
        statistics.add(recordAt(1, type));
    std::vector<std::string> names;
    for (const RecordedStreamFigures &figures : statistics.streams())
        names.push_back(figures.name + ' ' + std::to_string(figures.records));
    EXPECT_THAT(names, testing::ElementsAre("light-ir 2", "color 1", "type 7 1"));
    EXPECT_EQ(statistics.stream(2).records, 0U);
    EXPECT_EQ(statistics.stream(2).name, "depth");
}

TEST(RecordStatisticsTest, AGrowingFileIsContinuedAndRestartedAfterAnIncompleteRecord)
{
    const TemporaryFolder folder;
    const std::vector<SentRecord> sent = someRecords(4);
    const std::string path = folder.file("rec.bin", bytesOf({sent[0], sent[1]}));
    RecordReader reader;
    ASSERT_EQ(reader.open(path.c_str()), 0);
    RecordStatistics statistics;
    const auto records = [&](const std::string &appended) {
        std::ofstream(path, std::ios::binary | std::ios::app) << appended;
        EXPECT_EQ(reader.update(), 0);
        statistics.addNewRecords(reader, path);
        return std::vector{statistics.stream(1).records, statistics.stream(2).records,
                           statistics.stream(32).records};
    };
    EXPECT_THAT(records(""), testing::ElementsAre(1, 1, 0));
    EXPECT_THAT(records(bytesOf({sent[2], sent[3]})), testing::ElementsAre(2, 1, 1));
    EXPECT_THAT(records(std::string(9, '\0')), testing::ElementsAre(1, 1, 1));
}

TEST(RecordStatisticsTest, ARecordThatIsGoneIsAFailureWithTheReason)
{
    const TemporaryFolder folder;
    const std::string path = folder.file("rec.bin", bytesOf(someRecords(2)));
    RecordReader reader;
    ASSERT_EQ(reader.open(path.c_str()), 0);
    writeFile(path, "");
    RecordStatistics statistics;
    try {
        statistics.addNewRecords(reader, path);
        FAIL() << "nothing was thrown";
    } catch (const std::runtime_error &error) {
        EXPECT_EQ(error.what(), path + ": byte 0: the file has changed");
    }
}

}  // namespace
}  // namespace nubrix::tool
