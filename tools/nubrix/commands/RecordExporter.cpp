#include "commands/RecordExporter.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <utility>
#include "Names.h"
#include "nubrix/client/frame.h"
#include "output/ImageEncoder.h"
#include "output/SavedFrames.h"

namespace nubrix::tool {

namespace {

constexpr float kFocalLength = 0.8125F;  // of the width, like the virtual camera

std::string baseOf(const RecordInfo &info, unsigned int number)
{
    std::string name = streamName(info.streamType);
    std::replace(name.begin(), name.end(), ' ', '-');
    char digits[16];
    std::snprintf(digits, sizeof(digits), "-%06u", number);
    return name + digits;
}

std::string millisecondsBetween(const RecordInfo &a, const RecordInfo &b)
{
    const auto [less, more] = std::minmax(a.timestampUs, b.timestampUs);
    char text[48];
    std::snprintf(text, sizeof(text), "%.3f ms", static_cast<double>(more - less) / 1000);
    return text;
}

Pinhole assumedCamera(const FrameCopy &depth)
{
    const auto width = static_cast<float>(depth.width);
    const auto height = static_cast<float>(depth.height);
    // The library takes a centre of 0 as "unknown".
    return {width * kFocalLength, width * kFocalLength, std::max((width - 1) / 2, 0.5F),
            std::max((height - 1) / 2, 0.5F)};
}

/// The colours of an image, scaled to a depth image of this size that shows the same scene.
std::vector<typedefNubrixRGBA> coloursOf(const Image &image, unsigned int width,
                                         unsigned int height)
{
    std::vector<typedefNubrixRGBA> colours;
    colours.reserve(std::size_t{width} * height);
    for (std::size_t y = 0; y < height; ++y) {
        const std::size_t row = y * image.height / height * image.width;
        for (std::size_t x = 0; x < width; ++x) {
            const std::uint8_t *const pixel =
                &image.samples[(row + x * image.width / width) * image.channels];
            const auto part = [&](unsigned int i) {
                return static_cast<float>(pixel[image.channels == 3 ? i : 0]) / 255;
            };
            colours.push_back({part(0), part(1), part(2), 1});
        }
    }
    return colours;
}

}  // namespace

void RecordExporter::DeleteContext::operator()(NubrixBaseContext *context) const
{
    context->destroy();
    deleteContext(context);
}

RecordExporter::RecordExporter(RecordReader &reader, Options options)
    : m_reader(reader), m_options(std::move(options)), m_context(ContextFactory())
{
}

std::vector<std::string> RecordExporter::write(const RecordFrame &record, unsigned int number)
{
    const RecordInfo &info = record.info();
    const std::string name = std::to_string(number);
    const std::optional<FrameCopy> image = decode(record, name);
    if (!image)
        return {};
    Paths paths;
    const std::string base = m_options.folder + '/' + baseOf(info, number);
    if (m_options.png)
        paths = saveFrame(*image, base);
    if (m_options.bmp && info.streamType == NUBRIX_STREAM_COLOR)
        writeBitmap(*image, name, base, paths);
    if (m_options.ply && info.streamType == NUBRIX_STREAM_DEPTH)
        writeCloud(*image, info, name, base, paths);
    for (std::string &path : paths)
        path = std::filesystem::path(path).filename().string();
    return paths;
}

std::optional<FrameCopy> RecordExporter::decode(const RecordFrame &record,
                                                const std::string &number)
{
    try {
        return decodeRecord(record, m_options.colourFormat);
    } catch (const std::runtime_error &error) {
        m_problems.push_back("record " + number + " (" + streamName(record.info().streamType) +
                             "): " + error.what());
        return {};
    }
}

void RecordExporter::writeBitmap(const FrameCopy &colour, const std::string &number,
                                 const std::string &base, Paths &paths)
{
    if (colour.pixelFormat == NUBRIX_PIXEL_JPEG) {
        m_problems.push_back("record " + number + ": a JPEG cannot be converted to a bitmap");
        return;
    }
    paths.push_back(base + ".bmp");
    writeBmp(paths.back(), imageOf(colour));
}

void RecordExporter::writeCloud(const FrameCopy &depth, const RecordInfo &info,
                                const std::string &number, const std::string &base, Paths &paths)
{
    std::vector<unsigned short> values(std::size_t{depth.width} * depth.height);
    std::memcpy(values.data(), depth.data.data(), values.size() * sizeof(values[0]));
    PointCloudFile cloud =
        pinholeCloud(*m_context, {values.data(), depth.width, depth.height, m_options.depthUnitMm},
                     m_options.pinhole.scale(), m_options.pinhole.over(assumedCamera(depth)));
    addColours(info, depth, number, cloud);
    paths.push_back(base + ".ply");
    writePly(paths.back(), cloud);
}

void RecordExporter::addColours(const RecordInfo &depth, const FrameCopy &image,
                                const std::string &number, PointCloudFile &cloud)
{
    unsigned int nearest = 0;
    if (m_reader.findNearest(NUBRIX_STREAM_COLOR, depth.timestampUs, &nearest) != 0)
        return;
    RecordFrame record;
    if (m_reader.frame(nearest, &record) != 0)
        throw std::runtime_error(m_reader.errorText());
    const std::string name = std::to_string(nearest);
    const std::optional<FrameCopy> colour = decode(record, name + " for the cloud of " + number);
    if (!colour)
        return;
    if (colour->pixelFormat == NUBRIX_PIXEL_JPEG) {
        m_problems.push_back("record " + number + ": a JPEG cannot colour a cloud");
        return;
    }
    cloud.colours = coloursOf(imageOf(*colour), image.width, image.height);
    cloud.comments.push_back("colours: record " + name + ", " +
                             millisecondsBetween(depth, record.info()) + " away");
}

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

std::optional<unsigned int> formatOfSize(const RecordInfo &info, const Formats &formats)
{
    const auto format = std::find_if(formats.begin(), formats.end(), [&](unsigned int each) {
        return client::imageBytes(each, info.width, info.height) == info.dataSize;
    });
    return format == formats.end() ? std::nullopt : std::optional(*format);
}

bool isJpeg(const RecordFrame &record)
{
    const unsigned char *const data = record.data();
    return record.info().streamType == NUBRIX_STREAM_COLOR && record.info().dataSize > 3 &&
           data[0] == 0xff && data[1] == 0xd8 && data[2] == 0xff;
}

[[noreturn]] void reject(const RecordInfo &info)
{
    std::string text = std::to_string(info.dataSize) + " bytes are no image of " +
                       std::to_string(info.width) + "x" + std::to_string(info.height);
    if (info.streamType == NUBRIX_STREAM_COLOR &&
        formatOfSize(info, {NUBRIX_PIXEL_YUYV, NUBRIX_PIXEL_NV21}))
        text += " without --color-format";
    throw std::runtime_error(text);
}

}  // namespace

FrameCopy decodeRecord(const RecordFrame &record, std::optional<unsigned int> colourFormat)
{
    const RecordInfo &info = record.info();
    std::optional<unsigned int> format;
    if (info.width != 0 && info.height != 0)
        format = formatOfSize(info, formatsOf(info.streamType, colourFormat));
    if (!format && isJpeg(record))
        format = NUBRIX_PIXEL_JPEG;
    if (!format)
        reject(info);
    return {*format, info.width, info.height, {record.data(), record.data() + info.dataSize}};
}

}  // namespace nubrix::tool
