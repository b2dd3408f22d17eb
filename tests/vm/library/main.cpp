// library_frames: reads frames of a camera through the library, as an application does, and
// compares each with what the software camera shows.
#include <nubrix/image.h>
#include <nubrix/nubrix.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>

#include "../camera/Picture.h"

namespace {

using nubrix::vm::Bytes;
using nubrix::vm::PictureSize;
using nubrix::vm::PixelFormat;

struct Kind {
    unsigned int streamType;
    unsigned int pixelFormat;
};

const std::map<std::string, Kind> kKinds = {
    {"depth", {NUBRIX_STREAM_DEPTH, NUBRIX_PIXEL_DEPTH_14_2}},
    {"color", {NUBRIX_STREAM_COLOR, NUBRIX_PIXEL_RGB888}},
    {"ir", {NUBRIX_STREAM_IR, NUBRIX_PIXEL_GREY8}},
};

void require(int result, const std::string &what)
{
    if (result != 0) {
        throw std::runtime_error(what + " gives " + std::to_string(result));
    }
}

// Whole millimetres become quarters; what these cannot hold was not measured.
Bytes expectedDepth(PictureSize size, unsigned int number)
{
    Bytes bytes;
    for (unsigned int y = 0; y < size.height; ++y) {
        for (unsigned int x = 0; x < size.width; ++x) {
            const unsigned int millimetres = nubrix::vm::depthAt(size, x, y, number);
            const unsigned int code = millimetres <= 16383 ? millimetres * 4 : 0;
            bytes.push_back(static_cast<std::uint8_t>(code & 0xff));
            bytes.push_back(static_cast<std::uint8_t>(code >> 8));
        }
    }
    return bytes;
}

Bytes expectedColor(PictureSize size, unsigned int number)
{
    Bytes picture = nubrix::vm::drawPicture(PixelFormat::kYuyv, size, number);
    Bytes bytes(std::size_t{size.width} * size.height * 3);
    if (!YUV422ToRGB(bytes.data(), picture.data(), size.width, size.height)) {
        throw std::runtime_error("YUV422ToRGB fails");
    }
    return bytes;
}

Bytes expected(unsigned int streamType, PictureSize size, unsigned int number)
{
    switch (streamType) {
        case NUBRIX_STREAM_DEPTH:
            return expectedDepth(size, number);
        case NUBRIX_STREAM_COLOR:
            return expectedColor(size, number);
        default:
            return nubrix::vm::drawPicture(PixelFormat::kGrey, size, number);
    }
}

// The frame must be the picture of its own index, byte for byte.
void compare(const Kind &kind, PictureSize size, const typedefNubrixFrame &frame)
{
    const std::string name = "frame " + std::to_string(frame.frameIndex);
    if (frame.pixelFormat != kind.pixelFormat || frame.streamType != kind.streamType ||
        frame.width != static_cast<int>(size.width) ||
        frame.height != static_cast<int>(size.height)) {
        throw std::runtime_error(name + " has another format or size");
    }
    const Bytes wanted = expected(kind.streamType, size, frame.frameIndex);
    if (frame.dataSize != wanted.size()) {
        throw std::runtime_error(name + " has " + std::to_string(frame.dataSize) + " bytes");
    }
    const auto *bytes = static_cast<const std::uint8_t *>(frame.data);
    for (std::size_t at = 0; at < wanted.size(); ++at) {
        if (bytes[at] != wanted[at]) {
            throw std::runtime_error(name + ": byte " + std::to_string(at) + " is " +
                                     std::to_string(bytes[at]) + ", expected " +
                                     std::to_string(wanted[at]));
        }
    }
}

void readFrames(NubrixBaseContext &context, const std::string &uri, const Kind &kind,
                PictureSize size, unsigned int count)
{
    NubrixDevice *camera = nullptr;
    require(context.openDevice(uri.empty() ? nullptr : uri.c_str(), &camera), "openDevice");
    typedefNubrixFrameMode mode = {kind.pixelFormat, static_cast<unsigned short>(size.width),
                                   static_cast<unsigned short>(size.height), 30};
    require(context.setFrameMode(camera, kind.streamType, mode), "setFrameMode");
    NubrixStream *stream = nullptr;
    require(context.openStream(camera, kind.streamType, &stream, nullptr, nullptr), "openStream");
    for (unsigned int right = 0; right < count;) {
        typedefNubrixFrame *frame = nullptr;
        require(context.readFrame(stream, &frame, 10000), "readFrame");
        if (frame->flags == 0) {
            compare(kind, size, *frame);
            ++right;
        }
        require(context.releaseFrame(frame), "releaseFrame");
    }
    require(context.closeStream(stream), "closeStream");
    require(context.closeDevice(camera), "closeDevice");
}

}  // namespace

int main(int argc, char **argv)
{
    CLI::App app("Reads frames through the library and compares them with the software camera's.");
    std::string name;
    std::string uri;
    PictureSize size = {640, 480};
    unsigned int count = 30;
    app.add_option("stream", name, "depth, color or ir")->required();
    app.add_option("--uri", uri, "Otherwise the first camera");
    app.add_option("--width", size.width)->capture_default_str();
    app.add_option("--height", size.height)->capture_default_str();
    app.add_option("--count", count, "Right frames to read")->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    NubrixBaseContext *context = ContextFactory();
    int status = 0;
    try {
        const auto kind = kKinds.find(name);
        if (kind == kKinds.end()) {
            throw std::runtime_error("no such stream");
        }
        require(context->initialize(), "initialize");
        readFrames(*context, uri, kind->second, size, count);
        std::printf("%s: %u frames are right\n", name.c_str(), count);
    } catch (const std::exception &error) {
        std::printf("%s: %s\n", name.c_str(), error.what());
        status = 1;
    }
    context->destroy();
    deleteContext(context);
    return status;
}
