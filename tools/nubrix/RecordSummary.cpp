#include "RecordSummary.h"

#include <cstdio>
#include <filesystem>

#include "Failure.h"

namespace nubrix {

void openRecords(RecordReader &reader, const std::string &path)
{
    if (reader.open(path.c_str()) != 0)
        throw Failure(path + ": " + reader.errorText());
}

RecordSummary RecordSummary::of(const std::string &path, RecordCount seen)
{
    RecordReader reader;
    openRecords(reader, path);
    RecordCount &count = seen;
    count.forgetRecords();
    count.addNew(reader, path);
    RecordSummary summary;
    summary.streams = count.streams();
    summary.records = reader.count();
    summary.truncatedBytes = reader.trailingBytes();
    summary.skippedBytes = reader.skippedBytes();
    summary.problem = reader.problem();
    summary.bytes = std::filesystem::file_size(path);
    return summary;
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
