#include "SimulateCommand.h"

#include <unistd.h>

#include "Failure.h"
#include "SiblingProgram.h"

namespace nubrix {

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
    becomeProgram(program, app().remaining());
}

}  // namespace nubrix
