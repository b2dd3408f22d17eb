// nubrix simulate: a network camera that shows the virtual camera's room.
#include <unistd.h>
#include "Failure.h"
#include "Launcher.h"
#include "commands/Command.h"

namespace nubrix::tool {

namespace {

/// All is done by the program nubrix-simulate beside the tool, which gets the words as they are:
/// only there is a server of cameras needed.
class SimulateCommand final : public Command {
public:
    explicit SimulateCommand(CLI::App &parent);
    [[noreturn]] void run() override;
};

SimulateCommand::SimulateCommand(CLI::App &parent)
    : Command(parent, "simulate",
              "Be a 3-D network camera that shows the virtual room to any GigE Vision client")
{
    // Help and all options are those of the other program.
    app().remove_option(app().get_option("--json"));
    app().set_help_flag();
    app().fallthrough(false);
    app().prefix_command();
}

void SimulateCommand::run()
{
    const std::string program = siblingPath("nubrix-simulate");
    if (access(program.c_str(), F_OK) != 0)
        throw Failure("there is no " + program +
                      ": this tool was built without Aravis (libaravis-dev), which it needs");
    replaceProcess(program, app().remaining());
}

}  // namespace

std::unique_ptr<Command> makeSimulateCommand(CLI::App &parent)
{
    return std::make_unique<SimulateCommand>(parent);
}

}  // namespace nubrix::tool
