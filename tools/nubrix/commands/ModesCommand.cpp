// nubrix modes: the modes of each stream of a camera.
#include <iostream>
#include <optional>
#include <string>
#include <vector>
#include "Camera.h"
#include "ModeRequest.h"
#include "Names.h"
#include "commands/Command.h"

namespace nubrix::tool {

namespace {

Command::Json jsonOf(const typedefNubrixFrameMode &mode)
{
    return {{"width", mode.width},
            {"height", mode.height},
            {"fps", static_cast<int>(mode.frameRate)},
            {"format", pixelFormatName(mode.pixelFormat)}};
}

std::string sizeText(const typedefNubrixFrameMode &mode)
{
    return "    " + std::to_string(mode.width) + "x" + std::to_string(mode.height) + " " +
           pixelFormatName(mode.pixelFormat) + " @ ";
}

std::string textOf(const typedefNubrixFrameMode &mode)
{
    return modeText(mode) + " " + pixelFormatName(mode.pixelFormat);
}

class ModesCommand final : public Command {
public:
    explicit ModesCommand(CLI::App &parent);
    void run() override;

private:
    struct StreamModes {
        const char *name;
        std::optional<typedefNubrixFrameMode> current;
        std::vector<typedefNubrixFrameMode> supported;
    };

    static void reportJson(const std::string &uri, const std::vector<StreamModes> &streams);
    static void reportText(const std::string &uri, const std::vector<StreamModes> &streams);

    std::string m_uri;
};

ModesCommand::ModesCommand(CLI::App &parent)
    : Command(parent, "modes", "Show the supported and the current mode of each stream")
{
    addUri(m_uri);
}

void ModesCommand::run()
{
    Session session;
    Camera camera(session, m_uri);
    std::vector<StreamModes> streams;
    for (const StreamKind &kind : kStreamKinds) {
        std::vector<typedefNubrixFrameMode> supported = camera.modes(kind);
        if (!supported.empty())
            streams.push_back({kind.name, camera.currentMode(kind), std::move(supported)});
    }
    if (json())
        reportJson(camera.uri(), streams);
    else
        reportText(camera.uri(), streams);
}

void ModesCommand::reportJson(const std::string &uri, const std::vector<StreamModes> &streams)
{
    Json report = {{"uri", uri}, {"streams", Json::array()}};
    for (const StreamModes &stream : streams) {
        Json modes = Json::array();
        for (const typedefNubrixFrameMode &mode : stream.supported)
            modes.push_back(jsonOf(mode));
        report["streams"].push_back({{"type", stream.name},
                                     {"current", stream.current ? jsonOf(*stream.current) : Json()},
                                     {"supported", modes}});
    }
    printJson(report);
}

void ModesCommand::reportText(const std::string &uri, const std::vector<StreamModes> &streams)
{
    std::cout << uri << '\n';
    for (const StreamModes &stream : streams) {
        std::cout << "  " << stream.name << ", now "
                  << (stream.current ? textOf(*stream.current) : "without a mode") << '\n';
        std::string line;
        for (const typedefNubrixFrameMode &mode : stream.supported) {
            // The frame rates of one size and format share a line.
            const std::string head = sizeText(mode);
            const std::string rate = std::to_string(mode.frameRate);
            if (line.rfind(head, 0) == 0) {
                line += ", " + rate;
                continue;
            }
            std::cout << line << (line.empty() ? "" : "\n");
            line = head + rate;
        }
        std::cout << line << '\n';
    }
}

}  // namespace

std::unique_ptr<Command> makeModesCommand(CLI::App &parent)
{
    return std::make_unique<ModesCommand>(parent);
}

}  // namespace nubrix::tool
