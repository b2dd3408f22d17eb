#include "common/ModeTable.h"

#include <algorithm>
#include <cstdlib>
#include <tuple>

namespace nubrix {

namespace {

constexpr typedefNubrixFrameMode kPreferred = {0, 640, 480, 30};

int ratesApart(const typedefNubrixFrameMode &a, const typedefNubrixFrameMode &b)
{
    return std::abs(a.frameRate - b.frameRate);
}

int sizesApart(const typedefNubrixFrameMode &a, const typedefNubrixFrameMode &b)
{
    return std::abs(a.width - b.width) + std::abs(a.height - b.height);
}

}  // namespace

unsigned int pixelBytes(unsigned int pixelFormat)
{
    switch (pixelFormat) {
        case NUBRIX_PIXEL_RGB888:
            return 3;
        case NUBRIX_PIXEL_GREY8:
            return 1;
        default:
            return 2;
    }
}

const char *streamName(unsigned int streamType)
{
    switch (streamType) {
        case NUBRIX_STREAM_COLOR:
            return "color";
        case NUBRIX_STREAM_DEPTH:
            return "depth";
        case NUBRIX_STREAM_IR:
            return "ir";
        case NUBRIX_STREAM_LIGHT_IR:
            return "light-ir";
        default:
            return "stream";
    }
}

bool isSame(const typedefNubrixFrameMode &left, const typedefNubrixFrameMode &right)
{
    return left.pixelFormat == right.pixelFormat && left.width == right.width &&
           left.height == right.height && left.frameRate == right.frameRate;
}

std::size_t ModeTable::find(const typedefNubrixFrameMode &mode) const
{
    const auto found =
        std::find_if(records.begin(), records.end(),
                     [&](const typedefNubrixFrameMode &record) { return isSame(record, mode); });
    return static_cast<std::size_t>(found - records.begin());
}

std::size_t ModeTable::defaultMode() const
{
    typedefNubrixFrameMode preferred = kPreferred;
    preferred.pixelFormat = records.front().pixelFormat;
    return nearest(preferred);
}

std::size_t ModeTable::nearest(const typedefNubrixFrameMode &mode) const
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

std::string ModeTable::refusal(const typedefNubrixFrameMode &mode) const
{
    const auto anyRecord = [&](auto matches) {
        return std::any_of(records.begin(), records.end(), matches);
    };
    const auto format = [&](const auto &r) { return r.pixelFormat == mode.pixelFormat; };
    const auto width = [&](const auto &r) { return format(r) && r.width == mode.width; };
    const auto height = [&](const auto &r) { return width(r) && r.height == mode.height; };
    std::string field;
    if (!anyRecord(format))
        field = "pixelFormat " + std::to_string(mode.pixelFormat);
    else if (!anyRecord(width))
        field = "width " + std::to_string(mode.width);
    else if (!anyRecord(height))
        field = "height " + std::to_string(mode.height);
    else
        field = "frameRate " + std::to_string(mode.frameRate);
    const typedefNubrixFrameMode &near = records[nearest(mode)];
    return field + " is not available for " + textOf(mode) + ", the nearest mode is " +
           textOf(near) + " with pixelFormat " + std::to_string(near.pixelFormat);
}

std::string textOf(const typedefNubrixFrameMode &mode)
{
    return std::to_string(mode.width) + "x" + std::to_string(mode.height) + " at " +
           std::to_string(mode.frameRate) + " frames/s";
}

}  // namespace nubrix
