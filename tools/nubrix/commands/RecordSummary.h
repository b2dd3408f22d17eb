// The content of a record file in figures, as 'nubrix inspect' and 'nubrix record' report it.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "commands/RecordStatistics.h"
#include "nubrix/record_reader.h"

namespace nubrix::tool {

struct RecordSummary {
    std::vector<RecordedStreamFigures> streams;  // in the order of their first record
    std::uint64_t records = 0;
    std::uint64_t bytes = 0;           // of the whole file
    std::uint64_t truncatedBytes = 0;  // after the last complete record
    std::uint64_t skippedBytes = 0;    // between records
    std::string problem;               // empty when every byte belongs to a record

    /// Reads the tags of all records. `statistics` has the frames that were seen during the
    /// recording, if there are any. Throws a std::runtime_error when the file cannot be read.
    static RecordSummary of(const std::string &path, RecordStatistics statistics = {});

    nlohmann::ordered_json json() const;
    /// A table of the streams, the totals and the problem.
    std::string text() const;
};

/// Opens a record file; throws a std::runtime_error.
void openRecords(RecordReader &reader, const std::string &path);

/// "12.3 MB".
std::string bytesText(std::uint64_t bytes);

}  // namespace nubrix::tool
