// The base class of the commands, and the list of them.
#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace nubrix::tool {

/// A command of the tool. Its constructor adds the subcommand and its options to the command line;
/// run() does the work and throws a std::runtime_error when that is impossible.
///
/// The footer of its help is paragraphs, then sections that begin with "Exit status:" or
/// "Examples:"; scripts/manual.py makes the manual page of it, and a test runs the examples.
class Command {
public:
    using Json = nlohmann::ordered_json;

    virtual ~Command() = default;
    Command(const Command &) = delete;
    Command &operator=(const Command &) = delete;

    bool chosen() const { return m_app->parsed(); }
    virtual void run() = 0;

protected:
    Command(CLI::App &parent, const std::string &name, const std::string &description);

    CLI::App &app() { return *m_app; }
    /// Adds the optional URI of the camera.
    void addUri(std::string &uri);
    bool json() const { return m_json; }
    static void printJson(const Json &json);

private:
    CLI::App *m_app;
    bool m_json = false;
};

/// All commands, in the order in which the help lists them.
std::vector<std::unique_ptr<Command>> makeCommands(CLI::App &parent);

// Each command is a class of its own source.
std::unique_ptr<Command> makeListCommand(CLI::App &parent);
std::unique_ptr<Command> makeModesCommand(CLI::App &parent);
std::unique_ptr<Command> makeStreamCommand(CLI::App &parent);
std::unique_ptr<Command> makePropsCommand(CLI::App &parent);
std::unique_ptr<Command> makeRecordCommand(CLI::App &parent);
std::unique_ptr<Command> makeInspectCommand(CLI::App &parent);
std::unique_ptr<Command> makeRepairCommand(CLI::App &parent);
std::unique_ptr<Command> makeExportCommand(CLI::App &parent);
std::unique_ptr<Command> makePhotoCommand(CLI::App &parent);
std::unique_ptr<Command> makeCloudCommand(CLI::App &parent);
std::unique_ptr<Command> makeUpgradeCommand(CLI::App &parent);
std::unique_ptr<Command> makeChecksumCommand(CLI::App &parent);
std::unique_ptr<Command> makeConvertCommand(CLI::App &parent);
std::unique_ptr<Command> makeSimulateCommand(CLI::App &parent);
std::unique_ptr<Command> makeDoctorCommand(CLI::App &parent);

}  // namespace nubrix::tool
