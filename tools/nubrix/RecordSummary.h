// What can be said of the frames in a record file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "RecordCount.h"
#include "nubrix/record_reader.h"

namespace nubrix {

struct RecordSummary {
    std::vector<RecordedStreamFigures> streams;  // in the order of their first record
    std::uint64_t records = 0;
    std::uint64_t bytes = 0;           // of the whole file
    std::uint64_t truncatedBytes = 0;  // behind the last whole record
    std::uint64_t skippedBytes = 0;    // between records
    std::string problem;               // empty when every byte belongs to a record

    /// Reads the tags of all records. `seen` has the frames that were noted while it was recorded.
    /// Throws a Failure when the file cannot be read.
    static RecordSummary of(const std::string &path, RecordCount seen = {});
};

/// Opens a record file; throws a Failure.
void openRecords(RecordReader &reader, const std::string &path);

/// "12.3 MB".
std::string sizeText(std::uint64_t bytes);

}  // namespace nubrix
