// Runs the tool again, on the virtual camera.
#pragma once

#include <string>
#include <vector>

namespace nubrix {

/// The words of a command line without "--virtual" and "--scenario FILE" (or "--scenario=FILE").
std::vector<std::string> withoutVirtual(const std::vector<std::string> &words);

/// Replaces this process by the launcher nubrix-virtual beside it, which runs the tool again with
/// these words (the program's own name is not among them). Throws a Failure if that cannot be done.
[[noreturn]] void runOnVirtualCamera(const std::string &scenario,
                                     const std::vector<std::string> &words);

}  // namespace nubrix
