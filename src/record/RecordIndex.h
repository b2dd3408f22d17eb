// Finds the complete records of a file, and what else is in it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "nubrix/record_reader.h"
#include "record/RecordFile.h"
#include "record/RecordTag.h"

namespace nubrix {

/// Walks the file when it is made, and on from there when it is updated. A record counts as
/// complete when its pixels end at the end of the file or where another tag, or a piece of one,
/// stands: where a length leads astray, it is not the recorder's or the pixels were not written in
/// full. Not thread-safe.
class RecordIndex final {
public:
    /// Where a record stands, and all values of its tag when it was found.
    struct Entry {
        std::uint64_t offset;
        std::uint64_t timestampUs;
        std::uint32_t index;
        std::uint32_t dataSize;
        std::uint16_t width;  // a valid tag has no more than 16 bits of these three
        std::uint16_t height;
        std::uint16_t streamType;

        Entry(std::uint64_t place, const RecordTag &tag);
        bool operator==(const Entry &) const = default;
    };

    /// Throws std::system_error when the file cannot be opened, std::bad_alloc.
    explicit RecordIndex(const char *path);
    /// Becomes what an index made now would be, but reads only what is new and what the new bytes
    /// can have changed. Throws std::system_error when the file has become shorter, std::bad_alloc;
    /// may be called again.
    void update();

    const RecordFile &file() const { return m_file; }
    const std::deque<Entry> &records() const { return m_records; }
    /// The numbers of the records of a type, rising; null if there are none.
    const std::deque<std::uint32_t> *recordsOf(unsigned int streamType) const;

    NubrixRecordCondition condition() const { return m_walk.condition; }
    const std::string &problem() const { return m_walk.problem; }
    std::uint64_t trailingBytes() const { return m_size - m_walk.offset; }
    std::uint64_t skippedBytes() const { return m_walk.skippedBytes; }
    bool hasHeader() const { return m_walk.hasHeader; }

private:
    // What stands at a place of the file.
    enum class Kind {
        kRecord,   // a complete record, with an end or the start of another behind it
        kCut,      // the start of a record, up to the end of the file
        kAstray,   // a valid tag, but its pixels end where no tag stands
        kNothing,  // no tag
    };
    struct Finding {
        Kind kind;
        RecordTag tag;
        std::uint64_t end;  // of the record, also if the file has fewer bytes
    };

    // The position of a walk, and what it has found.
    struct Walk {
        std::uint64_t offset = 0;  // everything before it is dealt with
        std::size_t records = 0;
        std::uint64_t skippedBytes = 0;
        NubrixRecordCondition condition = NUBRIX_RECORD_COMPLETE;
        std::string problem;
        bool hasHeader = false;
    };

    void walkToEnd();
    void walk();
    void keepSettled();
    void returnToSettled();
    std::uint64_t skipHeader();
    void add(std::uint64_t offset, const RecordTag &tag);
    Finding lookAt(std::uint64_t offset);
    Finding judge(std::uint64_t offset, const RecordTag &tag);
    std::optional<std::uint64_t> findRecord(std::uint64_t offset);
    bool isPieceOfTag(std::uint64_t offset, std::uint64_t end);
    RecordTag readTag(std::uint64_t offset, std::uint64_t end);
    void note(NubrixRecordCondition condition, std::uint64_t offset, const std::string &text);
    std::string describe(std::uint64_t offset, const Finding &finding) const;

    const RecordFile m_file;
    std::uint64_t m_size;
    bool m_walked = false;  // to the end at m_size
    std::deque<Entry> m_records;
    std::map<unsigned int, std::deque<std::uint32_t>> m_recordsOfType;
    Walk m_walk;
    Walk m_settledWalk;     // the last state that no appended byte can change
    bool m_settled = true;  // no place that was passed depends on where the file ends

    // The bytes read last: one read serves many small records.
    std::vector<unsigned char> m_block;
    std::uint64_t m_blockOffset = 0;
};

}  // namespace nubrix
