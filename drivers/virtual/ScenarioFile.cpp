#include "virtual/ScenarioFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace nubrix {

namespace {

constexpr std::size_t kLongest = 1U << 20;

struct Closer {
    void operator()(std::FILE *file) const { std::fclose(file); }
};

}  // namespace

std::variant<Scenario, ScenarioError> readScenarioFile(const std::string &path)
{
    const std::unique_ptr<std::FILE, Closer> file(std::fopen(path.c_str(), "rbe"));
    if (!file)
        return ScenarioError{"", 0, std::string("cannot be read: ") + std::strerror(errno)};
    std::string text(kLongest + 1, '\0');
    text.resize(std::fread(text.data(), 1, text.size(), file.get()));
    if (std::ferror(file.get()) != 0)
        return ScenarioError{"", 0, std::string("cannot be read: ") + std::strerror(errno)};
    if (text.size() > kLongest)
        return ScenarioError{"", 0, "is longer than 1 MiB"};
    const auto slash = path.find_last_of('/');
    return parseScenario(text, slash == std::string::npos ? "." : path.substr(0, slash));
}

}  // namespace nubrix
