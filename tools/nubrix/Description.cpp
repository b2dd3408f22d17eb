#include "Description.h"

#include <set>
#include <string>
#include <vector>

namespace nubrix::tool {

namespace {

nlohmann::ordered_json namesOf(const std::set<CLI::Option *> &options)
{
    std::set<std::string> names;
    for (const CLI::Option *option : options)
        names.insert(option->get_name());
    return names;
}

/// The words that an option takes: those in the braces of a type such as "TEXT:{yuyv,uyvy}".
nlohmann::ordered_json choicesOf(const std::string &type)
{
    nlohmann::ordered_json choices = nlohmann::ordered_json::array();
    const std::size_t open = type.find('{');
    if (open == std::string::npos)
        return choices;
    const std::string list = type.substr(open + 1, type.find('}') - open - 1);
    for (const std::string &word : CLI::detail::split(list, ','))
        choices.push_back(word);
    return choices;
}

nlohmann::ordered_json describe(const CLI::Option &option)
{
    nlohmann::ordered_json names = nlohmann::ordered_json::array();
    for (const std::string &name : option.get_snames())
        names.push_back("-" + name);
    for (const std::string &name : option.get_lnames())
        names.push_back("--" + name);
    const std::string type = option.get_type_size() == 0 ? "" : option.get_type_name();
    return {{"names", names},
            {"argument", option.get_positional() ? option.get_name(true) : ""},
            {"value", type.substr(0, type.find(':'))},
            {"choices", choicesOf(type)},
            {"default", option.get_default_str()},
            {"required", option.get_required()},
            {"excludes", namesOf(option.get_excludes())},
            {"needs", namesOf(option.get_needs())},
            {"text", option.get_description()}};
}

}  // namespace

void addDescribeFlag(CLI::App &app, bool &wanted)
{
    app.add_flag("--describe", wanted)->group("");
}

nlohmann::ordered_json describe(const CLI::App &app)
{
    nlohmann::ordered_json options = nlohmann::ordered_json::array();
    for (const CLI::Option *option : app.get_options()) {
        if (!option->get_group().empty())
            options.push_back(describe(*option));
    }
    nlohmann::ordered_json commands = nlohmann::ordered_json::array();
    for (const CLI::App *command : app.get_subcommands({}))
        commands.push_back(describe(*command));
    return {{"name", app.get_name()},
            {"description", app.get_description()},
            {"options", options},
            {"footer", app.get_footer()},
            {"commands", commands}};
}

}  // namespace nubrix::tool
