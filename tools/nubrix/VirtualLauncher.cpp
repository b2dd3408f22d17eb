#include "VirtualLauncher.h"

#include "SiblingProgram.h"

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
    std::vector<std::string> command;
    if (!scenario.empty())
        command = {"--scenario", scenario};
    command.push_back(toolPath());
    const std::vector<std::string> kept = withoutVirtual(words);
    command.insert(command.end(), kept.begin(), kept.end());
    becomeProgram(siblingPath("nubrix-virtual"), command);
}

}  // namespace nubrix
