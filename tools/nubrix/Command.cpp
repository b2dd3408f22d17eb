#include "Command.h"

#include <iostream>

namespace nubrix {

Command::Command(CLI::App &parent, const std::string &name, const std::string &description)
    : m_app(parent.add_subcommand(name, description))
{
    m_app->fallthrough();
    m_app->add_flag("--json", m_json, "Report as JSON");
}

void Command::addUri(std::string &uri)
{
    m_app->add_option("URI", uri, "The camera, as 'nubrix list' shows it; otherwise the first one");
}

void Command::printJson(const Json &json)
{
    // Names of files need not be valid UTF-8; texts of cameras have been cleaned.
    std::cout << json.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

}  // namespace nubrix
