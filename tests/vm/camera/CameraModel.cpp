#include "CameraModel.h"

#include <initializer_list>
#include <map>
#include <utility>

namespace nubrix::vm {

namespace {

// Classes, subclasses and types of the USB and the UVC standards.
constexpr unsigned int kDeviceType = 1;
constexpr unsigned int kConfigurationType = 2;
constexpr unsigned int kStringType = 3;
constexpr unsigned int kInterfaceType = 4;
constexpr unsigned int kEndpointType = 5;
constexpr unsigned int kAssociationType = 11;
constexpr unsigned int kClassInterfaceType = 0x24;
constexpr unsigned int kVideoClass = 0x0e;
constexpr unsigned int kCameraTerminal = 0x0201;
constexpr unsigned int kStreamingTerminal = 0x0101;
constexpr unsigned int kClockHz = 48000000;

// Entities of the control interface: a camera and an output of each stream, and two units between.
constexpr unsigned int kCameras[] = {1, 4, 7};
constexpr unsigned int kOutputs[] = {3, 6, 8};
constexpr unsigned int kSources[] = {kExtensionUnit, kProcessingUnit, 7};

void append(Bytes &bytes, std::initializer_list<unsigned int> values)
{
    for (const unsigned int value : values) {
        bytes.push_back(static_cast<std::uint8_t>(value));
    }
}

void appendAll(Bytes &bytes, const Bytes &more)
{
    bytes.insert(bytes.end(), more.begin(), more.end());
}

const char *lettersOf(PixelFormat format)
{
    switch (format) {
        case PixelFormat::kUyvy:
            return "UYVY";
        case PixelFormat::kNv12:
            return "NV12";
        case PixelFormat::kGrey:
            return "Y800";
        case PixelFormat::kGrey10:
            return "Y10 ";
        case PixelFormat::kGrey16:
            return "Y16 ";
        default:
            return "YUY2";
    }
}

// The identifier of an uncompressed format: four letters and a fixed tail, but for depth.
void appendFormatIdentifier(Bytes &bytes, PixelFormat format)
{
    if (format == PixelFormat::kDepth16) {
        append(bytes, {'I', 'N', 'V', 'Z', 0x90, 0x2d, 0x58, 0x4a});
        append(bytes, {0x92, 0x0b, 0x77, 0x3f, 0x1f, 0x2c, 0x55, 0x6b});
        return;
    }
    for (const char *letter = lettersOf(format); *letter; ++letter) {
        bytes.push_back(static_cast<std::uint8_t>(*letter));
    }
    append(bytes, {0, 0, 0x10, 0, 0x80, 0, 0, 0xaa, 0, 0x38, 0x9b, 0x71});
}

unsigned int bitsPerPixel(PixelFormat format)
{
    return format == PixelFormat::kGrey ? 8 : format == PixelFormat::kNv12 ? 12 : 16;
}

Bytes extensionUnit()
{
    Bytes unit;
    append(unit, {26, kClassInterfaceType, 6, kExtensionUnit});
    append(unit, {0x4e, 0x55, 0x42, 0x52, 0x49, 0x58, 0x10, 0x40});
    append(unit, {0x80, 0x01, 0x53, 0x4f, 0x46, 0x54, 0x43, 0x41});
    append(unit, {2, 1, kCameras[0], 1, 0x03, 0});  // two controls: the first two selectors
    return unit;
}

Bytes entities(std::size_t streams)
{
    Bytes all;
    for (std::size_t stream = 0; stream < streams; ++stream) {
        append(all, {18, kClassInterfaceType, 2, kCameras[stream]});
        append16(all, kCameraTerminal);
        append(all, {0, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0});
        append(all, {9, kClassInterfaceType, 3, kOutputs[stream]});
        append16(all, kStreamingTerminal);
        append(all, {0, kSources[stream], 0});
    }
    appendAll(all, extensionUnit());
    // Its one control is the brightness.
    append(all, {12, kClassInterfaceType, 5, kProcessingUnit, kCameras[1], 0, 0, 2, 1, 0, 0, 0});
    return all;
}

void appendControlInterface(Bytes &bytes, unsigned int streams)
{
    append(bytes, {9, kInterfaceType, 0, 0, 0, kVideoClass, 1, 0, 2});
    const Bytes units = entities(streams);
    append(bytes, {12 + streams, kClassInterfaceType, 1});
    append16(bytes, 0x0110);
    append16(bytes, 12 + streams + static_cast<unsigned int>(units.size()));
    append32(bytes, kClockHz);
    append(bytes, {streams});
    for (unsigned int stream = 1; stream <= streams; ++stream) {
        append(bytes, {stream});
    }
    appendAll(bytes, units);
}

void appendSizes(Bytes &bytes, PixelFormat format)
{
    const unsigned int subtype = format == PixelFormat::kMotionJpeg ? 7 : 5;
    for (unsigned int index = 0; index < kSizes.size(); ++index) {
        const auto most = static_cast<unsigned int>(maxFrameBytes(format, kSizes[index]));
        append(bytes, {26 + 4 * unsigned{kIntervals.size()}, kClassInterfaceType, subtype});
        append(bytes, {index + 1, 0});
        append16(bytes, kSizes[index].width);
        append16(bytes, kSizes[index].height);
        append32(bytes, most * 8 * 15);
        append32(bytes, most * 8 * 30);
        append32(bytes, most);
        append32(bytes, kIntervals[0]);
        append(bytes, {unsigned{kIntervals.size()}});
        for (const unsigned int interval : kIntervals) {
            append32(bytes, interval);
        }
    }
    append(bytes, {6, kClassInterfaceType, 13, 1, 1, 4});
}

Bytes formatDescriptors(const StreamModel &model)
{
    Bytes all;
    unsigned int index = 0;
    for (const PixelFormat format : model.formats) {
        ++index;
        if (format == PixelFormat::kMotionJpeg) {
            append(all, {11, kClassInterfaceType, 6, index, kSizes.size(), 0, 1, 0, 0, 0, 0});
        } else {
            append(all, {27, kClassInterfaceType, 4, index, kSizes.size()});
            appendFormatIdentifier(all, format);
            append(all, {bitsPerPixel(format), 1, 0, 0, 0, 0});
        }
        appendSizes(all, format);
    }
    return all;
}

void appendStreamingInterface(Bytes &bytes, const StreamModel &model, unsigned int number,
                              bool isochronous)
{
    const auto count = static_cast<unsigned int>(model.formats.size());
    const unsigned int endpoint = 0x80 | number;
    append(bytes, {9, kInterfaceType, number, 0, isochronous ? 0U : 1U, kVideoClass, 2, 0, 0});
    const Bytes formats = formatDescriptors(model);
    append(bytes, {13 + count, kClassInterfaceType, 1, count});
    append16(bytes, 13 + count + static_cast<unsigned int>(formats.size()));
    append(bytes, {endpoint, 0, kOutputs[number - 1], 0, 0, 0, 1});
    bytes.insert(bytes.end(), count, 0);
    appendAll(bytes, formats);
    if (isochronous) {
        append(bytes, {9, kInterfaceType, number, 1, 1, kVideoClass, 2, 0, 0});
        append(bytes, {7, kEndpointType, endpoint, 5});
        append16(bytes, 2 << 11 | 1024);  // three packets of 1024 bytes a microframe
    } else {
        append(bytes, {7, kEndpointType, endpoint, 2});
        append16(bytes, 512);
    }
    append(bytes, {1});
}

}  // namespace

const std::vector<StreamModel> &streamModels(const std::string &formats)
{
    using Models = std::vector<StreamModel>;
    const auto three = [](std::vector<PixelFormat> color, PixelFormat infrared) {
        return Models{
            {"depth", {PixelFormat::kDepth16}}, {"color", std::move(color)}, {"ir", {infrared}}};
    };
    static const std::map<std::string, Models> sets = {
        {"usual", three({PixelFormat::kYuyv, PixelFormat::kMotionJpeg}, PixelFormat::kGrey)},
        {"packed", three({PixelFormat::kUyvy}, PixelFormat::kGrey16)},
        {"planar", three({PixelFormat::kNv12}, PixelFormat::kGrey10)},
        {"jpeg", three({PixelFormat::kMotionJpeg}, PixelFormat::kGrey)},
    };
    return sets.at(formats);
}

Bytes deviceDescriptor()
{
    Bytes bytes;
    append(bytes, {18, kDeviceType});
    append16(bytes, 0x0200);
    append(bytes, {0xef, 2, 1, 64});
    append16(bytes, 0x1209);
    append16(bytes, 0x0001);
    append16(bytes, 0x0123);  // release 1.23
    append(bytes, {1, 2, 3, 1});
    return bytes;
}

Bytes configurationDescriptor(const std::vector<StreamModel> &models, bool isochronous)
{
    const auto streams = static_cast<unsigned int>(models.size());
    Bytes rest;
    append(rest, {8, kAssociationType, 0, streams + 1, kVideoClass, 3, 0, 2});
    appendControlInterface(rest, streams);
    for (unsigned int stream = 1; stream <= streams; ++stream) {
        appendStreamingInterface(rest, models[stream - 1], stream, isochronous);
    }
    Bytes bytes;
    append(bytes, {9, kConfigurationType});
    append16(bytes, 9 + static_cast<unsigned int>(rest.size()));
    append(bytes, {streams + 1, 1, 0, 0x80, 50});
    appendAll(bytes, rest);
    return bytes;
}

Bytes stringDescriptor(unsigned int index, const std::string &serial)
{
    Bytes bytes;
    if (index == 0) {
        append(bytes, {4, kStringType, 9, 4});
        return bytes;
    }
    if (index > 3) {
        return bytes;
    }
    const std::string text = index == 1   ? "Nubrix tests"
                             : index == 2 ? "Software Depth Camera"
                                          : serial;
    append(bytes, {2 + 2 * static_cast<unsigned int>(text.size()), kStringType});
    for (const char letter : text) {
        append16(bytes, static_cast<unsigned char>(letter));
    }
    return bytes;
}

void append16(Bytes &bytes, unsigned int value)
{
    append(bytes, {value & 0xff, value >> 8 & 0xff});
}

void append32(Bytes &bytes, unsigned int value)
{
    append16(bytes, value & 0xffff);
    append16(bytes, value >> 16);
}

}  // namespace nubrix::vm
