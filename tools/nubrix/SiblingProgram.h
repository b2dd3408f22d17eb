// The programs that lie beside the tool.
#pragma once

#include <string>
#include <vector>

namespace nubrix {

/// The tool's own path. Throws a Failure when it cannot be told.
std::string toolPath();
/// Where a program beside the tool is, or would be.
std::string siblingPath(const std::string &name);

/// Replaces this process by a program with these words behind its name. Throws a Failure if that
/// cannot be done.
[[noreturn]] void becomeProgram(const std::string &path, std::vector<std::string> words);

}  // namespace nubrix
