// nubrix list: the attached cameras.
#include <iostream>
#include <vector>
#include "Cameras.h"
#include "Names.h"
#include "commands/Command.h"
#include "doctor/LibraryChecks.h"
#include "nubrix/client/session.h"

namespace nubrix::tool {

namespace {

class ListCommand final : public Command {
public:
    explicit ListCommand(CLI::App &parent);
    void run() override;

private:
    using Cameras = std::vector<client::CameraInfo>;
    using Plugins = std::vector<PluginState>;

    static void reportJson(const Cameras &cameras, const Plugins &plugins);
    static void reportText(const Cameras &cameras, const Plugins &plugins);
};

ListCommand::ListCommand(CLI::App &parent)
    : Command(parent, "list",
              "List the attached cameras; without any, show which driver plug-ins are loaded")
{
}

void ListCommand::run()
{
    const client::Session session;
    const Cameras cameras = attachedCameras(session);
    const Plugins plugins = pluginStates();
    if (json())
        reportJson(cameras, plugins);
    else
        reportText(cameras, plugins);
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
    for (const client::CameraInfo &camera : cameras) {
        std::cout << camera.uri << "\n  serial number  " << camera.serialNumber
                  << "\n  product        " << camera.productName << "\n  transport      "
                  << transportName(camera.transport) << "\n  state          "
                  << deviceStateName(camera.state) << '\n';
    }
    if (!cameras.empty())
        return;
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
