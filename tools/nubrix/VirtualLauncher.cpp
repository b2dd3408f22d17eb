#include "VirtualLauncher.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "Failure.h"

namespace nubrix {

std::vector<std::string> withoutVirtual(const std::vector<std::string> &words)
{
    std::vector<std::string> kept;
    for (auto word = words.begin(); word != words.end(); ++word) {
        if (*word == "--") {
            kept.insert(kept.end(), word, words.end());
            break;
        }
        if (*word == "--scenario" && word + 1 != words.end())
            ++word;
        else if (*word != "--virtual" && word->rfind("--scenario=", 0) != 0)
            kept.push_back(*word);
    }
    return kept;
}

void runOnVirtualCamera(const std::string &scenario, const std::vector<std::string> &words)
{
    std::error_code error;
    const std::filesystem::path tool = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error)
        throw Failure("cannot find the tool's own path: " + error.message());
    const std::string launcher = tool.parent_path() / "nubrix-virtual";

    std::vector<std::string> command = {launcher};
    if (!scenario.empty())
        command.insert(command.end(), {"--scenario", scenario});
    command.push_back(tool);
    const std::vector<std::string> kept = withoutVirtual(words);
    command.insert(command.end(), kept.begin(), kept.end());

    std::vector<char *> arguments;
    arguments.reserve(command.size() + 1);
    for (std::string &word : command)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    execv(launcher.c_str(), arguments.data());
    throw Failure("cannot run " + launcher + ": " + std::strerror(errno));
}

}  // namespace nubrix
