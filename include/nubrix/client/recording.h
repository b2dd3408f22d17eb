/// @file
/// Record files: their frames, by number and by time.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <utility>

#include "nubrix/client/frame.h"
#include "nubrix/record_reader.h"

namespace nubrix {
namespace client {

/// What is wrong with a record file. The frames that are complete can be read all the same.
struct Damage {
    NubrixRecordCondition condition = NUBRIX_RECORD_COMPLETE;  ///< what the file is
    std::string problem;               ///< "byte 1234: ..."; empty when nothing is wrong
    unsigned long long lostBytes = 0;  ///< between and behind the frames, of none

    /// Whether something is wrong.
    explicit operator bool() const { return condition != NUBRIX_RECORD_COMPLETE; }
};

/// A record file. Frames are numbered from 0 in the order of the file, or of their type. They have
/// memory of their own and outlive the recording. Not thread-safe; others may read, or write, the
/// same file.
///
///     for (const Frame &frame : Recording("room.bin").frames(StreamType::kDepth))
///         use(frame);
class Recording {
public:
    /// What Frame::time returns.
    using Time = std::chrono::steady_clock::time_point;

    class Iterator;
    class Frames;

    /// Opens a file. Throws an Error when the file cannot be read; one that is damaged can. The
    /// format of depths is not in the file: it is `depthFormat`.
    explicit Recording(const std::string &path,
                       NubrixPixelFormat depthFormat = NUBRIX_PIXEL_DEPTH_12_4)
        : m_file(std::make_shared<File>())
    {
        m_file->path = path;
        m_file->depthFormat = depthFormat;
        require("open", m_file->reader.open(path.c_str()));
    }

    /// The frames of one type.
    inline Frames frames(StreamType type) const;
    /// All frames.
    inline Frames frames() const;
    /// The first of all frames.
    inline Iterator begin() const;
    /// After the last of all frames.
    inline Iterator end() const;
    /// How many frames there are.
    unsigned int size() const { return m_file->reader.count(); }

    /// What is wrong with the file; converts to false when nothing is.
    Damage damage() const
    {
        const RecordReader &reader = m_file->reader;
        return {reader.condition(), reader.problem(),
                reader.skippedBytes() + reader.trailingBytes()};
    }
    /// Finds frames that were recorded since. Throws an Error when the file became shorter.
    void update() { require("update", m_file->reader.update()); }

private:
    // Shared with the iterators.
    struct File {
        std::string path;
        NubrixPixelFormat depthFormat;
        RecordReader reader;
    };

    void require(const char *operation, int status) const { require(*m_file, operation, status); }
    static void require(const File &file, const char *operation, int status)
    {
        if (status != 0) {
            detail::fail(operation, status, 0,
                         std::string(operation) + " (" + file.path +
                             "): " + file.reader.errorText() + "; check the file");
        }
    }
    static unsigned int recordOf(File &file, unsigned int type, unsigned int n)
    {
        unsigned int record = 0;
        require(file, "find", file.reader.find(type, n, &record));
        return record;
    }
    static Frame read(File &file, unsigned int type, unsigned int n)
    {
        RecordFrame frame;
        require(file, "frame", file.reader.frame(recordOf(file, type, n), &frame));
        const RecordInfo &info = frame.info();
        typedefNubrixFrame record = {};
        record.pixelFormat = formatOf(info, file.depthFormat);
        record.streamType = info.streamType;
        record.frameIndex = info.index;
        record.timestampLow = static_cast<unsigned int>(info.timestampUs);
        record.timestampHigh = static_cast<unsigned int>(info.timestampUs >> 32);
        record.width = static_cast<int>(info.width);
        record.height = static_cast<int>(info.height);
        record.dataSize = info.dataSize;
        return Frame::owned("frame", record, frame.data());
    }
    /// By the bytes of a pixel; by the type when the frame is not complete.
    static NubrixPixelFormat formatOf(const RecordInfo &info, NubrixPixelFormat depthFormat)
    {
        const auto pixels = static_cast<std::uint64_t>(info.width) * info.height;
        if (info.streamType == NUBRIX_STREAM_DEPTH)
            return depthFormat;
        if (info.dataSize == 3 * pixels)
            return NUBRIX_PIXEL_RGB888;
        if (info.dataSize == 2 * pixels)
            return NUBRIX_PIXEL_GREY16;
        if (info.dataSize == pixels || info.streamType != NUBRIX_STREAM_COLOR)
            return NUBRIX_PIXEL_GREY8;
        return NUBRIX_PIXEL_RGB888;
    }

    std::shared_ptr<File> m_file;
};

/// A place in a recording; the frame is read when it is asked for.
class Recording::Iterator {
public:
    /// @{
    /// What the standard library asks of an input iterator.
    using iterator_category = std::input_iterator_tag;
    using value_type = Frame;
    using difference_type = std::ptrdiff_t;
    using pointer = void;
    using reference = Frame;
    /// @}

    /// Of no recording; may only be assigned to.
    Iterator() = default;
    /// Reads the frame. Throws an Error when it cannot be read.
    Frame operator*() const { return read(*m_file, m_type, m_place); }
    /// @{
    /// Goes to the next frame.
    Iterator &operator++()
    {
        ++m_place;
        return *this;
    }
    void operator++(int) { ++m_place; }
    /// @}
    /// The number of the frame.
    unsigned int place() const { return m_place; }
    /// @{
    /// Compares the places of two iterators of the same frames.
    bool operator==(const Iterator &other) const { return m_place == other.m_place; }
    bool operator!=(const Iterator &other) const { return m_place != other.m_place; }
    /// @}

private:
    friend class Frames;
    Iterator(std::shared_ptr<File> file, unsigned int type, unsigned int place)
        : m_file(std::move(file)), m_type(type), m_place(place)
    {
    }

    std::shared_ptr<File> m_file;
    unsigned int m_type = 0;
    unsigned int m_place = 0;
};

/// The frames of one type, or all. Keeps the file open.
class Recording::Frames {
public:
    /// How many there are.
    unsigned int size() const { return m_file->reader.count(m_type); }
    /// Whether there is none.
    bool empty() const { return size() == 0; }
    /// The first one.
    Iterator begin() const { return {m_file, m_type, 0}; }
    /// After the last one.
    Iterator end() const { return {m_file, m_type, size()}; }
    /// Reads the n-th, from 0. Throws an Error when there are not so many.
    Frame operator[](unsigned int n) const { return read(*m_file, m_type, n); }

    /// From the n-th on; the end when there are not so many.
    Iterator seek(unsigned int n) const { return {m_file, m_type, n < size() ? n : size()}; }
    /// From the one whose time is nearest on; the end when there are none.
    Iterator seek(Time time) const
    {
        if (empty())
            return end();
        const auto us =
            std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch()).count();
        unsigned int record = 0;
        require(*m_file, "findNearest",
                m_file->reader.findNearest(m_type, us > 0 ? static_cast<unsigned long long>(us) : 0,
                                           &record));
        return {m_file, m_type, placeOf(record)};
    }
    /// When the n-th was captured, without reading it.
    Time timeOf(unsigned int n) const
    {
        RecordInfo info = {};
        require(*m_file, "info", m_file->reader.info(recordOf(*m_file, m_type, n), &info));
        return detail::timeOf(info.timestampUs);
    }

private:
    friend class Recording;
    Frames(std::shared_ptr<File> file, unsigned int type) : m_file(std::move(file)), m_type(type) {}

    /// Records of one type have rising numbers.
    unsigned int placeOf(unsigned int record) const
    {
        unsigned int low = 0;
        unsigned int high = size() - 1;
        while (low < high) {
            const unsigned int middle = low + (high - low) / 2;
            if (recordOf(*m_file, m_type, middle) < record)
                low = middle + 1;
            else
                high = middle;
        }
        return low;
    }

    std::shared_ptr<File> m_file;
    unsigned int m_type;
};

inline Recording::Frames Recording::frames(StreamType type) const
{
    return {m_file, static_cast<unsigned int>(type)};
}
inline Recording::Frames Recording::frames() const
{
    return {m_file, 0};
}
inline Recording::Iterator Recording::begin() const
{
    return frames().begin();
}
inline Recording::Iterator Recording::end() const
{
    return frames().end();
}

}  // namespace client
}  // namespace nubrix
