// Record files as tests build and check them, byte by byte and without the library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "nubrix/record_reader.h"

namespace nubrix {

constexpr std::size_t kTagBytes = 26;
constexpr std::size_t kHeaderBytes = 70;

/// What a test sends and expects back.
struct SentRecord {
    unsigned int streamType = 2;
    unsigned int index = 0;
    unsigned long long timestampUs = 0;
    std::string pixels;
    unsigned int width = 0;
    unsigned int height = 0;

    bool operator==(const SentRecord &) const = default;
    friend std::ostream &operator<<(std::ostream &out, const SentRecord &record)
    {
        return out << "type " << record.streamType << " index " << record.index << " time "
                   << record.timestampUs << ", " << record.pixels.size() << " bytes, "
                   << record.width << "x" << record.height;
    }
};

inline void appendLittle(std::string &bytes, unsigned long long value, int count)
{
    for (int i = 0; i < count; ++i)
        bytes += static_cast<char>(value >> (8 * i) & 0xff);
}

inline std::string tagOf(const SentRecord &record, unsigned long long dataSize)
{
    std::string bytes;
    appendLittle(bytes, record.streamType, 2);
    appendLittle(bytes, record.index, 4);
    appendLittle(bytes, record.timestampUs, 8);
    appendLittle(bytes, dataSize, 4);
    appendLittle(bytes, record.width, 4);
    appendLittle(bytes, record.height, 4);
    return bytes;
}

inline std::string bytesOf(const SentRecord &record)
{
    return tagOf(record, record.pixels.size()) + record.pixels;
}

inline std::string bytesOf(const std::vector<SentRecord> &records)
{
    std::string bytes;
    for (const SentRecord &record : records)
        bytes += bytesOf(record);
    return bytes;
}

struct HeaderSlot {
    unsigned int streamType = 0;
    unsigned int counter = 0;
    unsigned int format = 0;
    int frameRate = 0;
    unsigned int width = 0;
    unsigned int height = 0;
};

inline std::string headerOf(const HeaderSlot &colour, const HeaderSlot &depth)
{
    std::string bytes;
    for (const HeaderSlot &slot : {colour, depth}) {
        appendLittle(bytes, slot.streamType, 2);
        appendLittle(bytes, slot.counter, 4);
        appendLittle(bytes, slot.format, 2);
        appendLittle(bytes, static_cast<unsigned long long>(slot.frameRate), 2);
        appendLittle(bytes, slot.width, 2);
        appendLittle(bytes, slot.height, 2);
    }
    bytes.resize(kHeaderBytes);
    return bytes;
}

/// Pixels that differ from frame to frame and never look like a tag.
inline std::string patternOf(unsigned int streamType, unsigned int index, std::size_t size)
{
    std::string pixels(size, '\0');
    unsigned int state = streamType * 2654435761U + index * 40503U + 1;
    for (char &each : pixels) {
        state = state * 1664525U + 1013904223U;
        each = static_cast<char>(state >> 24 | 0x80);
    }
    return pixels;
}

/// Frames of colour, depth and light infrared in turn, of different sizes.
inline std::vector<SentRecord> someRecords(unsigned int count, std::size_t size = 30)
{
    static const unsigned int kTypes[] = {1, 2, 32};
    std::vector<SentRecord> records;
    for (unsigned int i = 0; i < count; ++i) {
        SentRecord record;
        record.streamType = kTypes[i % 3];
        record.index = record.streamType == 32 ? 0 : i / 3;
        record.timestampUs = 0x1234500000ULL + i * 10000ULL;
        record.pixels = patternOf(record.streamType, i, size + i % 5);
        record.width = 640;
        record.height = 400 + i;
        records.push_back(record);
    }
    return records;
}

/// A record as the reader gives it; without pixels when it does not.
inline SentRecord readBack(RecordReader &reader, unsigned int record)
{
    RecordFrame frame;
    if (reader.frame(record, &frame) != 0)
        return {};
    const RecordInfo &info = frame.info();
    return {info.streamType,  info.index,
            info.timestampUs, {reinterpret_cast<const char *>(frame.data()), info.dataSize},
            info.width,       info.height};
}

inline std::vector<SentRecord> readBack(RecordReader &reader)
{
    std::vector<SentRecord> records;
    for (unsigned int i = 0; i < reader.count(); ++i)
        records.push_back(readBack(reader, i));
    return records;
}

}  // namespace nubrix
