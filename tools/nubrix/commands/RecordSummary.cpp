#include "commands/RecordSummary.h"

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <stdexcept>

namespace nubrix::tool {

namespace {

double twoDecimals(double value)
{
    return std::round(value * 100) / 100;
}

std::string rowOf(const RecordedStreamFigures &figures)
{
    const std::string gaps = figures.gaps ? std::to_string(*figures.gaps) : "-";
    char row[160];
    std::snprintf(row, sizeof(row), "%-10s %8llu %9.1f %6s %8llu %9.2f\n", figures.name.c_str(),
                  static_cast<unsigned long long>(figures.records), figures.framesPerSecond,
                  gaps.c_str(), static_cast<unsigned long long>(figures.missing), figures.seconds);
    return row;
}

}  // namespace

RecordSummary RecordSummary::of(const std::string &path, RecordStatistics statistics)
{
    RecordReader reader;
    openRecords(reader, path);
    statistics.clearRecords();
    statistics.addNewRecords(reader, path);
    RecordSummary summary;
    summary.streams = statistics.streams();
    summary.records = reader.count();
    summary.truncatedBytes = reader.trailingBytes();
    summary.skippedBytes = reader.skippedBytes();
    summary.problem = reader.problem();
    summary.bytes = std::filesystem::file_size(path);
    return summary;
}

nlohmann::ordered_json RecordSummary::json() const
{
    using Json = nlohmann::ordered_json;
    Json byStream = Json::object();
    for (const RecordedStreamFigures &figures : streams) {
        byStream[figures.name] = {{"records", figures.records},
                                  {"gaps", figures.gaps ? Json(*figures.gaps) : Json()},
                                  {"fps", twoDecimals(figures.framesPerSecond)},
                                  {"missing", figures.missing},
                                  {"seconds", twoDecimals(figures.seconds)}};
    }
    return {{"records", records},
            {"bytes", bytes},
            {"truncated_bytes", truncatedBytes},
            {"skipped_bytes", skippedBytes},
            {"problem", problem.empty() ? Json() : Json(problem)},
            {"streams", byStream}};
}

std::string RecordSummary::text() const
{
    std::string text = "stream      records  frames/s   gaps  missing   seconds\n";
    for (const RecordedStreamFigures &figures : streams)
        text += rowOf(figures);
    text += std::to_string(records) + " records, " + bytesText(bytes) + '\n';
    if (!problem.empty())
        text += problem + '\n';
    if (truncatedBytes != 0 && records != 0) {
        text += std::to_string(truncatedBytes) +
                " bytes after the last complete record; 'nubrix repair' leaves them out\n";
    }
    return text;
}

void openRecords(RecordReader &reader, const std::string &path)
{
    if (reader.open(path.c_str()) != 0)
        throw std::runtime_error(path + ": " + reader.errorText());
}

std::string bytesText(std::uint64_t bytes)
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

}  // namespace nubrix::tool
