#include "commands/RecordStatistics.h"

#include <cmath>
#include <stdexcept>

#include "Names.h"

namespace nubrix::tool {

namespace {

using Intervals = std::map<std::uint64_t, std::uint64_t>;

bool hasIndex(unsigned int streamType)
{
    return streamType == NUBRIX_STREAM_COLOR || streamType == NUBRIX_STREAM_DEPTH;
}

// 0 when the time stamp does not increase.
std::uint64_t microsecondsBetween(const RecordInfo &before, const RecordInfo &after)
{
    return after.timestampUs > before.timestampUs ? after.timestampUs - before.timestampUs : 0;
}

// The median, because a few lost frames do not change it.
std::uint64_t medianInterval(const Intervals &intervals, std::uint64_t count)
{
    std::uint64_t passed = 0;
    for (const auto &[interval, times] : intervals) {
        passed += times;
        if (passed > count / 2)
            return interval;
    }
    return 0;
}

std::uint64_t estimateMissing(const Intervals &intervals, double median)
{
    std::uint64_t missing = 0;
    for (const auto &[interval, times] : intervals) {
        const double frames = median > 0 ? std::round(static_cast<double>(interval) / median) : 1;
        missing += frames > 1 ? (static_cast<std::uint64_t>(frames) - 1) * times : 0;
    }
    return missing;
}

}  // namespace

void RecordStatistics::add(const RecordInfo &record)
{
    ++m_records;
    Stream &stream = m_streams[record.streamType];
    if (stream.records++ == 0) {
        m_order.push_back(record.streamType);
        stream.first = record;
    } else {
        stream.gaps += record.index != stream.last.index + 1 ? 1 : 0;
        ++stream.intervals[microsecondsBetween(stream.last, record)];
        ++stream.afterMatch[microsecondsBetween(stream.last, record)];
    }
    stream.last = record;
    match(stream, m_seen[record.streamType]);
}

void RecordStatistics::addNewRecords(RecordReader &reader, const std::string &path)
{
    if (reader.count() < m_records)  // the last one turned out to be incomplete
        clearRecords();
    while (m_records < reader.count()) {
        RecordInfo info = {};
        if (reader.info(m_records, &info) != 0)
            throw std::runtime_error(path + ": " + reader.errorText());
        add(info);
    }
}

void RecordStatistics::addSeenFrame(unsigned int streamType, std::uint64_t timestampUs,
                                    std::uint32_t frameIndex)
{
    std::vector<SeenFrame> &seen = m_seen[streamType];
    const auto found = m_streams.find(streamType);
    Stream unrecorded = {};
    Stream &stream = found == m_streams.end() ? unrecorded : found->second;
    if (seen.size() == kMaxSeenFrames)
        thinOut(seen, stream);
    seen.push_back({timestampUs, frameIndex});
    if (stream.records != 0)
        match(stream, seen);
}

void RecordStatistics::clearRecords()
{
    m_streams.clear();
    m_order.clear();
    m_records = 0;
}

std::size_t RecordStatistics::seenFrames(unsigned int streamType) const
{
    const auto found = m_seen.find(streamType);
    return found == m_seen.end() ? 0 : found->second.size();
}

// Removes every other frame between the first and the last. The count of missing frames stays
// exact: between two seen frames it needs their frame indexes and the number of records only.
void RecordStatistics::thinOut(std::vector<SeenFrame> &seen, Stream &stream)
{
    std::size_t kept = 1;
    for (std::size_t i = 1; i < seen.size(); i += 2)
        seen[kept++] = seen[i];
    seen.resize(kept);
    if (stream.nextSeen != 0)
        stream.nextSeen = 1 + stream.nextSeen / 2;
}

// Looks for the frame of the last record.
void RecordStatistics::match(Stream &stream, const std::vector<SeenFrame> &seen)
{
    while (stream.nextSeen < seen.size() &&
           seen[stream.nextSeen].timestampUs < stream.last.timestampUs)
        ++stream.nextSeen;
    if (stream.nextSeen < seen.size() &&
        seen[stream.nextSeen].timestampUs == stream.last.timestampUs)
        countUpTo(stream, seen[stream.nextSeen++]);
}

void RecordStatistics::countUpTo(Stream &stream, const SeenFrame &seen)
{
    // The frame index starts at 0 or follows the last match. Of cameras without one, the missing
    // frames are estimated.
    const std::uint64_t from = stream.matched ? stream.matched->index : 0;
    const std::uint64_t records = stream.records - 1 - stream.recordsBefore;
    const bool isKnown = stream.matched ? seen.index >= from + records : seen.index == records;
    if (isKnown)
        stream.missing += seen.index - from - records;
    else
        for (const auto &[interval, times] : stream.afterMatch)
            stream.estimated[interval] += times;
    stream.afterMatch.clear();
    stream.matched = seen;
    stream.recordsBefore = stream.records - 1;
}

std::vector<RecordedStreamFigures> RecordStatistics::streams() const
{
    std::vector<RecordedStreamFigures> all;
    for (const unsigned int type : m_order)
        all.push_back(stream(type));
    return all;
}

RecordedStreamFigures RecordStatistics::stream(unsigned int streamType) const
{
    static const Stream kNone = {};
    const auto found = m_streams.find(streamType);
    return figuresOf(streamType, found == m_streams.end() ? kNone : found->second);
}

RecordedStreamFigures RecordStatistics::figuresOf(unsigned int streamType, const Stream &stream)
{
    RecordedStreamFigures figures;
    figures.streamType = streamType;
    figures.name = streamName(streamType);
    figures.records = stream.records;
    if (hasIndex(streamType))
        figures.gaps = stream.gaps;
    if (stream.records < 2)
        return figures;
    const std::uint64_t intervals = stream.records - 1;
    figures.seconds = static_cast<double>(microsecondsBetween(stream.first, stream.last)) / 1e6;
    if (figures.seconds > 0)
        figures.framesPerSecond = static_cast<double>(intervals) / figures.seconds;
    const auto median = static_cast<double>(medianInterval(stream.intervals, intervals));
    figures.missing = stream.missing + estimateMissing(stream.estimated, median) +
                      estimateMissing(stream.afterMatch, median);
    return figures;
}

}  // namespace nubrix::tool
