// nubrix modes: the modes of each stream of a camera.
#include <iostream>
#include <optional>
#include <string>
#include <vector>
#include "ModeRequest.h"
#include "Names.h"
#include "commands/Command.h"
#include "nubrix/client/session.h"

namespace nubrix::tool {

namespace {

Command::Json jsonOf(const client::Mode &mode)
{
    return {{"width", mode.width},
            {"height", mode.height},
            {"fps", mode.framesPerSecond},
            {"format", pixelFormatName(mode.format)}};
}

std::string sizeText(const client::Mode &mode)
{
    return "    " + std::to_string(mode.width) + "x" + std::to_string(mode.height) + " " +
           pixelFormatName(mode.format) + " @ ";
}

std::string textOf(const client::Mode &mode)
{
    return modeText(mode) + " " + pixelFormatName(mode.format);
}

class ModesCommand final : public Command {
public:
    explicit ModesCommand(CLI::App &parent);
    void run() override;

private:
    struct StreamModes {
        const char *name;
        std::optional<client::Mode> current;
        std::vector<client::Mode> supported;
    };

    static void reportJson(const std::string &uri, const std::vector<StreamModes> &streams);
    static void reportText(const std::string &uri, const std::vector<StreamModes> &streams);

    std::string m_uri;
};

ModesCommand::ModesCommand(CLI::App &parent)
    : Command(parent, "modes", "Show the supported and the current mode of each stream")
{
    addUri(m_uri);
    app().footer(R"(A mode is a size, a pixel format and frame rates. 'nubrix stream' and 'nubrix
record' take it as --mode 640x480@30.

Examples:
  nubrix modes
      The modes of the first camera.
  nubrix modes usb:1-2 --json
      Those of one camera, for a program.)");
}

void ModesCommand::run()
{
    const client::Camera camera = client::Session().open(m_uri);
    std::vector<StreamModes> streams;
    for (const client::StreamType type : kStreamTypes) {
        std::vector<client::Mode> supported = camera.modes(type);
        if (!supported.empty())
            streams.push_back({client::name(type), camera.mode(type), std::move(supported)});
    }
    if (json())
        reportJson(camera.info().uri, streams);
    else
        reportText(camera.info().uri, streams);
}

void ModesCommand::reportJson(const std::string &uri, const std::vector<StreamModes> &streams)
{
    Json report = {{"uri", uri}, {"streams", Json::array()}};
    for (const StreamModes &stream : streams) {
        Json modes = Json::array();
        for (const client::Mode &mode : stream.supported)
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
        for (const client::Mode &mode : stream.supported) {
            // The frame rates of one size and format share a line.
            const std::string head = sizeText(mode);
            const std::string rate = std::to_string(mode.framesPerSecond);
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
