// library_frames: reads frames of cameras through the library, as an application does, and compares
// each with what the software camera shows.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include "Expected.h"
#include "FrameWait.h"

namespace {

using nubrix::vm::FrameSize;
using nubrix::vm::Kind;

struct Options {
    std::vector<std::string> streams;
    std::vector<std::string> uris;
    std::string formats = "usual";
    FrameSize size = {640, 480};
    int rate = 30;
    unsigned int count = 30;
};

struct Reading {
    std::string name;
    Kind kind;
    NubrixStream *stream;
    unsigned int right;
};

void require(int result, const std::string &what)
{
    if (result != 0) {
        throw std::runtime_error(what + " gives " + std::to_string(result));
    }
}

void openStreams(NubrixBaseContext &context, const std::string &uri, const Options &options,
                 std::vector<Reading> &readings)
{
    NubrixDevice *camera = nullptr;
    require(context.openDevice(uri.empty() ? nullptr : uri.c_str(), &camera), "openDevice " + uri);
    for (const std::string &name : options.streams) {
        Reading reading = {uri + " " + name, nubrix::vm::kindOf(name, options.formats), nullptr, 0};
        typedefNubrixFrameMode mode = {reading.kind.pixelFormat,
                                       static_cast<unsigned short>(options.size.width),
                                       static_cast<unsigned short>(options.size.height),
                                       static_cast<signed char>(options.rate)};
        require(context.setFrameMode(camera, reading.kind.streamType, mode), "setFrameMode");
        require(
            context.openStream(camera, reading.kind.streamType, &reading.stream, nullptr, nullptr),
            "openStream");
        readings.push_back(reading);
    }
}

// Frames in turn, so that all streams go on until each has given enough.
void readFrames(NubrixBaseContext &context, const Options &options, std::vector<Reading> &readings)
{
    for (unsigned int round = 0; round < options.count; ++round) {
        for (Reading &reading : readings) {
            typedefNubrixFrame *frame = nullptr;
            require(nubrix::vm::awaitFrame(context, reading.stream, &frame),
                    reading.name + ": readFrame");
            std::string wrong = nubrix::vm::difference(reading.kind, options.size, *frame);
            if (frame->flags != 0) {
                wrong = "flags " + std::to_string(frame->flags);
            }
            require(context.releaseFrame(frame), "releaseFrame");
            if (!wrong.empty()) {
                throw std::runtime_error(reading.name + ": " + wrong);
            }
            ++reading.right;
        }
    }
}

void run(NubrixBaseContext &context, const Options &options)
{
    require(context.initialize(), "initialize");
    std::vector<Reading> readings;
    for (const std::string &uri : options.uris) {
        openStreams(context, uri, options, readings);
    }
    readFrames(context, options, readings);
    for (const Reading &reading : readings) {
        require(context.closeStream(reading.stream), "closeStream");
        std::printf("%s: %u frames are right\n", reading.name.c_str(), reading.right);
    }
}

}  // namespace

int main(int argc, char **argv)
{
    CLI::App app("Reads frames through the library and compares them with the software camera's.");
    Options options;
    app.add_option("streams", options.streams, "depth, color, ir")->required();
    app.add_option("--uri", options.uris, "Otherwise the first camera")->allow_extra_args(false);
    app.add_option("--formats", options.formats, "As the camera was configured");
    app.add_option("--width", options.size.width)->capture_default_str();
    app.add_option("--height", options.size.height)->capture_default_str();
    app.add_option("--rate", options.rate)->capture_default_str();
    app.add_option("--count", options.count, "Frames of each stream")->capture_default_str();
    CLI11_PARSE(app, argc, argv);
    if (options.uris.empty()) {
        options.uris.emplace_back();
    }
    NubrixBaseContext *context = ContextFactory();
    int status = 0;
    try {
        run(*context, options);
    } catch (const std::exception &error) {
        std::printf("%s\n", error.what());
        status = 1;
    }
    context->destroy();
    deleteContext(context);
    return status;
}
