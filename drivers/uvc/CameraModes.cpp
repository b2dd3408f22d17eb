#include "uvc/CameraModes.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <optional>
#include <tuple>

#include "uvc/NodeFormats.h"

namespace nubrix {

namespace {

constexpr std::size_t kMostModes = 1000;  // of a stream

/// A mode of a node before the cheapest of equals is chosen.
struct Candidate {
    typedefNubrixFrameMode record;
    SourceMode source;
};

/// Larger ones first, then faster ones, then plainer ones.
auto orderOf(const typedefNubrixFrameMode &mode)
{
    return std::make_tuple(-static_cast<int>(mode.width) * mode.height, -mode.width,
                           -mode.frameRate, mode.pixelFormat);
}

void fill(StreamModes &modes, const std::vector<NodeFormat> &formats)
{
    std::vector<Candidate> candidates;
    for (const NodeFormat &format : formats) {
        if (format.format->streamType != modes.streamType)
            continue;
        for (const NodeFormat::Mode &mode : format.modes) {
            const typedefNubrixFrameMode record = {format.format->pixelFormat, mode.width,
                                                   mode.height, mode.frameRate};
            candidates.push_back({record, {format.format, mode.interval}});
        }
    }
    std::stable_sort(candidates.begin(), candidates.end(),
                     [](const Candidate &a, const Candidate &b) {
                         const auto left = orderOf(a.record);
                         const auto right = orderOf(b.record);
                         return left != right ? left < right
                                              : rankOf(*a.source.format) < rankOf(*b.source.format);
                     });
    for (const Candidate &candidate : candidates) {
        const std::size_t known = modes.find(candidate.record);
        if (known < modes.records.size()) {
            SourceMode &source = modes.sources[known];
            if (isCompressed(*candidate.source.format) && !isCompressed(*source.format) &&
                source.compressed == nullptr)
                source.compressed = candidate.source.format;
            continue;
        }
        if (modes.records.size() == kMostModes)
            continue;
        modes.records.push_back(candidate.record);
        modes.sources.push_back(candidate.source);
    }
}

/// One bit for each stream that a node could give.
unsigned int streamsOf(const std::vector<NodeFormat> &formats)
{
    unsigned int streams = 0;
    for (const NodeFormat &format : formats) {
        if (!format.modes.empty())
            streams |= format.format->streamType;
    }
    return streams;
}

}  // namespace

CameraModes readModes(const std::vector<NodeIo *> &nodes)
{
    std::vector<std::vector<NodeFormat>> formats;
    formats.reserve(nodes.size());
    for (NodeIo *node : nodes)
        formats.push_back(readFormats(*node));
    CameraModes modes = {{{{NUBRIX_STREAM_COLOR}}, {{NUBRIX_STREAM_DEPTH}}, {{NUBRIX_STREAM_IR}}}};
    for (StreamModes &stream : modes) {
        std::optional<std::size_t> best;
        int fewest = std::numeric_limits<int>::max();
        for (std::size_t i = 0; i < formats.size(); ++i) {
            const unsigned int streams = streamsOf(formats[i]);
            if ((streams & stream.streamType) != 0 && std::popcount(streams) < fewest) {
                best = i;
                fewest = std::popcount(streams);
            }
        }
        if (!best)
            continue;
        stream.node = *best;
        fill(stream, formats[*best]);
    }
    return modes;
}

}  // namespace nubrix
