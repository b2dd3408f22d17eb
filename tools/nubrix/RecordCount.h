// Counts the frames in a record file, also while the file grows.
#pragma once

#include <cstdint>
#include <map>
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
    // Frames that, by the time stamps and the usual distance, are absent.
    std::uint64_t missing = 0;
};

/// Takes records one by one, in the order of the file.
///
/// Not thread-safe.
class RecordCount {
public:
    void add(const RecordInfo &record);
    /// Adds the records of the file `path` that the reader has found since it was last asked.
    /// Throws a Failure when one cannot be read.
    void addNew(RecordReader &reader, const std::string &path);

    /// In the order of their first record.
    std::vector<RecordedStreamFigures> streams() const;
    /// The figures of a type; those of no record when there is none.
    RecordedStreamFigures stream(unsigned int streamType) const;

private:
    struct Stream {
        RecordInfo first;
        RecordInfo last;
        std::uint64_t records = 0;
        std::uint64_t gaps = 0;
        std::map<std::uint64_t, std::uint64_t> distances;  // in microseconds, and how often
    };

    static RecordedStreamFigures figuresOf(unsigned int streamType, const Stream &stream);

    std::map<unsigned int, Stream> m_streams;
    std::vector<unsigned int> m_order;
    unsigned int m_records = 0;
};

}  // namespace nubrix
