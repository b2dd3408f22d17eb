#include "InspectCommand.h"

#include <cmath>
#include <cstdio>
#include <iostream>

namespace nubrix {

namespace {

double rounded(double value)
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

InspectCommand::InspectCommand(CLI::App &parent)
    : Command(
          parent, "inspect",
          "Tell what is in a record file: records, breaks in their index, frames/s, frames that\n"
          "are missing by the time stamps, and what is wrong with the file")
{
    app().add_option("FILE", m_file, "The record file")->required();
}

void InspectCommand::run()
{
    const RecordSummary summary = RecordSummary::of(m_file);
    if (json())
        printJson(jsonOf(summary));
    else
        std::cout << textOf(summary);
}

InspectCommand::Json InspectCommand::jsonOf(const RecordSummary &summary)
{
    Json streams = Json::object();
    for (const RecordedStreamFigures &figures : summary.streams) {
        streams[figures.name] = {{"records", figures.records},
                                 {"gaps", figures.gaps ? Json(*figures.gaps) : Json()},
                                 {"fps", rounded(figures.framesPerSecond)},
                                 {"missing", figures.missing},
                                 {"seconds", rounded(figures.seconds)}};
    }
    return {{"records", summary.records},
            {"bytes", summary.bytes},
            {"truncated_bytes", summary.truncatedBytes},
            {"skipped_bytes", summary.skippedBytes},
            {"problem", summary.problem.empty() ? Json() : Json(summary.problem)},
            {"streams", streams}};
}

std::string InspectCommand::textOf(const RecordSummary &summary)
{
    std::string text = "stream      records  frames/s   gaps  missing   seconds\n";
    for (const RecordedStreamFigures &figures : summary.streams)
        text += rowOf(figures);
    text += std::to_string(summary.records) + " records, " + sizeText(summary.bytes) + '\n';
    if (!summary.problem.empty())
        text += summary.problem + '\n';
    if (summary.truncatedBytes != 0) {
        text += std::to_string(summary.truncatedBytes) +
                " bytes after the last whole record; 'nubrix repair' leaves them out\n";
    }
    return text;
}

}  // namespace nubrix
