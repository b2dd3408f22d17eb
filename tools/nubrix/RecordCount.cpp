#include "RecordCount.h"

#include <cmath>

#include "Failure.h"
#include "Names.h"

namespace nubrix {

namespace {

using Distances = std::map<std::uint64_t, std::uint64_t>;  // and how often each

bool hasIndex(unsigned int streamType)
{
    return streamType == NUBRIX_STREAM_COLOR || streamType == NUBRIX_STREAM_DEPTH;
}

// 0 when time stands still or goes back.
std::uint64_t microsecondsBetween(const RecordInfo &before, const RecordInfo &after)
{
    return after.timestampUs > before.timestampUs ? after.timestampUs - before.timestampUs : 0;
}

// The middle one of `count` distances in time, which a few lost frames do not change.
std::uint64_t usualDistance(const Distances &distances, std::uint64_t count)
{
    std::uint64_t passed = 0;
    for (const auto &[distance, times] : distances) {
        passed += times;
        if (passed > count / 2)
            return distance;
    }
    return 0;
}

std::uint64_t missingIn(const Distances &distances, std::uint64_t count)
{
    const auto usual = static_cast<double>(usualDistance(distances, count));
    std::uint64_t missing = 0;
    for (const auto &[distance, times] : distances) {
        const double frames = usual > 0 ? std::round(static_cast<double>(distance) / usual) : 1;
        missing += frames > 1 ? (static_cast<std::uint64_t>(frames) - 1) * times : 0;
    }
    return missing;
}

}  // namespace

void RecordCount::add(const RecordInfo &record)
{
    ++m_records;
    Stream &stream = m_streams[record.streamType];
    if (stream.records++ == 0) {
        m_order.push_back(record.streamType);
        stream.first = record;
    } else {
        stream.gaps += record.index != stream.last.index + 1 ? 1 : 0;
        ++stream.distances[microsecondsBetween(stream.last, record)];
    }
    stream.last = record;
}

void RecordCount::addNew(RecordReader &reader, const std::string &path)
{
    if (reader.count() < m_records)  // the last one was not whole after all
        *this = {};
    while (m_records < reader.count()) {
        RecordInfo info = {};
        if (reader.info(m_records, &info) != 0)
            throw Failure(path + ": " + reader.errorText());
        add(info);
    }
}

std::vector<RecordedStreamFigures> RecordCount::streams() const
{
    std::vector<RecordedStreamFigures> all;
    for (const unsigned int type : m_order)
        all.push_back(stream(type));
    return all;
}

RecordedStreamFigures RecordCount::stream(unsigned int streamType) const
{
    static const Stream kNone = {};
    const auto found = m_streams.find(streamType);
    return figuresOf(streamType, found == m_streams.end() ? kNone : found->second);
}

RecordedStreamFigures RecordCount::figuresOf(unsigned int streamType, const Stream &stream)
{
    RecordedStreamFigures figures;
    figures.streamType = streamType;
    figures.name = streamName(streamType);
    figures.records = stream.records;
    if (hasIndex(streamType))
        figures.gaps = stream.gaps;
    if (stream.records < 2)
        return figures;
    const std::uint64_t distances = stream.records - 1;
    figures.seconds = static_cast<double>(microsecondsBetween(stream.first, stream.last)) / 1e6;
    if (figures.seconds > 0)
        figures.framesPerSecond = static_cast<double>(distances) / figures.seconds;
    figures.missing = missingIn(stream.distances, distances);
    return figures;
}

}  // namespace nubrix
