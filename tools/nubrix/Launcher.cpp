#include "Launcher.h"

#include <unistd.h>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace nubrix::tool {

namespace {

std::string toolPath()
{
    std::error_code error;
    const std::filesystem::path tool = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error)
        throw std::runtime_error("cannot find the tool's own path: " + error.message());
    return tool;
}

}  // namespace

std::string siblingPath(const std::string &name)
{
    return std::filesystem::path(toolPath()).parent_path() / name;
}

void replaceProcess(const std::string &path, std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), path);
    std::vector<char *> pointers;
    pointers.reserve(arguments.size() + 1);
    for (std::string &argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    execv(path.c_str(), pointers.data());
    throw std::runtime_error("cannot run " + path + ": " + std::strerror(errno));
}

std::vector<std::string> withoutVirtual(const std::vector<std::string> &arguments)
{
    std::vector<std::string> kept;
    for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
        if (*argument == "--") {
            kept.insert(kept.end(), argument, arguments.end());
            break;
        }
        if (*argument == "--scenario" && argument + 1 != arguments.end())
            ++argument;
        else if (*argument != "--virtual" && argument->rfind("--scenario=", 0) != 0)
            kept.push_back(*argument);
    }
    return kept;
}

void runOnVirtualCamera(const std::string &scenario, const std::vector<std::string> &arguments)
{
    std::vector<std::string> command;
    if (!scenario.empty())
        command = {"--scenario", scenario};
    command.push_back(toolPath());
    const std::vector<std::string> kept = withoutVirtual(arguments);
    command.insert(command.end(), kept.begin(), kept.end());
    replaceProcess(siblingPath("nubrix-virtual"), command);
}

}  // namespace nubrix::tool
