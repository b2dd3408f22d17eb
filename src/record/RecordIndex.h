// Finds the whole records of a file, and what else is in it.
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

/// Walks the file when it is made. A record counts as whole when its pixels end at the end of the
/// file or where another tag, or a piece of one, stands: where a length leads astray, it is not the
/// recorder's or the pixels were not written in full. Not thread-safe.
class RecordIndex final {
public:
    struct Entry {
        std::uint64_t offset;
        std::uint64_t timestampUs;
    };

    /// Throws std::system_error when the file cannot be opened, std::bad_alloc.
    explicit RecordIndex(const char *path);

    const RecordFile &file() const { return m_file; }
    const std::deque<Entry> &records() const { return m_records; }
    /// The numbers of the records of a type, rising; null if there are none.
    const std::deque<std::uint32_t> *recordsOf(unsigned int streamType) const;

    NubrixRecordCondition condition() const { return m_condition; }
    const std::string &problem() const { return m_problem; }
    std::uint64_t trailingBytes() const { return m_trailingBytes; }
    std::uint64_t skippedBytes() const { return m_skippedBytes; }
    bool hasHeader() const { return m_hasHeader; }

private:
    // What stands at a place of the file.
    enum class Kind {
        kRecord,   // a whole record, with an end or the start of another behind it
        kCut,      // the start of a record, up to the end of the file
        kAstray,   // a sound tag, but its pixels end where no tag stands
        kNothing,  // no tag
    };
    struct Finding {
        Kind kind;
        RecordTag tag;
        std::uint64_t end;  // of the record, also if the file has fewer bytes
    };

    void walk(std::uint64_t &offset);
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
    const std::uint64_t m_size;
    std::deque<Entry> m_records;
    std::map<unsigned int, std::deque<std::uint32_t>> m_recordsOfType;
    NubrixRecordCondition m_condition = NUBRIX_RECORD_COMPLETE;
    std::string m_problem;
    std::uint64_t m_trailingBytes = 0;
    std::uint64_t m_skippedBytes = 0;
    bool m_hasHeader = false;

    // The bytes read last: one read serves many small records.
    std::vector<unsigned char> m_block;
    std::uint64_t m_blockOffset = 0;
};

}  // namespace nubrix
