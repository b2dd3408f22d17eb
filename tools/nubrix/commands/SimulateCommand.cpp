// nubrix simulate: a simulated network camera that shows the scene of the virtual camera.
#include <unistd.h>
#include <stdexcept>
#include "Launcher.h"
#include "commands/Command.h"

namespace nubrix::tool {

namespace {

/// Runs the program nubrix-simulate with unchanged arguments, because only that program needs the
/// libraries of a camera server.
class SimulateCommand final : public Command {
public:
    explicit SimulateCommand(CLI::App &parent);
    [[noreturn]] void run() override;
};

SimulateCommand::SimulateCommand(CLI::App &parent)
    : Command(parent, "simulate",
              "Simulate a 3-D network camera that shows the virtual room to any GigE Vision client")
{
    // The other program handles --help and all options.
    app().remove_option(app().get_option("--json"));
    app().set_help_flag();
    app().fallthrough(false);
    app().prefix_command();
}

void SimulateCommand::run()
{
    const std::string program = siblingPath("nubrix-simulate");
    if (access(program.c_str(), F_OK) != 0) {
        throw std::runtime_error(
            "there is no " + program +
            ": this tool was built without Aravis (libaravis-dev), which it needs");
    }
    replaceProcess(program, app().remaining());
}

}  // namespace

std::unique_ptr<Command> makeSimulateCommand(CLI::App &parent)
{
    return std::make_unique<SimulateCommand>(parent);
}

}  // namespace nubrix::tool
