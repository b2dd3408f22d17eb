#include "uvc/CameraModes.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <limits>
#include <optional>
#include <tuple>

#include "uvc/NodeFormats.h"

namespace nubrix {

namespace {

constexpr typedefNubrixFrameMode kPreferred = {0, 640, 480, 30};
constexpr std::size_t kMostModes = 1000;  // of a stream

int ratesApart(const typedefNubrixFrameMode &a, const typedefNubrixFrameMode &b)
{
    return std::abs(a.frameRate - b.frameRate);
}

int sizesApart(const typedefNubrixFrameMode &a, const typedefNubrixFrameMode &b)
{
    return std::abs(a.width - b.width) + std::abs(a.height - b.height);
}

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
        if (modes.records.size() == kMostModes)
            break;
        if (modes.find(candidate.record) < modes.records.size())
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

std::size_t StreamModes::find(const typedefNubrixFrameMode &mode) const
{
    const auto found =
        std::find_if(records.begin(), records.end(), [&](const typedefNubrixFrameMode &record) {
            return record.pixelFormat == mode.pixelFormat && record.width == mode.width &&
                   record.height == mode.height && record.frameRate == mode.frameRate;
        });
    return static_cast<std::size_t>(found - records.begin());
}

std::size_t StreamModes::defaultMode() const
{
    typedefNubrixFrameMode preferred = kPreferred;
    preferred.pixelFormat = records.front().pixelFormat;
    return nearest(preferred);
}

std::size_t StreamModes::nearest(const typedefNubrixFrameMode &mode) const
{
    const auto distance = [&](const typedefNubrixFrameMode &record) {
        return std::make_tuple(record.pixelFormat != mode.pixelFormat, sizesApart(record, mode),
                               ratesApart(record, mode));
    };
    const auto found =
        std::min_element(records.begin(), records.end(),
                         [&](const auto &a, const auto &b) { return distance(a) < distance(b); });
    return static_cast<std::size_t>(found - records.begin());
}

std::string StreamModes::refusal(const typedefNubrixFrameMode &mode) const
{
    const auto some = [&](auto matches) {
        return std::any_of(records.begin(), records.end(), matches);
    };
    const auto format = [&](const auto &r) { return r.pixelFormat == mode.pixelFormat; };
    const auto width = [&](const auto &r) { return format(r) && r.width == mode.width; };
    const auto height = [&](const auto &r) { return width(r) && r.height == mode.height; };
    std::string field;
    if (!some(format))
        field = "pixelFormat " + std::to_string(mode.pixelFormat);
    else if (!some(width))
        field = "width " + std::to_string(mode.width);
    else if (!some(height))
        field = "height " + std::to_string(mode.height);
    else
        field = "frameRate " + std::to_string(mode.frameRate);
    const typedefNubrixFrameMode &near = records[nearest(mode)];
    return field + " cannot be had for " + textOf(mode) + ", the nearest mode is " + textOf(near) +
           " with pixelFormat " + std::to_string(near.pixelFormat);
}

CameraModes readModes(const std::vector<NodeIo *> &nodes)
{
    std::vector<std::vector<NodeFormat>> formats;
    formats.reserve(nodes.size());
    for (NodeIo *node : nodes)
        formats.push_back(readFormats(*node));
    CameraModes modes = {{{NUBRIX_STREAM_COLOR}, {NUBRIX_STREAM_DEPTH}, {NUBRIX_STREAM_IR}}};
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

std::string textOf(const typedefNubrixFrameMode &mode)
{
    return std::to_string(mode.width) + "x" + std::to_string(mode.height) + " at " +
           std::to_string(mode.frameRate) + " frames/s";
}

}  // namespace nubrix
