// Replaces the tool by another program: the launcher of the virtual camera, or the simulator.
#pragma once

#include <string>
#include <vector>

namespace nubrix::tool {

/// The path of a program in the tool's own folder, whether or not it exists. Throws a
/// std::runtime_error when the tool's own path cannot be determined.
std::string siblingPath(const std::string &name);

/// Replaces this process by a program with these arguments after its name. Throws a
/// std::runtime_error when that is impossible.
[[noreturn]] void replaceProcess(const std::string &path, std::vector<std::string> arguments);

/// The arguments of a command line without "--virtual" and "--scenario FILE" (or
/// "--scenario=FILE").
std::vector<std::string> withoutVirtual(const std::vector<std::string> &arguments);

/// Replaces this process by the launcher nubrix-virtual, which runs the tool again on the virtual
/// camera with these arguments (without the program's own name). Throws a std::runtime_error when
/// that is impossible.
[[noreturn]] void runOnVirtualCamera(const std::string &scenario,
                                     const std::vector<std::string> &arguments);

}  // namespace nubrix::tool
