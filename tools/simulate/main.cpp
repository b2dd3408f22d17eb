// nubrix-simulate: a GigE Vision server that shows the virtual room until it is stopped.
#include <CLI/CLI.hpp>
#include <iostream>
#include <limits>

#include "CameraPort.h"
#include "Description.h"
#include "RoomCamera.h"
#include "SimulatedCamera.h"
#include "StopSignal.h"

namespace nubrix::simulate {
namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUse = 2;

struct Options {
    bool depth = false;
    bool color = false;
    bool ir = false;
    bool describe = false;
    std::string address = "127.0.0.1";
    std::string serial = "SIM1";
    std::string mode = "640x480@30";
};

std::vector<std::string> componentsOf(const Options &options)
{
    if (!options.depth && !options.color && !options.ir)
        return {"depth", "color"};
    std::vector<std::string> components;
    if (options.depth)
        components.emplace_back("depth");
    if (options.color)
        components.emplace_back("color");
    if (options.ir)
        components.emplace_back("ir");
    return components;
}

void serve(const Options &options)
{
    const tool::StopSignal stop;
    RoomCamera room(componentsOf(options), *tool::parseMode(options.mode));
    requireCameraPort(options.address);
    simulator::SimulatedCameraSettings settings = room.settings();
    settings.address = options.address;
    settings.serial = options.serial;
    const simulator::SimulatedCamera camera(
        settings, [&room](std::uint32_t format, std::uint32_t frame, void *data, unsigned int,
                          unsigned int) { room.fill(format, frame, data); });
    std::cout << settings.serial << " serves " << room.summary() << " on " << settings.address
              << ", port " << kCameraPort << "; Ctrl-C ends it" << std::endl;
    while (!stop.requested())
        stop.wait(std::numeric_limits<int>::max());
}

void addOptions(CLI::App &app, Options &options)
{
    app.add_flag("--depth", options.depth, "Depth, as Coord3D_C16");
    app.add_flag("--color", options.color, "Colour, as RGB8");
    app.add_flag("--ir", options.ir, "Infrared, as Mono8");
    app.add_option("--address", options.address, "An address of this machine")
        ->check(CLI::Validator(CLI::ValidIPV4).description(""))
        ->type_name("ADDRESS")
        ->capture_default_str();
    app.add_option("--serial", options.serial, "Its serial number, 1 to 15 characters")
        ->check([](const std::string &text) {
            return text.empty() || text.size() > 15 ? "it has 1 to 15 characters" : "";
        })
        ->type_name("NAME")
        ->capture_default_str();
    app.add_option("--mode", options.mode, "Size and frame rate, of all alike")
        ->check([](const std::string &text) {
            return tool::parseMode(text) ? ""
                                         : "'" + text + "' is not a mode; write it as 640x480@30";
        })
        ->type_name("WxH@FPS")
        ->capture_default_str();
    tool::addDescribeFlag(app, options.describe);
    app.footer(R"(Each of depth, color and ir is one of the camera's pixel formats; a client gets
the one that it sets. Without --depth, --color and --ir it has depth and
colour. It runs until Ctrl-C.

Exit status: 0 ended by Ctrl-C, 1 failed, 2 wrong use.

Examples:
  nubrix simulate
      A camera at 127.0.0.1, for programs on this machine.
  nubrix simulate --depth --mode 320x240@15 --serial LEFT
      Depth alone in a small mode, under a name.)");
}

int run(int argc, char **argv)
{
    CLI::App app(
        "Simulate a 3-D network camera that shows the virtual room to any GigE Vision client",
        "nubrix simulate");
    app.failure_message(CLI::FailureMessage::simple);
    Options options;
    addOptions(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? kDone : kWrongUse;
    }
    if (options.describe)
        std::cout << tool::describe(app).dump(2) << std::endl;
    else
        serve(options);
    return kDone;
}

}  // namespace
}  // namespace nubrix::simulate

int main(int argc, char **argv)
{
    try {
        return nubrix::simulate::run(argc, argv);
    } catch (const std::exception &exception) {
        std::cerr << "nubrix simulate: " << exception.what() << '\n';
        return nubrix::simulate::kFailed;
    }
}
