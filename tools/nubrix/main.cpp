// The command line of the tool: which command, and the exit status: 0 done, 1 failed, 2 wrong use.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <vector>

#include "ChecksumCommand.h"
#include "CloudCommand.h"
#include "ConvertCommand.h"
#include "DoctorCommand.h"
#include "ExportCommand.h"
#include "Failure.h"
#include "InspectCommand.h"
#include "ListCommand.h"
#include "ModesCommand.h"
#include "PhotoCommand.h"
#include "PropsCommand.h"
#include "RecordCommand.h"
#include "RepairCommand.h"
#include "SimulateCommand.h"
#include "StreamCommand.h"
#include "UpgradeCommand.h"
#include "VirtualLauncher.h"

namespace {

using namespace nubrix;

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUse = 2;

/// The library's log: silent unless it is asked for, or the user has set it up for himself.
void setUpLog(bool verbose)
{
    setenv("NUBRIX_LOG_CONSOLE", verbose ? "1" : "0", verbose ? 1 : 0);
    // What a driver has to say is for the user, and comes either way.
    if (verbose)
        setenv("NUBRIX_LOG_LEVEL", "1", 1);
    else
        setenv("NUBRIX_DRIVER_STDERR", "1", 0);
}

int report(const std::exception &exception)
{
    std::cout << std::flush;
    std::cerr << "nubrix: " << exception.what() << '\n';
    return kFailed;
}

int run(int argc, char **argv)
{
    CLI::App app("Lists depth cameras, shows what they can do, lets them stream and records them.",
                 "nubrix");
    app.set_version_flag("--version", "nubrix " NUBRIX_TOOL_VERSION);
    app.require_subcommand(0, 1);
    app.failure_message(CLI::FailureMessage::simple);
    bool verbose = false;
    bool onVirtual = false;
    std::string scenario;
    app.add_flag("--verbose", verbose, "Show the library's log");
    CLI::Option *option =
        app.add_flag("--virtual", onVirtual, "Run the command on the virtual camera");
    app.add_option("--scenario", scenario, "What the virtual camera does; see its documentation")
        ->type_name("FILE")
        ->check(CLI::ExistingFile)
        ->needs(option);
    app.footer("'nubrix COMMAND --help' tells more. Exit status: 0 done, 1 failed, 2 wrong use.");

    ListCommand list(app);
    ModesCommand modes(app);
    StreamCommand stream(app);
    PropsCommand props(app);
    RecordCommand record(app);
    InspectCommand inspect(app);
    RepairCommand repair(app);
    ExportCommand exporter(app);
    PhotoCommand photo(app);
    CloudCommand cloud(app);
    UpgradeCommand upgrade(app);
    ChecksumCommand checksum(app);
    ConvertCommand convert(app);
    SimulateCommand simulate(app);
    DoctorCommand doctor(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? kDone : kWrongUse;
    }
    const std::vector<Command *> commands = {&list,    &modes,    &stream,   &props,    &record,
                                             &inspect, &repair,   &exporter, &photo,    &cloud,
                                             &upgrade, &checksum, &convert,  &simulate, &doctor};
    const auto chosen = std::find_if(commands.begin(), commands.end(),
                                     [](const Command *command) { return command->chosen(); });
    if (chosen == commands.end()) {
        std::cerr << "a command is missing\n\n" << app.help();
        return kWrongUse;
    }
    if (onVirtual)
        runOnVirtualCamera(scenario, {argv + 1, argv + argc});
    setUpLog(verbose);
    (*chosen)->run();
    if (!std::cout.flush())
        throw Failure("cannot write to standard output");
    return kDone;
}

}  // namespace

int main(int argc, char **argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception &exception) {
        return report(exception);
    }
}
