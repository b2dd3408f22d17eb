#include "uvc/CameraModes.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <tuple>
#include <utility>

namespace nubrix::uvc {

namespace {

constexpr unsigned int kMaxAnswers = 256;  // to one kind of query
constexpr double kMaxRate = 127;           // frames per second that a mode record can hold
constexpr unsigned int kMaxSide = 65535;   // of the width or height
constexpr std::uint64_t kMaxPixels = 1U << 26U;
constexpr int kUnknownRate = 30;
constexpr double kRounding = 1.001;  // 333334/10000000 s stands for 30 frames/s

// What is offered when a node enumerates ranges.
constexpr std::array<std::pair<unsigned int, unsigned int>, 8> kUsualSizes = {{{160, 120},
                                                                               {320, 240},
                                                                               {640, 360},
                                                                               {640, 480},
                                                                               {848, 480},
                                                                               {1280, 720},
                                                                               {1280, 1024},
                                                                               {1920, 1080}}};
constexpr std::array<unsigned int, 6> kUsualRates = {5, 10, 15, 30, 60, 90};

struct Size {
    unsigned int width;
    unsigned int height;
};

bool isStep(unsigned int value, unsigned int least, unsigned int most, unsigned int step)
{
    return value >= least && value <= most && (step == 0 || (value - least) % step == 0);
}

void addSizesOf(const v4l2_frmsize_stepwise &range, std::vector<Size> &sizes)
{
    for (const auto &[width, height] : kUsualSizes) {
        if (isStep(width, range.min_width, range.max_width, range.step_width) &&
            isStep(height, range.min_height, range.max_height, range.step_height))
            sizes.push_back({width, height});
    }
    if (sizes.empty())
        sizes.push_back({range.max_width, range.max_height});
}

std::vector<Size> readSizes(NodeIo &node, std::uint32_t code)
{
    std::vector<Size> sizes;
    for (unsigned int i = 0; i < kMaxAnswers; ++i) {
        v4l2_frmsizeenum answer = {};
        answer.index = i;
        answer.pixel_format = code;
        if (node.control(VIDIOC_ENUM_FRAMESIZES, &answer) != 0)
            break;
        if (answer.type != V4L2_FRMSIZE_TYPE_DISCRETE) {
            addSizesOf(answer.stepwise, sizes);
            break;
        }
        sizes.push_back({answer.discrete.width, answer.discrete.height});
    }
    if (!sizes.empty())
        return sizes;
    // The node does not enumerate sizes: the size that it is set to is the only one.
    v4l2_format current = {};
    current.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    if (node.control(VIDIOC_G_FMT, &current) == 0)
        sizes.push_back({current.fmt.pix.width, current.fmt.pix.height});
    return sizes;
}

double secondsOf(const v4l2_fract &interval)
{
    return static_cast<double>(interval.numerator) / static_cast<double>(interval.denominator);
}

void addRatesOf(const v4l2_frmival_stepwise &range, std::vector<v4l2_fract> &intervals)
{
    if (range.min.denominator == 0 || range.max.denominator == 0)
        return;
    for (const unsigned int rate : kUsualRates) {
        const v4l2_fract interval = {1, rate};
        if (secondsOf(interval) * kRounding >= secondsOf(range.min) &&
            secondsOf(interval) <= secondsOf(range.max) * kRounding)
            intervals.push_back(interval);
    }
    if (intervals.empty())
        intervals.push_back(range.min);
}

std::vector<v4l2_fract> readIntervals(NodeIo &node, std::uint32_t code, Size size)
{
    std::vector<v4l2_fract> intervals;
    for (unsigned int i = 0; i < kMaxAnswers; ++i) {
        v4l2_frmivalenum answer = {};
        answer.index = i;
        answer.pixel_format = code;
        answer.width = size.width;
        answer.height = size.height;
        if (node.control(VIDIOC_ENUM_FRAMEINTERVALS, &answer) != 0)
            break;
        if (answer.type != V4L2_FRMIVAL_TYPE_DISCRETE) {
            addRatesOf(answer.stepwise, intervals);
            break;
        }
        intervals.push_back(answer.discrete);
    }
    return intervals;
}

void addModes(NodeIo &node, Size size, NodeFormat &format)
{
    if (size.width == 0 || size.height == 0 || size.width > kMaxSide || size.height > kMaxSide ||
        std::uint64_t{size.width} * size.height > kMaxPixels ||
        !isSizeAllowed(*format.format, size.width, size.height))
        return;
    const auto add = [&](signed char rate, v4l2_fract interval) {
        format.modes.push_back({static_cast<unsigned short>(size.width),
                                static_cast<unsigned short>(size.height), rate, interval});
    };
    const auto intervals = readIntervals(node, format.format->code, size);
    for (const v4l2_fract &interval : intervals) {
        if (const auto rate = rateOf(interval))
            add(*rate, interval);
    }
    if (!intervals.empty())
        return;
    v4l2_streamparm current = {};
    current.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    const bool known = node.control(VIDIOC_G_PARM, &current) == 0;
    const auto rate = known ? rateOf(current.parm.capture.timeperframe) : std::nullopt;
    add(rate.value_or(static_cast<signed char>(kUnknownRate)), {0, 0});
}

constexpr std::size_t kMaxModes = 1000;  // in one stream

/// A mode of a node, before the cheapest of equal ones is chosen.
struct Candidate {
    typedefNubrixFrameMode record;
    SourceMode source;
};

/// Larger modes first, then faster ones, then by pixel format.
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
        if (modes.records.size() == kMaxModes)
            continue;
        modes.records.push_back(candidate.record);
        modes.sources.push_back(candidate.source);
    }
}

/// One bit for each stream that a node can deliver.
unsigned int streamsOf(const std::vector<NodeFormat> &formats)
{
    unsigned int streams = 0;
    for (const NodeFormat &format : formats) {
        if (!format.modes.empty())
            streams |= format.format->streamType;
    }
    return streams;
}

int requestFormat(NodeIo &node, unsigned long request, const typedefNubrixFrameMode &mode,
                  const SourceMode &source, v4l2_pix_format &result)
{
    v4l2_format format = {};
    format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    format.fmt.pix.width = mode.width;
    format.fmt.pix.height = mode.height;
    format.fmt.pix.pixelformat = source.format->code;
    format.fmt.pix.field = V4L2_FIELD_ANY;
    const int error = node.control(request, &format);
    result = format.fmt.pix;
    return error;
}

}  // namespace

std::optional<signed char> rateOf(const v4l2_fract &interval)
{
    if (interval.numerator == 0 || interval.denominator == 0)
        return std::nullopt;
    const double rate = 1 / secondsOf(interval);
    if (rate < 0.5 || std::round(rate) > kMaxRate)
        return std::nullopt;
    return static_cast<signed char>(std::lround(rate));
}

std::optional<std::uint32_t> readCapabilities(NodeIo &node)
{
    v4l2_capability answer = {};
    if (node.control(VIDIOC_QUERYCAP, &answer) != 0)
        return std::nullopt;
    return (answer.capabilities & V4L2_CAP_DEVICE_CAPS) != 0 ? answer.device_caps
                                                             : answer.capabilities;
}

std::vector<NodeFormat> readFormats(NodeIo &node)
{
    std::vector<NodeFormat> formats;
    for (unsigned int i = 0; i < kMaxAnswers; ++i) {
        v4l2_fmtdesc answer = {};
        answer.index = i;
        answer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        if (node.control(VIDIOC_ENUM_FMT, &answer) != 0)
            break;
        const SourceFormat *known = findSourceFormat(answer.pixelformat);
        if (known == nullptr)
            continue;
        const bool repeated = std::any_of(formats.begin(), formats.end(),
                                          [&](const auto &other) { return other.format == known; });
        if (repeated)
            continue;
        NodeFormat format = {known, {}};
        for (const Size &size : readSizes(node, known->code))
            addModes(node, size, format);
        formats.push_back(std::move(format));
    }
    return formats;
}

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

int tryMode(NodeIo &node, const typedefNubrixFrameMode &mode, const SourceMode &source,
            v4l2_pix_format &result)
{
    return requestFormat(node, VIDIOC_TRY_FMT, mode, source, result);
}

int setMode(NodeIo &node, const typedefNubrixFrameMode &mode, const SourceMode &source,
            v4l2_pix_format &result, v4l2_fract &interval)
{
    if (const int error = requestFormat(node, VIDIOC_S_FMT, mode, source, result))
        return error;
    if (source.interval.denominator == 0)
        return 0;
    v4l2_streamparm rate = {};
    rate.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    rate.parm.capture.timeperframe = source.interval;
    const int error = node.control(VIDIOC_S_PARM, &rate);
    if (error == 0)
        interval = rate.parm.capture.timeperframe;
    // Some nodes enumerate rates, but cannot set one.
    return error == ENOTTY || error == EINVAL ? 0 : error;
}

bool isMode(const v4l2_pix_format &result, const typedefNubrixFrameMode &mode,
            const SourceMode &source)
{
    return result.width == mode.width && result.height == mode.height &&
           result.pixelformat == source.format->code;
}

}  // namespace nubrix::uvc
