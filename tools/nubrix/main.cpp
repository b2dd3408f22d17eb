// The command line of the tool: chooses the command and the exit status.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "Description.h"
#include "Launcher.h"
#include "Names.h"
#include "commands/Command.h"

namespace nubrix::tool {

namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUse = 2;

constexpr const char *kFooter =
    R"('nubrix COMMAND --help' shows more.

Exit status: 0 done, 1 failed, 2 wrong use. If it is not 0, standard error has
the reason.

Environment:
  NUBRIX_VIRTUAL_SCENARIO
      The file that --scenario names, when that is not given
  NUBRIX_LOG_CONSOLE
      1: show the library's log on standard error
  NUBRIX_LOG_LEVEL
      The least level that the log shows: 0 trace, 1 info, 2 warning, 3 error
      (the default), 4 milestone
  NUBRIX_LOG_FILE
      1: write the log into a file in the current folder; otherwise the file or
      the folder
  NUBRIX_CPU
      The instruction set of images, clouds and checksums: scalar, sse41, avx2,
      avx512, avx512vbmi or neon; otherwise the best of this machine

Files:
  nubrixNet.ini
      Settings of network cameras, next to the network plug-in or in
      /etc/nubrix
  nubrixLog.ini
      Settings of the log, next to the library or in /etc/nubrix
  70-nubrix.rules
      The udev rule that gives users at the machine access to USB cameras

Examples:
  nubrix list
      The cameras that are attached, or why there are none.
  nubrix doctor
      What keeps cameras from working on this machine, and how to fix it.
  nubrix --virtual stream --seconds 5
      A trial without hardware: the streams of the virtual camera.)";

/// The options that come before the command.
struct CommonOptions {
    bool verbose = false;
    bool onVirtual = false;
    bool describe = false;
    std::string scenario;
};

/// Silences the library's log, unless --verbose asks for it or the user has set the environment.
void setUpLog(bool verbose)
{
    setenv("NUBRIX_LOG_CONSOLE", verbose ? "1" : "0", verbose ? 1 : 0);
    if (verbose)
        setenv("NUBRIX_LOG_LEVEL", "1", 1);
    // The lines of a driver are for the user: they appear once, in the log where it shows errors.
    const char *const level = std::getenv("NUBRIX_LOG_LEVEL");
    const bool showsErrors = !level || level[0] <= '3';
    if (std::getenv("NUBRIX_LOG_CONSOLE") == std::string("1") && showsErrors)
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
        ->check(CLI::Validator(CLI::ExistingFile).description(""))
        ->needs(onVirtual);
    addDescribeFlag(app, options.describe);
    app.footer(kFooter);
}

/// The command line, for scripts/manual.py.
Command::Json description(const CLI::App &app)
{
    Command::Json json = describe(app);
    json["version"] = NUBRIX_TOOL_VERSION;
    for (const client::StreamType type : kStreamTypes)
        json["streams"].push_back(client::name(type));
    return json;
}

int run(int argc, char **argv)
{
    CLI::App app("List depth cameras, show what they can do, stream and record them", "nubrix");
    CommonOptions options;
    addCommonOptions(app, options);
    const std::vector<std::unique_ptr<Command>> commands = makeCommands(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? kDone : kWrongUse;
    }
    if (options.describe) {
        std::cout << description(app).dump(2) << '\n';
        return kDone;
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
