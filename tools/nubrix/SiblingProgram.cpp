#include "SiblingProgram.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "Failure.h"

namespace nubrix {

std::string toolPath()
{
    std::error_code error;
    const std::filesystem::path tool = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error)
        throw Failure("cannot find the tool's own path: " + error.message());
    return tool;
}

std::string siblingPath(const std::string &name)
{
    return std::filesystem::path(toolPath()).parent_path() / name;
}

void becomeProgram(const std::string &path, std::vector<std::string> words)
{
    words.insert(words.begin(), path);
    std::vector<char *> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string &word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    execv(path.c_str(), arguments.data());
    throw Failure("cannot run " + path + ": " + std::strerror(errno));
}

}  // namespace nubrix
