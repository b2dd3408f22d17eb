#include "RecordedPicture.h"

#include <algorithm>
#include <string>

#include "Failure.h"

namespace nubrix {

namespace {

using Formats = std::vector<unsigned int>;

Formats formatsOf(unsigned int streamType, std::optional<unsigned int> colourFormat)
{
    switch (streamType) {
        case NUBRIX_STREAM_COLOR:
            if (colourFormat)
                return {*colourFormat, NUBRIX_PIXEL_RGB888, NUBRIX_PIXEL_GREY8};
            return {NUBRIX_PIXEL_RGB888, NUBRIX_PIXEL_GREY8};
        case NUBRIX_STREAM_DEPTH:
            return {NUBRIX_PIXEL_DEPTH_MM};
        default:
            return {NUBRIX_PIXEL_GREY8, NUBRIX_PIXEL_GREY16, NUBRIX_PIXEL_RGB888};
    }
}

std::optional<unsigned int> fitting(const RecordInfo &info, const Formats &formats)
{
    const auto format = std::find_if(formats.begin(), formats.end(), [&](unsigned int each) {
        return pictureBytes(each, info.width, info.height) == info.dataSize;
    });
    return format == formats.end() ? std::nullopt : std::optional(*format);
}

bool isJpeg(const RecordFrame &record)
{
    const unsigned char *const data = record.data();
    return record.info().streamType == NUBRIX_STREAM_COLOR && record.info().dataSize > 3 &&
           data[0] == 0xff && data[1] == 0xd8 && data[2] == 0xff;
}

[[noreturn]] void refuse(const RecordInfo &info)
{
    std::string text = std::to_string(info.dataSize) + " bytes are no picture of " +
                       std::to_string(info.width) + "x" + std::to_string(info.height);
    if (info.streamType == NUBRIX_STREAM_COLOR &&
        fitting(info, {NUBRIX_PIXEL_YUYV, NUBRIX_PIXEL_NV21}))
        text += " without --color-format";
    throw Failure(text);
}

}  // namespace

FrameCopy pictureOf(const RecordFrame &record, std::optional<unsigned int> colourFormat)
{
    const RecordInfo &info = record.info();
    std::optional<unsigned int> format;
    if (info.width != 0 && info.height != 0)
        format = fitting(info, formatsOf(info.streamType, colourFormat));
    if (!format && isJpeg(record))
        format = NUBRIX_PIXEL_JPEG;
    if (!format)
        refuse(info);
    return {*format, info.width, info.height, {record.data(), record.data() + info.dataSize}};
}

}  // namespace nubrix
