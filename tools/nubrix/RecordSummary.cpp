#include "RecordSummary.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <map>

#include "Failure.h"
#include "Names.h"

namespace nubrix {

namespace {

bool hasIndex(unsigned int streamType)
{
    return streamType == NUBRIX_STREAM_COLOR || streamType == NUBRIX_STREAM_DEPTH;
}

// 0 when time stands still or goes back.
std::uint64_t microsecondsBetween(const RecordInfo &before, const RecordInfo &after)
{
    return after.timestampUs > before.timestampUs ? after.timestampUs - before.timestampUs : 0;
}

// The middle one of the distances in time, which a few lost frames do not change.
std::uint64_t usualDistance(std::vector<std::uint64_t> distances)
{
    const auto middle = distances.begin() + static_cast<std::ptrdiff_t>(distances.size() / 2);
    std::nth_element(distances.begin(), middle, distances.end());
    return *middle;
}

std::uint64_t missingIn(const std::vector<std::uint64_t> &distances)
{
    const auto usual = static_cast<double>(usualDistance(distances));
    std::uint64_t missing = 0;
    for (const std::uint64_t distance : distances) {
        const double frames = usual > 0 ? std::round(static_cast<double>(distance) / usual) : 1;
        missing += frames > 1 ? static_cast<std::uint64_t>(frames) - 1 : 0;
    }
    return missing;
}

RecordedStreamFigures figuresOf(const std::vector<RecordInfo> &records)
{
    RecordedStreamFigures figures;
    figures.streamType = records.front().streamType;
    figures.name = streamName(figures.streamType);
    figures.records = records.size();
    if (hasIndex(figures.streamType))
        figures.gaps = 0;
    std::vector<std::uint64_t> distances;
    for (std::size_t i = 1; i < records.size(); ++i) {
        const RecordInfo &before = records[i - 1];
        if (figures.gaps && records[i].index != before.index + 1)
            ++*figures.gaps;
        distances.push_back(microsecondsBetween(before, records[i]));
    }
    if (distances.empty())
        return figures;
    figures.seconds =
        static_cast<double>(microsecondsBetween(records.front(), records.back())) / 1e6;
    if (figures.seconds > 0)
        figures.framesPerSecond = static_cast<double>(distances.size()) / figures.seconds;
    figures.missing = missingIn(distances);
    return figures;
}

}  // namespace

void openRecords(RecordReader &reader, const std::string &path)
{
    if (reader.open(path.c_str()) != 0)
        throw Failure(path + ": " + reader.errorText());
}

RecordSummary RecordSummary::of(const std::string &path)
{
    RecordReader reader;
    openRecords(reader, path);
    std::map<unsigned int, std::vector<RecordInfo>> ofType;
    std::vector<unsigned int> order;
    RecordSummary summary;
    for (unsigned int i = 0; i < reader.count(); ++i) {
        RecordInfo info = {};
        if (reader.info(i, &info) != 0)
            throw Failure(path + ": " + reader.errorText());
        std::vector<RecordInfo> &records = ofType[info.streamType];
        if (records.empty())
            order.push_back(info.streamType);
        records.push_back(info);
    }
    for (const unsigned int type : order)
        summary.streams.push_back(figuresOf(ofType[type]));
    summary.records = reader.count();
    summary.truncatedBytes = reader.trailingBytes();
    summary.skippedBytes = reader.skippedBytes();
    summary.problem = reader.problem();
    summary.bytes = std::filesystem::file_size(path);
    return summary;
}

RecordedStreamFigures RecordSummary::stream(unsigned int streamType) const
{
    for (const RecordedStreamFigures &figures : streams) {
        if (figures.streamType == streamType)
            return figures;
    }
    RecordedStreamFigures none;
    none.streamType = streamType;
    none.name = streamName(streamType);
    return none;
}

std::string sizeText(std::uint64_t bytes)
{
    static const char *const kUnits[] = {"bytes", "kB", "MB", "GB"};
    double value = static_cast<double>(bytes);
    std::size_t unit = 0;
    for (; value >= 1000 && unit < 3; ++unit)
        value /= 1000;
    char text[32];
    std::snprintf(text, sizeof(text), unit == 0 ? "%.0f %s" : "%.1f %s", value, kUnits[unit]);
    return text;
}

}  // namespace nubrix
