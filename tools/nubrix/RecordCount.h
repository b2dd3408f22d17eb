// Counts the frames in a record file, also while the file grows.
#pragma once

#include <cstddef>
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
    // Frames that are absent: by the camera's own numbers between frames whose numbers are known,
    // elsewhere by the time stamps and the usual distance.
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
    /// A record file does not have the camera's numbers of its frames; this is one that was seen
    /// while it was recorded, in the order of the camera. Best before its record is added.
    void note(unsigned int streamType, std::uint64_t timestampUs, std::uint32_t frameIndex);
    /// Forgets the records, not the frames that were noted.
    void forgetRecords();

    /// In the order of their first record.
    std::vector<RecordedStreamFigures> streams() const;
    /// The figures of a type; those of no record when there is none.
    RecordedStreamFigures stream(unsigned int streamType) const;

private:
    using Distances = std::map<std::uint64_t, std::uint64_t>;  // in microseconds, and how often
    struct Seen {
        std::uint64_t timestampUs;
        std::uint32_t index;
    };
    struct Stream {
        RecordInfo first;
        RecordInfo last;
        std::uint64_t records = 0;
        std::uint64_t gaps = 0;
        Distances distances;
        std::size_t nextSeen = 0;     // the frames before it have no record, or are counted
        std::optional<Seen> counted;  // the last one of which the record is here, ...
        std::uint64_t countedAt = 0;  // ... and how many records were before it
        std::uint64_t missing = 0;    // by the camera's numbers
        Distances guessed;            // of records that are not between two frames that were seen
        Distances open;               // since the last frame that was seen
    };

    static void match(Stream &stream, const std::vector<Seen> &seen);
    static void countTo(Stream &stream, const Seen &seen);
    static RecordedStreamFigures figuresOf(unsigned int streamType, const Stream &stream);

    std::map<unsigned int, std::vector<Seen>> m_seen;
    std::map<unsigned int, Stream> m_streams;
    std::vector<unsigned int> m_order;
    unsigned int m_records = 0;
};

}  // namespace nubrix
