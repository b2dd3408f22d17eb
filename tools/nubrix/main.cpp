// The command line of the tool: chooses the command and the exit status.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "Launcher.h"
#include "commands/Command.h"

namespace nubrix::tool {

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUse = 2;

/// The options that come before the command.
struct CommonOptions {
    bool verbose = false;
    bool onVirtual = false;
    std::string scenario;
};

/// Silences the library's log, unless --verbose asks for it or the user has set the environment.
void setUpLog(bool verbose)
{
    setenv("NUBRIX_LOG_CONSOLE", verbose ? "1" : "0", verbose ? 1 : 0);
    if (verbose)
        setenv("NUBRIX_LOG_LEVEL", "1", 1);
    // The lines of a driver are for the user: they appear once, in the log or without it.
    if (std::getenv("NUBRIX_LOG_CONSOLE") == std::string("1"))
        unsetenv("NUBRIX_DRIVER_STDERR");
    else
        setenv("NUBRIX_DRIVER_STDERR", "1", 0);
}

int report(const std::exception &exception)
{
    std::cout << std::flush;
    const std::string text = exception.what();
    std::cerr << "nubrix: " << text << '\n';
    if (text.find("the log has the reason") != std::string::npos)
        std::cerr << "nubrix: 'nubrix --verbose' shows the log\n";
    return kFailed;
}

void addCommonOptions(CLI::App &app, CommonOptions &options)
{
    app.set_version_flag("--version", "nubrix " NUBRIX_TOOL_VERSION);
    app.require_subcommand(0, 1);
    app.failure_message(CLI::FailureMessage::simple);
    app.add_flag("--verbose", options.verbose, "Show the library's log");
    CLI::Option *onVirtual =
        app.add_flag("--virtual", options.onVirtual, "Run the command on the virtual camera");
    app.add_option("--scenario", options.scenario,
                   "What the virtual camera does; see its documentation")
        ->type_name("FILE")
        ->check(CLI::ExistingFile)
        ->needs(onVirtual);
    app.footer("'nubrix COMMAND --help' shows more. Exit status: 0 done, 1 failed, 2 wrong use.");
}

int run(int argc, char **argv)
{
    CLI::App app("Lists depth cameras, shows what they can do, lets them stream and records them.",
                 "nubrix");
    CommonOptions options;
    addCommonOptions(app, options);
    const std::vector<std::unique_ptr<Command>> commands = makeCommands(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? kDone : kWrongUse;
    }
    const auto chosen = std::find_if(commands.begin(), commands.end(),
                                     [](const auto &command) { return command->chosen(); });
    if (chosen == commands.end()) {
        std::cerr << "a command is missing\n\n" << app.help();
        return kWrongUse;
    }
    if (options.onVirtual)
        runOnVirtualCamera(options.scenario, {argv + 1, argv + argc});
    setUpLog(options.verbose);
    (*chosen)->run();
    if (!std::cout.flush())
        throw std::runtime_error("cannot write to standard output");
    return kDone;
}

}  // namespace

}  // namespace nubrix::tool

int main(int argc, char **argv)
{
    try {
        return nubrix::tool::run(argc, argv);
    } catch (const std::exception &exception) {
        return nubrix::tool::report(exception);
    }
}
