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

std::uint64_t missingIn(const Distances &distances, double usual)
{
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
        ++stream.open[microsecondsBetween(stream.last, record)];
    }
    stream.last = record;
    match(stream, m_seen[record.streamType]);
}

void RecordCount::note(unsigned int streamType, std::uint64_t timestampUs, std::uint32_t frameIndex)
{
    std::vector<Seen> &seen = m_seen[streamType];
    seen.push_back({timestampUs, frameIndex});
    const auto found = m_streams.find(streamType);
    if (found != m_streams.end())
        match(found->second, seen);
}

void RecordCount::forgetRecords()
{
    m_streams.clear();
    m_order.clear();
    m_records = 0;
}

// Looks for the frame of the last record.
void RecordCount::match(Stream &stream, const std::vector<Seen> &seen)
{
    while (stream.nextSeen < seen.size() &&
           seen[stream.nextSeen].timestampUs < stream.last.timestampUs)
        ++stream.nextSeen;
    if (stream.nextSeen < seen.size() &&
        seen[stream.nextSeen].timestampUs == stream.last.timestampUs)
        countTo(stream, seen[stream.nextSeen++]);
}

void RecordCount::countTo(Stream &stream, const Seen &seen)
{
    // Cameras count from 0, or from what was counted last. Those that do not count are left to the
    // guess.
    const std::uint64_t from = stream.counted ? stream.counted->index : 0;
    const std::uint64_t records = stream.records - 1 - stream.countedAt;
    const bool isKnown = stream.counted ? seen.index >= from + records : seen.index == records;
    if (isKnown)
        stream.missing += seen.index - from - records;
    else
        for (const auto &[distance, times] : stream.open)
            stream.guessed[distance] += times;
    stream.open.clear();
    stream.counted = seen;
    stream.countedAt = stream.records - 1;
}

void RecordCount::addNew(RecordReader &reader, const std::string &path)
{
    if (reader.count() < m_records)  // the last one was not whole after all
        forgetRecords();
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
    const auto usual = static_cast<double>(usualDistance(stream.distances, distances));
    figures.missing =
        stream.missing + missingIn(stream.guessed, usual) + missingIn(stream.open, usual);
    return figures;
}

}  // namespace nubrix
