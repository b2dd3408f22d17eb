// nubrix list: the attached cameras.
#include <unistd.h>
#include <algorithm>
#include <chrono>
#include <iostream>
#include <set>
#include <vector>
#include "Cameras.h"
#include "Names.h"
#include "StopSignal.h"
#include "commands/Command.h"
#include "doctor/LibraryChecks.h"
#include "nubrix/client/session.h"

namespace nubrix::tool {

namespace {

using Clock = std::chrono::steady_clock;

// A network camera may answer a second after the library has begun to search.
constexpr std::chrono::milliseconds kArrivalTime(1500);

class ListCommand final : public Command {
public:
    explicit ListCommand(CLI::App &parent);
    void run() override;

private:
    using Cameras = std::vector<client::CameraInfo>;
    using Plugins = std::vector<PluginState>;

    static void reportJson(const Cameras &cameras, const Plugins &plugins);
    static void reportText(const Cameras &cameras, const Plugins &plugins);
    /// Adds the cameras that arrive until `end` or Ctrl-C.
    static void reportArriving(const client::Session &session, const Plugins &plugins,
                               Clock::time_point end);
    static void reportCamera(const client::CameraInfo &camera);
    static void reportNone(const Plugins &plugins);
};

ListCommand::ListCommand(CLI::App &parent) : Command(parent, "list", "List the attached cameras")
{
    app().footer(R"(Each camera is shown with its URI, which other commands take. Without any
camera, the list shows which driver plug-ins are loaded. On a terminal it waits
a moment for network cameras that answer late.

Examples:
  nubrix list
      The attached cameras.
  nubrix list --json
      The cameras and the driver plug-ins for a program.
  nubrix --virtual list
      The virtual camera.)");
}

void ListCommand::run()
{
    const auto begin = Clock::now();
    const client::Session session;
    const Plugins plugins = pluginStates();
    const bool canArrive = std::any_of(plugins.begin(), plugins.end(),
                                       [](const PluginState &plugin) { return plugin.loaded; });
    if (json())
        reportJson(attachedCameras(session), plugins);
    else if (canArrive && isatty(STDOUT_FILENO) == 1)
        reportArriving(session, plugins, begin + kArrivalTime);
    else
        reportText(attachedCameras(session), plugins);
}

void ListCommand::reportJson(const Cameras &cameras, const Plugins &plugins)
{
    Json report = {{"cameras", Json::array()}, {"drivers", Json::array()}};
    for (const client::CameraInfo &camera : cameras) {
        report["cameras"].push_back({{"uri", camera.uri},
                                     {"serial_number", camera.serialNumber},
                                     {"product", camera.productName},
                                     {"transport", transportName(camera.transport)},
                                     {"state", deviceStateName(camera.state)},
                                     {"vendor_id", camera.vendorId},
                                     {"product_id", camera.productId},
                                     {"location", camera.location}});
    }
    for (const PluginState &plugin : plugins) {
        report["drivers"].push_back({{"name", plugin.name},
                                     {"loaded", plugin.loaded},
                                     {plugin.loaded ? "path" : "reason", plugin.detail}});
    }
    printJson(report);
}

void ListCommand::reportText(const Cameras &cameras, const Plugins &plugins)
{
    for (const client::CameraInfo &camera : cameras)
        reportCamera(camera);
    if (cameras.empty())
        reportNone(plugins);
}

void ListCommand::reportArriving(const client::Session &session, const Plugins &plugins,
                                 Clock::time_point end)
{
    const StopSignal stop;
    const auto subscription =
        session.onCamerasChanged([&stop](const std::string &, bool) { stop.wake(); });
    std::set<std::string> reported;
    for (;;) {
        for (const client::CameraInfo &camera : attachedCameras(session)) {
            if (reported.insert(camera.uri).second)
                reportCamera(camera);
        }
        std::cout.flush();
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        if (left.count() <= 0 || stop.requested())
            break;
        stop.wait(static_cast<int>(left.count()));
    }
    if (reported.empty())
        reportNone(plugins);
}

void ListCommand::reportCamera(const client::CameraInfo &camera)
{
    std::cout << camera.uri << "\n  serial number  " << camera.serialNumber << "\n  product        "
              << camera.productName << "\n  transport      " << transportName(camera.transport)
              << "\n  state          " << deviceStateName(camera.state) << '\n';
}

void ListCommand::reportNone(const Plugins &plugins)
{
    std::cout << "no camera found\n";
    for (const PluginState &plugin : plugins)
        std::cout << "  " << plugin.name << (plugin.loaded ? ": loaded from " : ": not loaded: ")
                  << plugin.detail << '\n';
}

}  // namespace

std::unique_ptr<Command> makeListCommand(CLI::App &parent)
{
    return std::make_unique<ListCommand>(parent);
}

}  // namespace nubrix::tool
