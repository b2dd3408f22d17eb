// The figures of the streams in a record file, also while the file grows: records, frame rate,
// missing frames.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "nubrix/record_reader.h"

namespace nubrix::tool {

struct RecordedStreamFigures {
    unsigned int streamType = 0;
    std::string name;  // "color", "type 7"
    std::uint64_t records = 0;
    std::optional<std::uint64_t> gaps;  // jumps in the record index; none for streams without one
    double framesPerSecond = 0;         // by the time stamps; 0 for fewer than two records
    double seconds = 0;                 // from the first time stamp to the last
    // Frames without a record: exact between two frames whose frame index is known, otherwise
    // estimated from the time stamps and the median interval.
    std::uint64_t missing = 0;
};

/// Computes the figures from the records, in the order of the file.
///
/// Not thread-safe.
class RecordStatistics {
public:
    /// Of each stream, at most this many seen frames are stored.
    static constexpr std::size_t kMaxSeenFrames = 4096;

    void add(const RecordInfo &record);
    /// Adds the records of the file `path` that the reader has found since the last call. Throws a
    /// std::runtime_error when one cannot be read.
    void addNewRecords(RecordReader &reader, const std::string &path);
    /// Adds the camera's frame index of a frame that was received during the recording, because a
    /// record file does not store it. In the order of the camera, and not for every frame: a
    /// long recording keeps only every second, fourth, ... of them.
    void addSeenFrame(unsigned int streamType, std::uint64_t timestampUs, std::uint32_t frameIndex);
    /// Removes the records, but not the seen frames.
    void clearRecords();

    /// In the order of their first record.
    std::vector<RecordedStreamFigures> streams() const;
    /// The figures of one stream type; zero when it has no record.
    RecordedStreamFigures stream(unsigned int streamType) const;
    /// The number of seen frames that are stored.
    std::size_t seenFrames(unsigned int streamType) const;

private:
    using Intervals = std::map<std::uint64_t, std::uint64_t>;  // microseconds to number of times
    struct SeenFrame {
        std::uint64_t timestampUs;
        std::uint32_t index;
    };
    struct Stream {
        RecordInfo first;
        RecordInfo last;
        std::uint64_t records = 0;
        std::uint64_t gaps = 0;
        Intervals intervals;
        std::size_t nextSeen = 0;          // the seen frames before it have been handled
        std::optional<SeenFrame> matched;  // the last seen frame that has a record
        std::uint64_t recordsBefore = 0;   // the number of records before that one
        std::uint64_t missing = 0;         // by the frame index, up to `matched`
        Intervals estimated;               // up to `matched`, where the frame index is of no use
        Intervals afterMatch;
    };

    static void thinOut(std::vector<SeenFrame> &seen, Stream &stream);
    static void match(Stream &stream, const std::vector<SeenFrame> &seen);
    static void countUpTo(Stream &stream, const SeenFrame &seen);
    static RecordedStreamFigures figuresOf(unsigned int streamType, const Stream &stream);

    std::map<unsigned int, std::vector<SeenFrame>> m_seen;
    std::map<unsigned int, Stream> m_streams;
    std::vector<unsigned int> m_order;
    unsigned int m_records = 0;
};

}  // namespace nubrix::tool
