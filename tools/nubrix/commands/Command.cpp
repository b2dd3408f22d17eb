#include "commands/Command.h"

#include <iostream>

namespace nubrix::tool {

Command::Command(CLI::App &parent, const std::string &name, const std::string &description)
    : m_app(parent.add_subcommand(name, description))
{
    m_app->fallthrough();
    m_app->footer("");  // not that of the tool
    m_app->add_flag("--json", m_json, "Report as JSON");
}

void Command::addUri(std::string &uri)
{
    m_app->add_option("URI", uri, "The camera, as 'nubrix list' shows it; otherwise the first one");
}

void Command::printJson(const Json &json)
{
    // File names need not be valid UTF-8; texts of cameras have been cleaned already.
    std::cout << json.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

std::vector<std::unique_ptr<Command>> makeCommands(CLI::App &parent)
{
    std::vector<std::unique_ptr<Command>> commands;
    for (const auto make :
         {makeListCommand, makeModesCommand, makeStreamCommand, makePropsCommand, makeRecordCommand,
          makeInspectCommand, makeRepairCommand, makeExportCommand, makePhotoCommand,
          makeCloudCommand, makeUpgradeCommand, makeChecksumCommand, makeConvertCommand,
          makeSimulateCommand, makeDoctorCommand})
        commands.push_back(make(parent));
    return commands;
}

}  // namespace nubrix::tool
