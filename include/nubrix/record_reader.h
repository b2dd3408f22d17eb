/// @file
/// Reads the files that recorders write (NubrixBaseContext::createRecorder).
///
/// A record file is a row of records, each a tag of 26 bytes and the pixels of one frame. It has no
/// head, no table of contents and no end mark, so a recording that a crash, a full disk or a kill
/// ended early is as good as any other up to its last complete record. docs/recording.md describes
/// the format.
///
/// Nothing in a file is trusted: whatever its bytes are, the reader returns the complete records it
/// finds and reports where the rest is damaged and why.
#pragma once

#include "nubrix/export.h"
#include "nubrix/types.h"

/// What a file is, beyond the complete records in it.
enum NubrixRecordCondition : unsigned int {
    NUBRIX_RECORD_COMPLETE = 0,  ///< every byte belongs to a record (or to a leading header)
    NUBRIX_RECORD_CUT = 1,       ///< ends within a record; all before it is complete
    NUBRIX_RECORD_DAMAGED = 2,   ///< some bytes are neither a complete record nor the start of one
};

namespace nubrix {

class RecordIndex;
class RecordWindow;

/// The tag of one record and its position.
struct RecordInfo {
    unsigned long long offset;       ///< of the tag, bytes from the start of the file
    unsigned long long timestampUs;  ///< the frame's two timestamp words as one 64-bit count
    unsigned int streamType;         ///< a NubrixStreamType
    unsigned int index;              ///< counts the frames of a type; 0 unless colour or depth
    unsigned int dataSize;           ///< bytes of pixels, at least 1
    unsigned int width;              ///< pixels, at most 65535
    unsigned int height;             ///< pixels, at most 65535
    unsigned int reserved;           ///< 0
};

/// A recorded frame, seen in the file without a copy. It stays valid until it is destroyed or
/// assigned to, also after its reader has moved on, was closed or destroyed. Each frame keeps a
/// piece of the file mapped, at least 8 MiB of address space: do not hold many on a 32-bit machine.
/// Two threads may use, copy and destroy frames of one file; one frame is not thread-safe.
///
/// As with every mapped file, reading pixels that another process has cut off the file meanwhile
/// ends the process (SIGBUS): do not record over a file that is being read.
class NUBRIX_API RecordFrame {
public:
    /// No frame: data() is null.
    RecordFrame() noexcept;
    /// @{
    /// Copies share the piece of the file; the last one unmaps it.
    RecordFrame(const RecordFrame &other) noexcept;
    RecordFrame(RecordFrame &&other) noexcept;
    RecordFrame &operator=(RecordFrame other) noexcept;
    ~RecordFrame();
    /// @}

    /// The tag of the record; all 0 without a frame.
    const RecordInfo &info() const noexcept { return m_info; }
    /// info().dataSize bytes. The address is as odd as the place in the file: copy what needs to be
    /// aligned.
    const unsigned char *data() const noexcept { return m_data; }

private:
    friend class RecordReader;

    RecordInfo m_info;
    const unsigned char *m_data;
    RecordWindow *m_window;  // counted
};

/// Gives the records of one file by number, by type and by time. Records are numbered from 0 in
/// the order of the file, which is the order of arrival.
///
/// A record is complete when all its bytes are there and what follows is the end of the file or
/// another tag, perhaps cut. Others are left out: where no tag follows, the length was wrong or the
/// pixels were not written in full.
///
/// Operations that can fail return 0; -1 when the system refuses or the file has changed, -2 when
/// no file is open, -4 for a null argument or a record that does not exist. errorText then states
/// what happened. No operation throws. Not thread-safe: one thread at a time uses a reader. Any
/// number of readers may read one file, also while it is being recorded.
class NUBRIX_API RecordReader {
public:
    /// Without a file.
    RecordReader() noexcept;
    /// Closes the file. Frames stay valid.
    ~RecordReader();
    /// @{
    /// Not copied.
    RecordReader(const RecordReader &) = delete;
    RecordReader &operator=(const RecordReader &) = delete;
    /// @}

    /// Opens a file, in place of the one before, and finds its records; what is recorded later is
    /// not seen before update(). It reads the tags alone and keeps 20 bytes a record. -1 when the
    /// file cannot be opened or read, is no regular file, or has more records than there is memory
    /// for. An empty, cut or damaged file is opened: see condition().
    int open(const char *path) noexcept;
    /// Finds what was appended since the file was opened or last updated: the reader is then as if
    /// the file were opened again, but only the new bytes are read, and the last record before
    /// them. Records keep their numbers unless the new bytes show that the last one was not
    /// complete. -1 when the file cannot be read, has become shorter or has more records than there
    /// is memory for: then there may be fewer records until it succeeds.
    int update() noexcept;
    /// Closes the file. Frames stay valid.
    void close() noexcept;

    /// Complete records, of one NubrixStreamType or, for 0, of all. 0 when no file is open.
    unsigned int count(unsigned int streamType = 0) const noexcept;
    /// What the file is, beyond its complete records; NUBRIX_RECORD_COMPLETE when no file is open.
    NubrixRecordCondition condition() const noexcept;
    /// The first thing that is wrong with the file, "byte 1234: ..."; empty when it is complete.
    /// Valid until the next open, update or close.
    const char *problem() const noexcept;
    /// Bytes after the last complete record.
    unsigned long long trailingBytes() const noexcept;
    /// Bytes before the last complete record that belong to none: after a failed write the recorder
    /// goes on, so that a piece of a record may lie between complete ones. The reader looks for the
    /// next records in the 64 MiB that follow.
    unsigned long long skippedBytes() const noexcept;
    /// Whether the file begins with a header of 70 bytes. If it was written over the first records,
    /// the file is damaged and they are skipped.
    bool hasHeader() const noexcept;

    /// The number of the n-th record (from 0) of a NubrixStreamType, 0 for any.
    int find(unsigned int streamType, unsigned int n, unsigned int *record) noexcept;
    /// The number of the record of a type (0 for any) whose time is nearest; the earlier in the
    /// file if there are two. Looks at all records of that type.
    int findNearest(unsigned int streamType, unsigned long long timestampUs,
                    unsigned int *record) noexcept;

    /// Reads the tag of a record.
    int info(unsigned int record, RecordInfo *info) noexcept;
    /// Maps a record.
    int frame(unsigned int record, RecordFrame *frame) noexcept;

    /// The error message of the last operation that failed. Valid until the next operation fails.
    const char *errorText() const noexcept;

private:
    RecordIndex *m_index;    // null until a file is open
    RecordWindow *m_window;  // of the last frame; counted
    char m_errorText[256];
};

static_assert(sizeof(RecordInfo) == 40, "record information");

}  // namespace nubrix
