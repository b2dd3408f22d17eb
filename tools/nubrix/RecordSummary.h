// What can be said of the frames in a record file.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "nubrix/record_reader.h"

namespace nubrix {

struct RecordedStreamFigures {
    unsigned int streamType = 0;
    std::string name;  // "color", "type 7"
    std::uint64_t records = 0;
    std::optional<std::uint64_t> gaps;  // breaks in the index; none for streams that have no index
    double framesPerSecond = 0;         // by the time stamps; 0 for fewer than two records
    double seconds = 0;                 // from the first time stamp to the last
    std::uint64_t missing =
        0;  // frames that, by the time stamps and the usual distance, are absent
};

struct RecordSummary {
    std::vector<RecordedStreamFigures> streams;  // in the order of their first record
    std::uint64_t records = 0;
    std::uint64_t bytes = 0;           // of the whole file
    std::uint64_t truncatedBytes = 0;  // behind the last whole record
    std::uint64_t skippedBytes = 0;    // between records
    std::string problem;               // empty when every byte belongs to a record

    /// Reads the tags of all records. Throws a Failure when the file cannot be read.
    static RecordSummary of(const std::string &path);
    /// The figures of a type; those of no record when there is none.
    RecordedStreamFigures stream(unsigned int streamType) const;
};

/// Opens a record file; throws a Failure.
void openRecords(RecordReader &reader, const std::string &path);

/// "12.3 MB".
std::string sizeText(std::uint64_t bytes);

}  // namespace nubrix
